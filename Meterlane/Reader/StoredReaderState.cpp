#include "Meterlane/Reader/StoredReaderState.h"

#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr std::string_view earlierTwentyMinutes = "twentyMinutes";

// Calls `visit(stored, key)` for every value, in the order of the keys' declaration.
template <class State, class Visit>
void forEachValue(State& state, Visit&& visit) {
    namespace key = defaultsKey;
    visit(state.plan, key::codexPlan);
    visit(state.automaticRefreshEnabled, key::automaticRefreshEnabled);
    visit(state.refreshFrequency.frequency, key::automaticRefreshFrequency);
    visit(state.menuBarDisplay, key::menuBarDisplay);
    visit(state.lowUsageAlertSettings, key::lowUsageAlertSettings);
    visit(state.resetNotificationSettings, key::resetNotificationSettings);
    visit(state.planSnapshots, key::planSpecificUsageSnapshots);
    visit(state.legacySnapshot, key::lastCompleteUsageSnapshot);
    visit(state.nextAutomaticRefreshDate, key::nextAutomaticRefreshDate);
    visit(state.lowUsageNotificationState, key::lowUsageNotificationState);
    visit(state.quotaResetNotificationState, key::quotaResetNotificationState);
    visit(state.explicitPlanSelectionMigration, key::explicitPlanSelectionMigration);
    visit(state.readCodexLogsEnabled, key::readCodexLogsEnabled);
    visit(state.codexLogsFolder, key::codexLogsFolder);
    visit(state.snapshotSources, key::usageSnapshotSources);
    visit(state.profileMenuLocation, key::profileMenuLocation);
}

}  // namespace

StoredRefreshFrequency readStoredRefreshFrequency(Preferences& defaults) {
    StoredRefreshFrequency result;
    result.frequency =
        stored::enumeration<RefreshFrequency>(defaults, defaultsKey::automaticRefreshFrequency);
    if (result.frequency.unreadable &&
        defaults.stringValue(defaultsKey::automaticRefreshFrequency) == earlierTwentyMinutes) {
        result.frequency = {RefreshFrequency::thirtyMinutes, false};
        result.isEarlierForm = true;
    }
    return result;
}

StoredReaderState StoredReaderState::read(Preferences& defaults) {
    namespace key = defaultsKey;
    StoredReaderState state;
    state.plan = stored::enumeration<CodexPlan>(defaults, key::codexPlan);
    state.automaticRefreshEnabled = stored::flag(defaults, key::automaticRefreshEnabled);
    state.refreshFrequency = readStoredRefreshFrequency(defaults);
    state.menuBarDisplay = stored::enumeration<MenuBarDisplay>(defaults, key::menuBarDisplay);
    state.lowUsageAlertSettings =
        stored::record<LowUsageAlertSettings>(defaults, key::lowUsageAlertSettings);
    state.resetNotificationSettings =
        stored::record<ResetNotificationSettings>(defaults, key::resetNotificationSettings);
    state.planSnapshots =
        stored::record<PersistedPlanUsageSnapshots>(defaults, key::planSpecificUsageSnapshots);
    state.legacySnapshot =
        stored::record<PersistedUsageSnapshot>(defaults, key::lastCompleteUsageSnapshot);
    state.nextAutomaticRefreshDate = stored::date(defaults, key::nextAutomaticRefreshDate);
    state.lowUsageNotificationState =
        stored::record<LowUsageThresholdState>(defaults, key::lowUsageNotificationState);
    state.quotaResetNotificationState =
        stored::record<QuotaResetState>(defaults, key::quotaResetNotificationState);
    state.explicitPlanSelectionMigration =
        stored::flag(defaults, key::explicitPlanSelectionMigration);
    state.readCodexLogsEnabled = stored::flag(defaults, key::readCodexLogsEnabled);
    state.codexLogsFolder = stored::text(defaults, key::codexLogsFolder);
    state.snapshotSources =
        stored::record<UsageSnapshotSources>(defaults, key::usageSnapshotSources);
    state.profileMenuLocation =
        stored::record<StoredProfileMenuLocation>(defaults, key::profileMenuLocation);
    return state;
}

bool StoredReaderState::isEmpty() const {
    bool empty = true;
    forEachValue(*this, [&](const auto& value, std::string_view) { empty &= value.isAbsent(); });
    return empty;
}

std::vector<std::string_view> StoredReaderState::unreadableKeys() const {
    std::vector<std::string_view> keys;
    forEachValue(*this, [&](const auto& value, std::string_view key) {
        if (value.unreadable) {
            keys.push_back(key);
        }
    });
    return keys;
}

}  // namespace gaugely
