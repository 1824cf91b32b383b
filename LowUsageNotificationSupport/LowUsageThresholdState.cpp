#include "LowUsageNotificationSupport/LowUsageThresholdState.h"

namespace gaugely {
namespace {

bool isLow(int percentage, const LowUsageWindowAlertSettings& setting) {
    return percentage <= rawValue(setting.threshold);
}

}  // namespace

Json LowUsageWindowAlertState::toJson() const {
    Json json = Json::object();
    json["isLow"] = isLow;
    if (lastNotifiedAt) {
        json["lastNotifiedAt"] = lastNotifiedAt->timeIntervalSinceReferenceDate;
    }
    return json;
}

std::optional<LowUsageWindowAlertState> LowUsageWindowAlertState::fromJson(const Json& json) {
    const auto isLow = jsonBool(json, "isLow");
    if (!isLow) {
        return std::nullopt;
    }
    LowUsageWindowAlertState state{*isLow, std::nullopt};
    if (const Json* date = jsonMember(json, "lastNotifiedAt"); date && !date->is_null()) {
        const auto seconds = jsonNumber(json, "lastNotifiedAt");
        if (!seconds) {
            return std::nullopt;
        }
        state.lastNotifiedAt = Date{*seconds};
    }
    return state;
}

std::vector<LowUsageThresholdCrossing> LowUsageThresholdState::recordCommittedPercentages(
    std::string_view planIdentifier, const std::vector<std::pair<QuotaWindow, int>>& percentages,
    const LowUsageAlertSettings& settings, Date now) {
    std::vector<LowUsageThresholdCrossing> crossings;
    for (const auto& [window, percentage] : percentages) {
        const std::string key = planWindowKey(planIdentifier, window);
        const LowUsageWindowAlertSettings& setting = settings.setting(window);
        const bool low = isLow(percentage, setting);

        const auto found = stateByPlanAndWindow.find(key);
        if (found == stateByPlanAndWindow.end()) {
            // Usage that is already low at the first look was not a change the user can act on.
            stateByPlanAndWindow.emplace(key, LowUsageWindowAlertState{low, std::nullopt});
            continue;
        }
        LowUsageWindowAlertState& state = found->second;

        if (!setting.isEnabled) {
            state.isLow = low;
            if (!low) {
                state.lastNotifiedAt.reset();
            }
            continue;
        }
        if (!state.isLow) {
            if (low) {
                crossings.push_back({window, percentage});
                state = {true, now};
            } else {
                state = {false, std::nullopt};
            }
            continue;
        }
        if (!low) {
            // Re-armed: the next fall to the threshold notifies again.
            state = {false, std::nullopt};
            continue;
        }
        const std::optional<double> interval = timeInterval(setting.repeatInterval);
        if (interval && state.lastNotifiedAt &&
            now.timeIntervalSince(*state.lastNotifiedAt) >= *interval) {
            crossings.push_back({window, percentage});
            state.lastNotifiedAt = now;
        }
    }
    return crossings;
}

void LowUsageThresholdState::rebaseline(std::string_view planIdentifier,
                                        const std::vector<std::pair<QuotaWindow, int>>& percentages,
                                        const LowUsageAlertSettings& settings,
                                        const std::optional<std::set<QuotaWindow>>& windows,
                                        bool clearReminder) {
    for (const auto& [window, percentage] : percentages) {
        if (windows && !windows->contains(window)) {
            continue;
        }
        const bool low = isLow(percentage, settings.setting(window));
        LowUsageWindowAlertState& state =
            stateByPlanAndWindow[planWindowKey(planIdentifier, window)];
        state.isLow = low;
        if (clearReminder || !low) {
            state.lastNotifiedAt.reset();
        }
    }
}

void LowUsageThresholdState::invalidate(std::string_view planIdentifier) {
    removePlanEntries(stateByPlanAndWindow, planIdentifier);
}

Json LowUsageThresholdState::toJson() const {
    return encodeStateByPlanAndWindow(stateByPlanAndWindow);
}

std::optional<LowUsageThresholdState> LowUsageThresholdState::fromJson(const Json& json) {
    LowUsageThresholdState result;
    if (const Json* states = jsonMember(json, "stateByPlanAndWindow");
        states && states->is_object()) {
        bool valid = true;
        for (const auto& [key, value] : states->items()) {
            const auto state = LowUsageWindowAlertState::fromJson(value);
            if (!state) {
                valid = false;
                break;
            }
            result.stateByPlanAndWindow.insert_or_assign(key, *state);
        }
        if (valid) {
            return result;
        }
        result.stateByPlanAndWindow.clear();
    }
    const Json* flags = jsonMember(json, "isLowByPlanAndWindow");
    if (flags == nullptr || !flags->is_object()) {
        return std::nullopt;
    }
    for (const auto& [key, value] : flags->items()) {
        if (!value.is_boolean()) {
            return std::nullopt;
        }
        result.stateByPlanAndWindow.insert_or_assign(
            key, LowUsageWindowAlertState{value.get<bool>(), std::nullopt});
    }
    return result;
}

}  // namespace gaugely
