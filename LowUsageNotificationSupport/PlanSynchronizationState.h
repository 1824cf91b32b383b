#pragma once

#include <optional>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// After the user switches plans, the stored snapshot may still be the other plan's reading; it
// must not be shown as the new plan's until a fresh one has been committed.
struct PlanSynchronizationState {
    bool requiresFreshSynchronization = false;

    // The user selected another plan.
    void invalidateForPlanChange() { requiresFreshSynchronization = true; }
    // A snapshot for the selected plan has been committed.
    void markFreshSnapshotCommitted() { requiresFreshSynchronization = false; }

    Json toJson() const;
    static std::optional<PlanSynchronizationState> fromJson(const Json& json);

    bool operator==(const PlanSynchronizationState&) const = default;
};

}  // namespace gaugely
