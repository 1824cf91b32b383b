// On a real Mac every accessibility read blocks until Codex answers. With 1 ms and 10 ms charged
// per round trip, on the reference window, a refresh must still commit. (That an automatic one
// never types after the user did, whatever the latency, is the property test's to show.)
#include <gtest/gtest.h>

#include "Meterlane/Simulation/RefreshCost.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

constexpr double latencies[] = {0.001, 0.010};

TEST(RoundTripLatency, ManualRefreshesCommitForEveryPlan) {
    for (const double latency : latencies) {
        for (const CodexPlan plan : allCases<CodexPlan>()) {
            const std::string name =
                std::string(rawValue(plan)) + " at " + std::to_string(latency) + " s";
            ReaderWorld world(plan);
            UsageReader& reader = world.makeReader(plan);
            world.codex.setRoundTripCost(&world.time, latency);
            const RefreshCost first = measureManualRefresh(reader, world.codex, world.time);
            world.time.advance(5);
            const RefreshCost second = measureManualRefresh(reader, world.codex, world.time);
            EXPECT_TRUE(first.committed) << name;
            EXPECT_TRUE(second.committed) << name;
            EXPECT_EQ(reader.refreshCleanupResult(), RefreshCleanupResult::closed) << name;
            // The later refresh of a session: four complete walks and little else.
            EXPECT_LE(second.roundTrips, 9000u) << name;
            EXPECT_LE(second.roundTripsWhileMenuOpen, 400u) << name;
            EXPECT_FALSE(world.codex.menuIsOpen()) << name;
        }
    }
}

}  // namespace
}  // namespace gaugely
