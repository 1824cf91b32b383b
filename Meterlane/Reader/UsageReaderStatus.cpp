// What the interface shows, derived from the reader's state on demand: which snapshot, whether it
// may be stale, and the menu-bar summary. The status line is the presentation's.
#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "LowUsageNotificationSupport/UsageDataFreshnessPolicy.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationPolicy.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

UsageSnapshot UsageReader::currentDisplaySnapshot() const {
    // One plan's numbers never appear under another plan.
    if (hasExplicitPlanSelection() && activeSnapshotPlan_ == codexPlan()) {
        return snapshot_;
    }
    return UsageSnapshot::empty();
}

std::optional<Date> UsageReader::currentDisplayLastUpdated() const {
    if (hasExplicitPlanSelection() && activeSnapshotPlan_ == codexPlan()) {
        return lastUpdated_;
    }
    return std::nullopt;
}

bool UsageReader::hasValidValues() const {
    return activeSnapshotPlan_ == codexPlan() && isDisplayableSnapshot(snapshot_, codexPlan());
}

UsageSnapshotPresentationState UsageReader::usageSnapshotPresentationState() const {
    return UsageSnapshotPresentationPolicy::state(hasExplicitPlanSelection(),
                                                  QuotaReaderSupport::validated,
                                                  currentDisplayLastUpdated().has_value());
}

bool UsageReader::currentSnapshotMayBeStale() const {
    return UsageDataFreshnessPolicy::isStale(currentDisplayLastUpdated(),
                                             scheduler_.refreshInterval(), env_.clock.now());
}

MenuBarDisplay UsageReader::effectiveMenuBarDisplay() const {
    return compatibleChoice(menuBarDisplay_, currentSchema());
}

std::string UsageReader::menuBarUsageSummary() const {
    return gaugely::menuBarUsageSummary(hasExplicitPlanSelection(), codexPlan(),
                                        effectiveMenuBarDisplay(), currentDisplaySnapshot());
}

}  // namespace gaugely
