// What the interface shows, derived from the reader's state on demand: which snapshot, whether it
// may be stale, and the menu-bar summary. The status line is the presentation's.
#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"
#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "LowUsageNotificationSupport/UsageDataFreshnessPolicy.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationPolicy.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

UsageSnapshot UsageReader::currentDisplaySnapshot() const {
    // One plan's numbers never appear under another plan.
    if (hasExplicitPlanSelection() && activeSnapshotPlan() == codexPlan()) {
        return snapshot();
    }
    return UsageSnapshot::empty();
}

std::optional<Date> UsageReader::currentDisplayLastUpdated() const {
    if (hasExplicitPlanSelection() && activeSnapshotPlan() == codexPlan()) {
        return lastUpdated();
    }
    return std::nullopt;
}

bool UsageReader::hasValidValues() const {
    return ledger_.showsReadingOf(codexPlan());
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
    return compatibleChoice(menuBarDisplay(), currentSchema());
}

std::string UsageReader::menuBarUsageSummary() const {
    return gaugely::menuBarUsageSummary(hasExplicitPlanSelection(), codexPlan(),
                                        effectiveMenuBarDisplay(), currentDisplaySnapshot());
}

bool UsageReader::hasEnabledCurrentPlanNotificationFeature() const {
    return gaugely::hasEnabledCurrentPlanNotificationFeature(
        hasExplicitPlanSelection(), codexPlan(),
        [this](QuotaWindow window) { return lowUsageAlertSettings().setting(window).isEnabled; },
        resetNotificationSettings().isEnabled);
}

}  // namespace gaugely
