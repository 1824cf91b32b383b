// On a real Mac every accessibility read blocks until Codex answers. With 1 ms and 10 ms charged
// per round trip, on the reference window, a refresh must still commit, and an automatic one must
// still never type after the user did.
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

TEST(RoundTripLatency, AutomaticRefreshNeverTypesAfterTheUser) {
    // Moments after the request: in the countdown, during the walks before the click, while the
    // menu is open, and never.
    const std::optional<double> inputAfter[] = {5.0, 12.0, 14.5, 16.0, 20.0, std::nullopt};
    for (const double latency : latencies) {
        for (const auto at : inputAfter) {
            const std::string name = "input at " + (at ? std::to_string(*at) : "never") + " with " +
                                     std::to_string(latency) + " s";
            ReaderWorld world;
            UsageReader& reader = world.makeReader(CodexPlan::plus);
            world.codex.setRoundTripCost(&world.time, latency);
            // A first manual refresh, so this run has the menu's place to start from.
            (void)measureManualRefresh(reader, world.codex, world.time);
            world.time.advance(30);
            reader.setAutomaticRefreshEnabled(true);
            world.input.clearPostedEvents();
            std::optional<double> inputTime;
            TaskHandle input;
            if (at) {
                input = world.time.asyncAfter(*at, [&] {
                    inputTime = world.time.monotonicSeconds();
                    world.input.injectRealKeyPress(0);
                });
            }
            reader.beginReadCountdown(true);
            world.runUntilRunEnds(600);
            ASSERT_TRUE(reader.lastRefreshOutcome()) << name;
            for (const auto& event : world.input.postedEvents()) {
                EXPECT_LE(event.time, inputTime.value_or(event.time)) << name;
            }
            if (!at) {
                EXPECT_TRUE(reader.lastRefreshOutcome()->isCommitted()) << name;
            } else if (inputTime && !world.input.postedEvents().empty()) {
                EXPECT_EQ(reader.lastRefreshOutcome()->kind, RefreshRunOutcome::Kind::deferred)
                    << name;
            }
        }
    }
}

}  // namespace
}  // namespace gaugely
