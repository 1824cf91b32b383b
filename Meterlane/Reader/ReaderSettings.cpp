#include "Meterlane/Reader/ReaderSettings.h"

#include <algorithm>

#include "LowUsageNotificationSupport/LegacyPlanSelectionMigrationPolicy.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Reader/StoredReaderState.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

ReaderSettings::ReaderSettings(Preferences& preferences, ModelObservers& observers)
    : preferences_(preferences), observers_(observers) {}

void ReaderSettings::restore() {
    Preferences& defaults = preferences_;
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
        planSelection_.select(*plan);
    }
    if (const auto settings =
            stored::record<LowUsageAlertSettings>(defaults, defaultsKey::lowUsageAlertSettings)
                .value) {
        lowUsageAlerts_ = *settings;
        if (settings->needsLegacyWindowConfigurationMigration) {
            // Store the per-window form now, so the older one is read only once.
            storeLowUsageAlerts();
        }
    }
    if (const auto settings = stored::record<ResetNotificationSettings>(
                                  defaults, defaultsKey::resetNotificationSettings)
                                  .value) {
        resetNotifications_ = *settings;
    }
    if (const auto enabled = stored::flag(defaults, defaultsKey::readCodexLogsEnabled).value) {
        codexLogsEnabled_ = *enabled;
    }
    if (auto folder = stored::text(defaults, defaultsKey::codexLogsFolder).value) {
        codexLogsFolder_ = std::move(*folder);
    }
}

void ReaderSettings::migrateLegacyPlanSelection(std::optional<CodexPlan> legacySnapshotPlan) {
    if (planSelection_.hasExplicitPlanSelection()) {
        return;
    }
    if (stored::flag(preferences_, defaultsKey::explicitPlanSelectionMigration).value == true) {
        return;
    }
    if (const auto plan = LegacyPlanSelectionMigrationPolicy::migratedPlan(
            planSelection_.selectedPlan, legacySnapshotPlan)) {
        planSelection_.select(*plan);
        preferences_.setString(defaultsKey::codexPlan, rawValue(*plan));
    }
    preferences_.setBool(defaultsKey::explicitPlanSelectionMigration, true);
}

bool ReaderSettings::selectPlan(CodexPlan plan) {
    if (plan == this->plan() && planSelection_.hasExplicitPlanSelection()) {
        return false;
    }
    CodexPlanSelectionState selection = planSelection_;
    selection.select(plan);
    observers_.publish(planSelection_, selection);
    preferences_.setString(defaultsKey::codexPlan, rawValue(plan));
    return true;
}

bool ReaderSettings::setAutomaticRefreshEnabled(bool enabled) {
    if (enabled == automaticRefreshEnabled_) {
        return false;
    }
    observers_.publish(automaticRefreshEnabled_, enabled);
    preferences_.setBool(defaultsKey::automaticRefreshEnabled, enabled);
    return true;
}

bool ReaderSettings::setRefreshFrequency(RefreshFrequency frequency) {
    if (frequency == refreshFrequency_) {
        return false;
    }
    observers_.publish(refreshFrequency_, frequency);
    preferences_.setString(defaultsKey::automaticRefreshFrequency, rawValue(frequency));
    return true;
}

bool ReaderSettings::setMenuBarDisplay(MenuBarDisplay display) {
    const auto& choices = availableChoices(PlanQuotaConfiguration::configuration(plan()).schema);
    if (std::find(choices.begin(), choices.end(), display) == choices.end() ||
        display == menuBarDisplay_) {
        return false;
    }
    observers_.publish(menuBarDisplay_, display);
    preferences_.setString(defaultsKey::menuBarDisplay, rawValue(display));
    return true;
}

bool ReaderSettings::setCodexLogsEnabled(bool enabled) {
    if (enabled == codexLogsEnabled_) {
        return false;
    }
    observers_.publish(codexLogsEnabled_, enabled);
    preferences_.setBool(defaultsKey::readCodexLogsEnabled, enabled);
    return true;
}

bool ReaderSettings::setCodexLogsFolder(std::string folder) {
    if (folder.empty()) {
        folder = defaultCodexFolder;
    }
    if (folder == codexLogsFolder_) {
        return false;
    }
    observers_.publish(codexLogsFolder_, std::move(folder));
    // The default is kept as no value, so a later default would apply.
    if (codexLogsFolder_ == defaultCodexFolder) {
        preferences_.remove(defaultsKey::codexLogsFolder);
    } else {
        preferences_.setString(defaultsKey::codexLogsFolder, codexLogsFolder_);
    }
    return true;
}

void ReaderSettings::changeLowUsageAlert(
    QuotaWindow window, const std::function<void(LowUsageWindowAlertSettings&)>& change) {
    LowUsageAlertSettings settings = lowUsageAlerts_;
    LowUsageWindowAlertSettings entry = settings.setting(window);
    change(entry);
    settings.set(entry, window);
    observers_.publish(lowUsageAlerts_, settings);
    storeLowUsageAlerts();
}

void ReaderSettings::setResetNotificationsEnabled(bool enabled) {
    observers_.publish(resetNotifications_, ResetNotificationSettings{enabled});
    preferences_.setData(defaultsKey::resetNotificationSettings, encodeJson(resetNotifications_));
}

void ReaderSettings::storeLowUsageAlerts() {
    preferences_.setData(defaultsKey::lowUsageAlertSettings, encodeJson(lowUsageAlerts_));
}

}  // namespace gaugely
