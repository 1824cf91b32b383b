#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/SimulationClockDriver.h"

namespace gaugely::tool {

// What each refresh of a simulated run cost: the accessibility round trips to Codex (the cost
// that dominates on a real Mac), the time spent waiting for their answers (with --ax-latency),
// how long the main thread was blocked in all and at most at once (while it is blocked the menu
// bar item, popover and settings window cannot answer), the time from the request to the run's
// end, how long Codex's profile menu stayed open and the round trips made meanwhile, and the CPU
// time of the engine's own work items. A refresh lasts from its request until the reader reports
// no run in progress; work items during which a run was in progress at any moment count towards
// it.
class RefreshStatistics {
  public:
    struct Refresh {
        double startedAt = 0;  // seconds of simulated time since the start
        RefreshRunKind kind = RefreshRunKind::manual;
        std::optional<std::string> outcome;  // none while it runs
        std::size_t roundTrips = 0;
        double cpuSeconds = 0;
        double blockedSeconds = 0;
        // The main thread's blocks: all of them, and the longest single one (one work item).
        double mainBlockedSeconds = 0;
        double longestBlockSeconds = 0;
        std::optional<double> requestToEnd;
        std::optional<double> menuDwell;
        std::size_t roundTripsWhileMenuOpen = 0;
    };

    // `origin`: the monotonic time that elapsed times count from.
    RefreshStatistics(const SimulatedCodex& codex, double origin);

    // The reader of the app now running; a relaunch starts a new one.
    void follow(const UsageReader& reader) { reader_ = &reader; }

    // The reader's observer: notices a run starting or ending.
    void readerChanged(double elapsed);
    // The driver's report after each work item.
    void itemRan(const WorkItemReport& report);

    const std::vector<Refresh>& refreshes() const { return refreshes_; }
    void print(std::ostream& out) const;

  private:
    const UsageReader* reader_ = nullptr;
    const SimulatedCodex& codex_;
    double origin_;
    std::vector<Refresh> refreshes_;
    std::vector<std::size_t> roundTripBase_;
    std::vector<double> blockedBase_;
    std::vector<std::size_t> openingsBase_;
    std::optional<std::size_t> running_;
    std::vector<std::size_t> startedInItem_;
    std::vector<std::size_t> endedInItem_;
    std::optional<std::size_t> touchedInItem_;
    std::size_t roundTripsAtItemStart_ = 0;
    double blockedAtItemStart_ = 0;
};

}  // namespace gaugely::tool
