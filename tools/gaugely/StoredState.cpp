#include "tools/gaugely/StoredState.h"

#include <cmath>
#include <ctime>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely::tool {

namespace {

template <class E>
Stored<E> readEnumeration(Preferences& defaults, std::string_view key) {
    Stored<E> stored;
    if (!defaults.hasObject(key)) {
        return stored;
    }
    const auto text = defaults.stringValue(key);
    stored.value = text ? fromRawValue<E>(*text) : std::nullopt;
    stored.unreadable = !stored.value;
    return stored;
}

Stored<bool> readBool(Preferences& defaults, std::string_view key) {
    Stored<bool> stored;
    if (defaults.hasObject(key)) {
        stored.value = defaults.boolValue(key);
        stored.unreadable = !stored.value;
    }
    return stored;
}

template <class T>
Stored<T> readRecord(Preferences& defaults, std::string_view key) {
    Stored<T> stored;
    if (defaults.hasObject(key)) {
        const auto data = defaults.dataValue(key);
        stored.value = data ? decodeJson<T>(*data) : std::nullopt;
        stored.unreadable = !stored.value;
    }
    return stored;
}

template <class T>
void noteUnreadable(std::vector<std::string_view>& keys, const Stored<T>& stored,
                    std::string_view key) {
    if (stored.unreadable) {
        keys.push_back(key);
    }
}

}  // namespace

StoredState StoredState::read(Preferences& defaults) {
    namespace key = defaultsKey;
    StoredState state;
    state.plan = readEnumeration<CodexPlan>(defaults, key::codexPlan);
    state.automaticRefreshEnabled = readBool(defaults, key::automaticRefreshEnabled);
    state.refreshFrequency =
        readEnumeration<RefreshFrequency>(defaults, key::automaticRefreshFrequency);
    // The reader reads the older "twentyMinutes" as thirty minutes.
    if (state.refreshFrequency.unreadable &&
        defaults.stringValue(key::automaticRefreshFrequency) == "twentyMinutes") {
        state.refreshFrequency = {RefreshFrequency::thirtyMinutes, false};
    }
    state.menuBarDisplay = readEnumeration<MenuBarDisplay>(defaults, key::menuBarDisplay);
    state.lowUsageAlertSettings =
        readRecord<LowUsageAlertSettings>(defaults, key::lowUsageAlertSettings);
    state.resetNotificationSettings =
        readRecord<ResetNotificationSettings>(defaults, key::resetNotificationSettings);
    state.planSnapshots =
        readRecord<PersistedPlanUsageSnapshots>(defaults, key::planSpecificUsageSnapshots);
    state.legacySnapshot =
        readRecord<PersistedUsageSnapshot>(defaults, key::lastCompleteUsageSnapshot);
    if (defaults.hasObject(key::nextAutomaticRefreshDate)) {
        state.nextAutomaticRefreshDate.value = defaults.dateValue(key::nextAutomaticRefreshDate);
        state.nextAutomaticRefreshDate.unreadable = !state.nextAutomaticRefreshDate.value;
    }
    state.lowUsageNotificationState =
        readRecord<LowUsageThresholdState>(defaults, key::lowUsageNotificationState);
    state.quotaResetNotificationState =
        readRecord<QuotaResetState>(defaults, key::quotaResetNotificationState);
    state.explicitPlanSelectionMigration = readBool(defaults, key::explicitPlanSelectionMigration);
    return state;
}

bool StoredState::isEmpty() const {
    return plan.isAbsent() && automaticRefreshEnabled.isAbsent() && refreshFrequency.isAbsent() &&
           menuBarDisplay.isAbsent() && lowUsageAlertSettings.isAbsent() &&
           resetNotificationSettings.isAbsent() && planSnapshots.isAbsent() &&
           legacySnapshot.isAbsent() && nextAutomaticRefreshDate.isAbsent() &&
           lowUsageNotificationState.isAbsent() && quotaResetNotificationState.isAbsent() &&
           explicitPlanSelectionMigration.isAbsent();
}

std::vector<std::string_view> StoredState::unreadableKeys() const {
    namespace key = defaultsKey;
    std::vector<std::string_view> keys;
    noteUnreadable(keys, plan, key::codexPlan);
    noteUnreadable(keys, automaticRefreshEnabled, key::automaticRefreshEnabled);
    noteUnreadable(keys, refreshFrequency, key::automaticRefreshFrequency);
    noteUnreadable(keys, menuBarDisplay, key::menuBarDisplay);
    noteUnreadable(keys, lowUsageAlertSettings, key::lowUsageAlertSettings);
    noteUnreadable(keys, resetNotificationSettings, key::resetNotificationSettings);
    noteUnreadable(keys, planSnapshots, key::planSpecificUsageSnapshots);
    noteUnreadable(keys, legacySnapshot, key::lastCompleteUsageSnapshot);
    noteUnreadable(keys, nextAutomaticRefreshDate, key::nextAutomaticRefreshDate);
    noteUnreadable(keys, lowUsageNotificationState, key::lowUsageNotificationState);
    noteUnreadable(keys, quotaResetNotificationState, key::quotaResetNotificationState);
    noteUnreadable(keys, explicitPlanSelectionMigration, key::explicitPlanSelectionMigration);
    return keys;
}

std::string localDateTimeText(Date date) {
    const auto seconds = static_cast<std::time_t>(std::floor(date.unixTime()));
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        return "?";
    }
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %Z", &local);
    return std::string(text, length);
}

std::string snapshotText(const UsageSnapshot& snapshot, CodexPlan plan) {
    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    std::string text;
    for (const QuotaWindow window : requiredWindows(configuration.schema)) {
        if (!text.empty()) {
            text += " \u00B7 ";
        }
        text += std::string(configuration.lowUsageNotificationTitle(window)) + " " +
                snapshot.percentage(window);
        if (plan != CodexPlan::pro) {
            text += " (reset " + snapshot.reset(window) + ")";
        }
    }
    return text;
}

std::string restoredStateLine(const StoredState& state, std::string_view file, Date now) {
    if (state.isEmpty()) {
        return "Nothing saved in " + std::string(file) + " yet: starting fresh.";
    }
    std::string line = "Restored from " + std::string(file) + ": ";
    if (!state.plan.value) {
        line += "no plan chosen";
    } else {
        const CodexPlan plan = *state.plan.value;
        line += "plan " + std::string(title(plan)) + "; ";
        const auto record =
            state.planSnapshots.value ? state.planSnapshots.value->snapshot(plan) : std::nullopt;
        if (record) {
            line += "reading " + snapshotText(record->snapshot, plan) + " from " +
                    localDateTimeText(record->lastUpdated);
        } else {
            line += "no reading yet";
        }
    }
    if (state.automaticRefreshEnabled.value == false) {
        line += "; automatic refresh off";
    } else {
        line += "; automatic refresh every " +
                std::string(title(state.refreshFrequency.value.value_or(defaultRefreshFrequency)));
        if (const auto& next = state.nextAutomaticRefreshDate.value) {
            line += ", next " + localDateTimeText(*next) + (*next <= now ? " (overdue)" : "");
        }
    }
    if (const auto& display = state.menuBarDisplay.value;
        display && *display != defaultMenuBarDisplay) {
        line += "; menu bar " + std::string(title(*display));
    }
    const auto unreadable = state.unreadableKeys();
    if (!unreadable.empty()) {
        line += "; unreadable, so defaults:";
        for (const std::string_view key : unreadable) {
            line += " " + std::string(key);
        }
    }
    return line + ".";
}

}  // namespace gaugely::tool
