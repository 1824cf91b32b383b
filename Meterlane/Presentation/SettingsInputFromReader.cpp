#include "Meterlane/Presentation/SettingsInputFromReader.h"

#include "Meterlane/Presentation/CodexLogsPresentation.h"

namespace gaugely {

SettingsInput settingsInput(const UsageReader& reader, const LaunchAtLoginController& launchAtLogin,
                            bool showsNotificationRecovery, SettingsUpdateInput updates,
                            const TimeFormatter& formatter, std::string_view homeFolder) {
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
    input.readCodexLogs = reader.codexLogsEnabled();
    input.codexFolder = abbreviatedCodexFolder(reader.codexLogsFolder(), homeFolder);
    if (input.readCodexLogs) {
        input.codexLogsStatus = codexLogsStatusText(
            reader.codexLogsState(), codexSessionsFolder(input.codexFolder), reader.codexPlan(),
            [&formatter](Date date) { return formatter.timeOfDay(date, false); });
    }
    input.updates = std::move(updates);
    return input;
}

}  // namespace gaugely
