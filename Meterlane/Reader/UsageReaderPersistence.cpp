// Restoring the reader from user defaults at start-up, and writing each setting back the moment
// it changes. A value that cannot be read keeps its default and is never overwritten by the read.
#include <algorithm>
#include <string>

#include "LowUsageNotificationSupport/LegacyPlanSelectionMigrationPolicy.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

void UsageReader::restoreRefreshSettings() {
    Preferences& defaults = env_.preferences;
    if (defaults.hasObject(defaultsKey::automaticRefreshEnabled)) {
        if (const auto enabled = defaults.boolValue(defaultsKey::automaticRefreshEnabled)) {
            automaticRefreshEnabled_ = *enabled;
        }
    }
    if (const auto stored = defaults.stringValue(defaultsKey::automaticRefreshFrequency)) {
        if (const auto frequency = fromRawValue<RefreshFrequency>(*stored)) {
            refreshFrequency_ = *frequency;
        } else if (*stored == "twentyMinutes") {
            // Earlier versions offered 20 minutes; the nearest slower choice keeps the user's
            // intent of infrequent refreshes.
            refreshFrequency_ = RefreshFrequency::thirtyMinutes;
            defaults.setString(defaultsKey::automaticRefreshFrequency,
                               rawValue(RefreshFrequency::thirtyMinutes));
        }
    }
    if (const auto stored = defaults.stringValue(defaultsKey::menuBarDisplay)) {
        if (const auto display = fromRawValue<MenuBarDisplay>(*stored)) {
            menuBarDisplay_ = *display;
        }
    }
    if (const auto stored = defaults.stringValue(defaultsKey::codexPlan)) {
        if (const auto plan = fromRawValue<CodexPlan>(*stored)) {
            planSelectionState_.select(*plan);
        }
    }
    restoreNotificationSettings();
}

void UsageReader::restorePersistedSnapshots() {
    Preferences& defaults = env_.preferences;
    bool planRecordsUnreadable = defaults.hasObject(defaultsKey::planSpecificUsageSnapshots);
    if (const auto data = defaults.dataValue(defaultsKey::planSpecificUsageSnapshots)) {
        if (auto decoded = decodeJson<PersistedPlanUsageSnapshots>(*data)) {
            persistedPlanSnapshots_ = std::move(*decoded);
            planRecordsUnreadable = false;
        }
    }
    const auto legacyData = defaults.dataValue(defaultsKey::lastCompleteUsageSnapshot);
    if (!legacyData) {
        return;
    }
    const auto legacy = decodeJson<PersistedUsageSnapshot>(*legacyData);
    if (!legacy ||
        !isCompleteUsageSnapshot(legacy->snapshot,
                                 PlanQuotaConfiguration::configuration(legacy->plan).schema)) {
        return;
    }
    legacyPersistedSnapshotPlan_ = legacy->plan;
    // A record written per plan is newer than the legacy one and always wins, even one this
    // version cannot read.
    const bool planRecordExists =
        persistedPlanSnapshots_.snapshot(legacy->plan) ||
        persistedPlanSnapshots_.preservedEntries.contains(std::string(rawValue(legacy->plan)));
    if (!planRecordExists) {
        persistedPlanSnapshots_.store(legacy->plan, *legacy);
        // Stored records this version cannot read stay as they are until a reading replaces
        // them; the legacy one is shown meanwhile and saved with the next commit.
        if (!planRecordsUnreadable) {
            persistPlanSnapshots();
        }
    }
}

void UsageReader::migrateLegacyPlanSelectionIfNeeded() {
    if (hasExplicitPlanSelection()) {
        return;
    }
    Preferences& defaults = env_.preferences;
    if (defaults.boolValue(defaultsKey::explicitPlanSelectionMigration) == true) {
        return;
    }
    if (const auto plan = LegacyPlanSelectionMigrationPolicy::migratedPlan(
            planSelectionState_.selectedPlan, legacyPersistedSnapshotPlan_)) {
        planSelectionState_.select(*plan);
        defaults.setString(defaultsKey::codexPlan, rawValue(*plan));
    }
    defaults.setBool(defaultsKey::explicitPlanSelectionMigration, true);
}

void UsageReader::presentCachedSnapshot(CodexPlan plan) {
    const auto record = persistedPlanSnapshots_.snapshot(plan);
    if (record && isCompleteUsageSnapshot(record->snapshot, currentSchema())) {
        publish(snapshot_, record->snapshot);
        publish(activeSnapshotPlan_, std::optional<CodexPlan>(plan));
        publish(lastUpdated_, std::optional<Date>(record->lastUpdated));
        return;
    }
    // A plan never read shows no numbers rather than another plan's.
    publish(snapshot_, UsageSnapshot::empty());
    publish(activeSnapshotPlan_, std::optional<CodexPlan>());
    publish(lastUpdated_, std::optional<Date>());
}

void UsageReader::persistCompleteSnapshot(Date lastUpdated, CodexPlan plan) {
    persistedPlanSnapshots_.store(plan, PersistedUsageSnapshot{snapshot_, lastUpdated, plan});
    persistPlanSnapshots();
}

void UsageReader::persistPlanSnapshots() {
    env_.preferences.setData(defaultsKey::planSpecificUsageSnapshots,
                             encodeJson(persistedPlanSnapshots_));
}

void UsageReader::setCodexPlan(CodexPlan plan) {
    if (plan == codexPlan() && hasExplicitPlanSelection()) {
        return;
    }
    cancelRefreshForPlanChange();
    CodexPlanSelectionState selection = planSelectionState_;
    selection.select(plan);
    planSynchronization_.invalidateForPlanChange();
    publish(planSelectionState_, selection);
    env_.preferences.setString(defaultsKey::codexPlan, rawValue(plan));
    presentCachedSnapshot(plan);
    invalidateNotificationStates(plan);
    if (automaticRefreshEnabled_) {
        scheduler_.scheduleNextAutomaticRefresh(env_.clock.now());
    }
    setStatusMessage(std::nullopt);
}

void UsageReader::setMenuBarDisplay(MenuBarDisplay display) {
    const auto& choices = availableChoices(currentSchema());
    if (std::find(choices.begin(), choices.end(), display) == choices.end()) {
        return;
    }
    if (display == menuBarDisplay_) {
        return;
    }
    publish(menuBarDisplay_, display);
    env_.preferences.setString(defaultsKey::menuBarDisplay, rawValue(display));
}

}  // namespace gaugely
