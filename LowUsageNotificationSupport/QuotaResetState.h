#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"

namespace gaugely {

struct QuotaResetWindowState {
    std::optional<int> lastObservedPercentage;

    Json toJson() const;
    static std::optional<QuotaResetWindowState> fromJson(const Json& json);

    bool operator==(const QuotaResetWindowState&) const = default;
};

// A window that has come back to 100%.
struct QuotaResetRecovery {
    QuotaWindow window = QuotaWindow::fiveHour;
    int remainingPercentage = 0;

    bool operator==(const QuotaResetRecovery&) const = default;
};

// The last committed percentage of every plan and window, keyed "plan.window" (planWindowKey).
// Keys this version does not know are carried along untouched.
struct QuotaResetState {
    std::map<std::string, QuotaResetWindowState, std::less<>> stateByPlanAndWindow;

    // Compares each reading with the last one of its window and returns the genuine resets, in
    // the order of `percentages`. Readings are remembered even while the feature is off, so
    // switching it on never reports a reset that happened before.
    std::vector<QuotaResetRecovery> recordCommittedPercentages(
        std::string_view planIdentifier,
        const std::vector<std::pair<QuotaWindow, int>>& percentages,
        const ResetNotificationSettings& settings);

    void rebaseline(std::string_view planIdentifier,
                    const std::vector<std::pair<QuotaWindow, int>>& percentages);

    // Forgets every window of the plan.
    void invalidate(std::string_view planIdentifier);

    Json toJson() const;
    static std::optional<QuotaResetState> fromJson(const Json& json);

    bool operator==(const QuotaResetState&) const = default;
};

}  // namespace gaugely
