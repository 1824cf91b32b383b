#include "Meterlane/Presentation/SettingsInputFromReader.h"

namespace gaugely {

SettingsInput settingsInput(const UsageReader& reader, const LaunchAtLoginController& launchAtLogin,
                            bool showsNotificationRecovery, SettingsUpdateInput updates) {
    SettingsInput input;
    input.hasExplicitPlanSelection = reader.hasExplicitPlanSelection();
    input.plan = reader.codexPlan();
    input.menuBarDisplay = reader.effectiveMenuBarDisplay();
    input.automaticRefreshEnabled = reader.automaticRefreshEnabled();
    input.refreshFrequency = reader.refreshFrequency();
    input.lowUsageAlertSettings = reader.lowUsageAlertSettings();
    input.resetNotificationsEnabled = reader.resetNotificationSettings().isEnabled;
    input.showsNotificationRecovery = showsNotificationRecovery;
    input.launchAtLoginEnabled = launchAtLogin.isEnabled();
    input.launchAtLoginStatusMessage = launchAtLogin.statusMessage();
    input.launchAtLoginNeedsApproval = launchAtLogin.needsApproval();
    input.updates = std::move(updates);
    return input;
}

}  // namespace gaugely
