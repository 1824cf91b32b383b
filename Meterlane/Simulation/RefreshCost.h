#pragma once

#include <cstddef>
#include <optional>

#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// What one refresh cost, as a user of a real Mac would feel it: the round trips to Codex (each a
// blocking message that Codex's main thread must answer), the time our main thread was blocked
// in them, the time from the request to the run's end, and how long Codex's profile menu stayed
// open (with the round trips made meanwhile).
struct RefreshCost {
    std::size_t roundTrips = 0;
    double blockedSeconds = 0;
    double requestToEndSeconds = 0;
    double menuDwellSeconds = 0;
    std::size_t roundTripsWhileMenuOpen = 0;
    bool committed = false;
};

// Requests a manual refresh and runs the world until it ends (or `timeout` passes).
inline RefreshCost measureManualRefresh(UsageReader& reader, SimulatedCodex& codex,
                                        VirtualTime& time, double timeout = 600) {
    const std::size_t tripsBefore = codex.roundTrips();
    const double blockedBefore = codex.blockedSeconds();
    const std::size_t openingsBefore = codex.menuOpenings();
    const double start = time.monotonicSeconds();
    reader.beginReadCountdown(false);
    time.runUntil([&] { return !reader.automationInProgress(); }, timeout);
    RefreshCost cost;
    cost.roundTrips = codex.roundTrips() - tripsBefore;
    cost.blockedSeconds = codex.blockedSeconds() - blockedBefore;
    cost.requestToEndSeconds = time.monotonicSeconds() - start;
    if (codex.menuOpenings() > openingsBefore) {
        if (const auto opening = codex.lastMenuOpening()) {
            cost.menuDwellSeconds = opening->seconds;
            cost.roundTripsWhileMenuOpen = opening->roundTrips;
        }
    }
    cost.committed = reader.lastRefreshOutcome() && reader.lastRefreshOutcome()->isCommitted();
    return cost;
}

}  // namespace gaugely
