#pragma once

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationState.h"

namespace gaugely {

struct UsageSnapshotPresentationPolicy {
    static constexpr UsageSnapshotPresentationState state(bool hasExplicitPlanSelection,
                                                          QuotaReaderSupport readerSupport,
                                                          bool hasSnapshotForSelectedPlan) {
        if (!hasExplicitPlanSelection) {
            return UsageSnapshotPresentationState::planSelectionRequired;
        }
        if (readerSupport != QuotaReaderSupport::validated) {
            return UsageSnapshotPresentationState::unvalidatedPlan;
        }
        return hasSnapshotForSelectedPlan ? UsageSnapshotPresentationState::dataAvailable
                                          : UsageSnapshotPresentationState::noUsageData;
    }
};

}  // namespace gaugely
