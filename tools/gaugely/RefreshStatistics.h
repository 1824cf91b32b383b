#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/SimulationClockDriver.h"

namespace gaugely::tool {

// What each refresh of a simulated run cost: the accessibility round trips to Codex (the cost
// that dominates on a real Mac) and the CPU time of the engine's own work items. A refresh lasts
// from the moment the reader reports a run in progress until it reports none; work items during
// which that was true at any moment count towards it.
class RefreshStatistics {
  public:
    struct Refresh {
        double startedAt = 0;  // seconds of simulated time since the start
        RefreshRunKind kind = RefreshRunKind::manual;
        std::optional<std::string> outcome;  // none while it runs
        std::size_t roundTrips = 0;
        double cpuSeconds = 0;
    };

    RefreshStatistics(const UsageReader& reader, const SimulatedAccessibility& codex);

    // The reader's observer: notices a run starting or ending.
    void readerChanged(double elapsed);
    // The driver's report after each work item.
    void itemRan(const WorkItemReport& report);

    const std::vector<Refresh>& refreshes() const { return refreshes_; }
    void print(std::ostream& out) const;

  private:
    const UsageReader& reader_;
    const SimulatedAccessibility& codex_;
    std::vector<Refresh> refreshes_;
    std::vector<std::size_t> roundTripBase_;
    std::optional<std::size_t> running_;
    std::vector<std::size_t> startedInItem_;
    std::vector<std::size_t> endedInItem_;
    std::optional<std::size_t> touchedInItem_;
    std::size_t roundTripsAtItemStart_ = 0;
};

}  // namespace gaugely::tool
