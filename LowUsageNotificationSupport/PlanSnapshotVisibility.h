#pragma once

#include <optional>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

// Whether the stored snapshot may be shown for the selected plan: only a validated reader's
// reading, of that very plan, and not while a plan switch still awaits a fresh reading.
struct PlanSnapshotVisibility {
    static bool canDisplay(std::optional<CodexPlan> activeSnapshotPlan,
                           std::optional<CodexPlan> selectedPlan, QuotaReaderSupport readerSupport,
                           bool requiresFreshSynchronization) {
        return readerSupport == QuotaReaderSupport::validated && activeSnapshotPlan.has_value() &&
               activeSnapshotPlan == selectedPlan && !requiresFreshSynchronization;
    }
};

}  // namespace gaugely
