// Restoring the reader from user defaults at start-up, and writing each setting back the moment
// it changes. A value that cannot be read keeps its default and is never overwritten by the read.
// Values are decoded by StoredReaderState's decoders, which `gaugely state` shares.
#include <algorithm>
#include <string>

#include "LowUsageNotificationSupport/LegacyPlanSelectionMigrationPolicy.h"
#include "Meterlane/Reader/StoredReaderState.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

void UsageReader::restoreRefreshSettings() {
    Preferences& defaults = env_.preferences;
    if (const auto enabled = stored::flag(defaults, defaultsKey::automaticRefreshEnabled).value) {
        automaticRefreshEnabled_ = *enabled;
    }
    const StoredRefreshFrequency frequency = readStoredRefreshFrequency(defaults);
    if (frequency.frequency.value) {
        refreshFrequency_ = *frequency.frequency.value;
        if (frequency.isEarlierForm) {
            defaults.setString(defaultsKey::automaticRefreshFrequency, rawValue(refreshFrequency_));
        }
    }
    if (const auto display =
            stored::enumeration<MenuBarDisplay>(defaults, defaultsKey::menuBarDisplay).value) {
        menuBarDisplay_ = *display;
    }
    if (const auto plan = stored::enumeration<CodexPlan>(defaults, defaultsKey::codexPlan).value) {
        planSelectionState_.select(*plan);
    }
    restoreNotificationSettings();
    restoreCodexLogSettings();
}

void UsageReader::restorePersistedSnapshots() {
    Preferences& defaults = env_.preferences;
    auto planRecords = stored::record<PersistedPlanUsageSnapshots>(
        defaults, defaultsKey::planSpecificUsageSnapshots);
    if (planRecords.value) {
        persistedPlanSnapshots_ = std::move(*planRecords.value);
    }
    const auto legacy =
        stored::record<PersistedUsageSnapshot>(defaults, defaultsKey::lastCompleteUsageSnapshot)
            .value;
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
        if (!planRecords.unreadable) {
            persistPlanSnapshots();
        }
    }
}

void UsageReader::migrateLegacyPlanSelectionIfNeeded() {
    if (hasExplicitPlanSelection()) {
        return;
    }
    Preferences& defaults = env_.preferences;
    if (stored::flag(defaults, defaultsKey::explicitPlanSelectionMigration).value == true) {
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
    // Which windows had reset is known only from the logs, which tell again.
    publish(codexLogPassedResets_, std::map<QuotaWindow, Date>());
    const auto record = persistedPlanSnapshots_.snapshot(plan);
    if (record && isDisplayableSnapshot(record->snapshot, plan)) {
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
    setStatus(std::nullopt);
    // The follower hands each line over once: what the logs said may fit the new plan.
    if (!codexLogReadings_.isEmpty() && !activeRun_) {
        commitCodexLogReadings();
    }
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
