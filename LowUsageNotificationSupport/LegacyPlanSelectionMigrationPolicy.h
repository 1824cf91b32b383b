#pragma once

#include <optional>

#include "LowUsageNotificationSupport/CodexPlan.h"

namespace gaugely {

// Installations from before the plan chooser kept a single snapshot without a chosen plan. Its
// plan may stand in for the user's choice, but only for the two plans those versions could read:
// a pro reading there cannot have come from a deliberate choice.
struct LegacyPlanSelectionMigrationPolicy {
    static constexpr std::optional<CodexPlan> supportedPlan(std::optional<CodexPlan> plan) {
        if (plan == CodexPlan::freeGo || plan == CodexPlan::plus) {
            return plan;
        }
        return std::nullopt;
    }

    static constexpr std::optional<CodexPlan> migratedPlan(
        std::optional<CodexPlan> existingExplicitPlan,
        std::optional<CodexPlan> legacySnapshotPlan) {
        if (existingExplicitPlan.has_value()) {
            return std::nullopt;
        }
        return supportedPlan(legacySnapshotPlan);
    }
};

}  // namespace gaugely
