#pragma once

namespace gaugely {

// What the one status line is about. Only the most important concern is shown; the raw value
// orders them, and the built-in comparisons of the enumeration compare by it.
enum class UsageStatusPriority : int {
    normal = 0,
    staleData = 1,
    refreshRecovery = 2,
    activeRefresh = 3,
    noUsageData = 4,
    noSelectedPlan = 5,
    accessibilityPermission = 6,
    unsupportedPlan = 7,
};

constexpr int rawValue(UsageStatusPriority priority) {
    return static_cast<int>(priority);
}

}  // namespace gaugely
