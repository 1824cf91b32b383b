#include "Meterlane/Simulation/RefreshProjection.h"

#include <string>

#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/Simulation.h"

namespace gaugely {

RefreshProjection projectManualRefresh(CodexPlan plan, double secondsPerRoundTrip,
                                       std::size_t webContentElements) {
    CodexTreeShape shape;
    shape.webContentElements = webContentElements;
    Simulation sim(plan, shape);
    MemoryPreferences preferences;
    FakeUserNotificationCenter notifications{sim.time};
    int uuids = 0;
    UsageReader reader(ReaderEnvironment{
        sim.codex, sim.input, sim.workspace, sim.time, sim.time, sim.log, preferences,
        notifications, [&uuids] { return std::to_string(++uuids) + "-projection"; }});
    reader.setCodexPlan(plan);
    reader.setAutomaticRefreshEnabled(false);
    sim.codex.setRoundTripCost(&sim.time, secondsPerRoundTrip);

    RefreshProjection projection;
    projection.secondsPerRoundTrip = secondsPerRoundTrip;
    projection.webContentElements = webContentElements;
    projection.first = measureManualRefresh(reader, sim.codex, sim.time);
    sim.time.advance(5);
    projection.later = measureManualRefresh(reader, sim.codex, sim.time);
    return projection;
}

}  // namespace gaugely
