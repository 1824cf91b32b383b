#include "LowUsageNotificationSupport/QuotaResetState.h"

#include <limits>

#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/QuotaResetDetectionPolicy.h"

namespace gaugely {

Json QuotaResetWindowState::toJson() const {
    Json json = Json::object();
    if (lastObservedPercentage) {
        json["lastObservedPercentage"] = *lastObservedPercentage;
    }
    return json;
}

std::optional<QuotaResetWindowState> QuotaResetWindowState::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    const Json* member = jsonMember(json, "lastObservedPercentage");
    if (member == nullptr || member->is_null()) {
        return QuotaResetWindowState{};
    }
    const auto value = jsonInteger(json, "lastObservedPercentage");
    if (!value || *value < std::numeric_limits<int>::min() ||
        *value > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return QuotaResetWindowState{static_cast<int>(*value)};
}

std::vector<QuotaResetRecovery> QuotaResetState::recordCommittedPercentages(
    std::string_view planIdentifier, const std::vector<std::pair<QuotaWindow, int>>& percentages,
    const ResetNotificationSettings& settings) {
    std::vector<QuotaResetRecovery> recoveries;
    for (const auto& [window, percentage] : percentages) {
        QuotaResetWindowState& state = stateByPlanAndWindow[planWindowKey(planIdentifier, window)];
        if (settings.isEnabled && state.lastObservedPercentage &&
            QuotaResetDetectionPolicy::isGenuineReset(*state.lastObservedPercentage, percentage)) {
            recoveries.push_back({window, QuotaResetDetectionPolicy::resetPercentage});
        }
        state.lastObservedPercentage = percentage;
    }
    return recoveries;
}

void QuotaResetState::rebaseline(std::string_view planIdentifier,
                                 const std::vector<std::pair<QuotaWindow, int>>& percentages) {
    for (const auto& [window, percentage] : percentages) {
        stateByPlanAndWindow[planWindowKey(planIdentifier, window)].lastObservedPercentage =
            percentage;
    }
}

void QuotaResetState::invalidate(std::string_view planIdentifier) {
    removePlanEntries(stateByPlanAndWindow, planIdentifier);
}

Json QuotaResetState::toJson() const {
    return encodeStateByPlanAndWindow(stateByPlanAndWindow);
}

std::optional<QuotaResetState> QuotaResetState::fromJson(const Json& json) {
    const Json* states = jsonMember(json, "stateByPlanAndWindow");
    if (states == nullptr || !states->is_object()) {
        return std::nullopt;
    }
    QuotaResetState result;
    for (const auto& [key, value] : states->items()) {
        const auto state = QuotaResetWindowState::fromJson(value);
        if (!state) {
            return std::nullopt;
        }
        result.stateByPlanAndWindow.insert_or_assign(key, *state);
    }
    return result;
}

}  // namespace gaugely
