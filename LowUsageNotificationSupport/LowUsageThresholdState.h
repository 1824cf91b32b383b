#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"

namespace gaugely {

// What the alert of one plan's window last saw.
struct LowUsageWindowAlertState {
    bool isLow = false;
    // When the last notification for this low spell went out; none for a baseline reading or
    // after the reminder was cleared, and such a state never reminds.
    std::optional<Date> lastNotifiedAt;

    Json toJson() const;
    static std::optional<LowUsageWindowAlertState> fromJson(const Json& json);

    bool operator==(const LowUsageWindowAlertState&) const = default;
};

// A window that has just become low (or is due a reminder).
struct LowUsageThresholdCrossing {
    QuotaWindow window = QuotaWindow::fiveHour;
    int remainingPercentage = 0;

    bool operator==(const LowUsageThresholdCrossing&) const = default;
};

// The low-usage state of every plan and window, keyed "plan.window" (planWindowKey). Keys this
// version does not know are carried along untouched.
struct LowUsageThresholdState {
    std::map<std::string, LowUsageWindowAlertState, std::less<>> stateByPlanAndWindow;

    // Advances each window with one committed reading and returns the crossings to announce, in
    // the order of `percentages`. A window's first reading is a silent baseline.
    std::vector<LowUsageThresholdCrossing> recordCommittedPercentages(
        std::string_view planIdentifier,
        const std::vector<std::pair<QuotaWindow, int>>& percentages,
        const LowUsageAlertSettings& settings, Date now);

    // Adopts the readings as the new baseline after a settings change; never announces anything.
    // With `windows`, only those windows are touched.
    void rebaseline(std::string_view planIdentifier,
                    const std::vector<std::pair<QuotaWindow, int>>& percentages,
                    const LowUsageAlertSettings& settings,
                    const std::optional<std::set<QuotaWindow>>& windows, bool clearReminder);

    // Forgets every window of the plan, so its next readings are baselines again.
    void invalidate(std::string_view planIdentifier);

    Json toJson() const;
    // Also reads the older {"isLowByPlanAndWindow": {key: bool}} form.
    static std::optional<LowUsageThresholdState> fromJson(const Json& json);

    bool operator==(const LowUsageThresholdState&) const = default;
};

// Removes every entry whose key begins with the plan identifier and a full stop.
template <class Map>
void removePlanEntries(Map& stateByPlanAndWindow, std::string_view planIdentifier) {
    const std::string prefix = std::string(planIdentifier) + ".";
    for (auto it = stateByPlanAndWindow.lower_bound(prefix);
         it != stateByPlanAndWindow.end() && it->first.starts_with(prefix);) {
        it = stateByPlanAndWindow.erase(it);
    }
}

// The stored form of a per-plan-and-window state map: {"stateByPlanAndWindow": {key: state}}.
template <class Map>
Json encodeStateByPlanAndWindow(const Map& stateByPlanAndWindow) {
    Json states = Json::object();
    for (const auto& [key, state] : stateByPlanAndWindow) {
        states[key] = state.toJson();
    }
    Json json = Json::object();
    json["stateByPlanAndWindow"] = std::move(states);
    return json;
}

}  // namespace gaugely
