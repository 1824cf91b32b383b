#pragma once

namespace gaugely {

// Which kind of content the usage views draw.
enum class UsageSnapshotPresentationState : int {
    planSelectionRequired = 0,
    noUsageData = 1,
    dataAvailable = 2,
    unvalidatedPlan = 3,
};

constexpr int rawValue(UsageSnapshotPresentationState state) {
    return static_cast<int>(state);
}

}  // namespace gaugely
