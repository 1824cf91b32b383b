#pragma once

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/UsageStatusPriority.h"

namespace gaugely {

// Decides the one status line the popover and the menu show.
struct UsageStatusPresentationPolicy {
    // The most important concern, checked from the top down: what blocks reading at all outranks
    // what happens during a run, which outranks hints about data already shown.
    static constexpr UsageStatusPriority highestPriority(
        bool hasExplicitPlanSelection, QuotaReaderSupport readerSupport, bool accessibilityGranted,
        bool hasValidSnapshot, bool isRefreshInProgress, bool hasRecoveryMessage, bool isStale) {
        if (!hasExplicitPlanSelection) {
            return UsageStatusPriority::noSelectedPlan;
        }
        if (readerSupport != QuotaReaderSupport::validated) {
            return UsageStatusPriority::unsupportedPlan;
        }
        if (!accessibilityGranted) {
            return UsageStatusPriority::accessibilityPermission;
        }
        if (!hasValidSnapshot) {
            return UsageStatusPriority::noUsageData;
        }
        if (isRefreshInProgress) {
            return UsageStatusPriority::activeRefresh;
        }
        if (hasRecoveryMessage) {
            return UsageStatusPriority::refreshRecovery;
        }
        if (isStale) {
            return UsageStatusPriority::staleData;
        }
        return UsageStatusPriority::normal;
    }
};

}  // namespace gaugely
