#include "Meterlane/Presentation/SettingsActions.h"

#include "Meterlane/Presentation/CodexLogsPresentation.h"
#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

namespace {

template <class List>
auto chosen(const List& list, std::optional<std::size_t> index)
    -> std::optional<std::decay_t<decltype(list[0])>> {
    if (!index || *index >= list.size()) {
        return std::nullopt;
    }
    return list[*index];
}

void call(const std::function<void()>& target) {
    if (target) {
        target();
    }
}

}  // namespace

void performSettingsAction(const SettingsAction& action, SettingsTargets& targets) {
    UsageReader& reader = targets.reader;
    const QuotaWindow window = action.window.value_or(QuotaWindow::fiveHour);
    switch (action.control) {
        case SettingsControl::codexPlan:
            if (const auto plan = chosen(allCases<CodexPlan>(), action.choice)) {
                reader.setCodexPlan(*plan);
            }
            return;
        case SettingsControl::menuBarDisplay: {
            const QuotaSchema schema =
                PlanQuotaConfiguration::configuration(reader.codexPlan()).schema;
            if (const auto display = chosen(availableChoices(schema), action.choice)) {
                reader.setMenuBarDisplay(*display);
            }
            return;
        }
        case SettingsControl::readCodexLogs:
            reader.setCodexLogsEnabled(action.isOn);
            return;
        case SettingsControl::codexLogsFolder:
            call(targets.chooseCodexFolder);
            return;
        case SettingsControl::automaticRefresh:
            reader.setAutomaticRefreshEnabled(action.isOn);
            return;
        case SettingsControl::refreshFrequency:
            if (const auto frequency = chosen(allCases<RefreshFrequency>(), action.choice)) {
                reader.setRefreshFrequency(*frequency);
            }
            return;
        case SettingsControl::alertsEnabled:
            if (action.window) {
                reader.setLowUsageAlertsEnabled(action.isOn, window);
            }
            return;
        case SettingsControl::alertThreshold:
            if (const auto threshold = chosen(allCases<LowUsageAlertThreshold>(), action.choice);
                threshold && action.window) {
                reader.setLowUsageAlertThreshold(*threshold, window);
            }
            return;
        case SettingsControl::alertRepeat:
            if (const auto repeat = chosen(allCases<LowUsageAlertRepeat>(), action.choice);
                repeat && action.window) {
                reader.setLowUsageAlertRepeat(*repeat, window);
            }
            return;
        case SettingsControl::resetNotifications:
            reader.setResetNotificationsEnabled(action.isOn);
            return;
        case SettingsControl::launchAtLogin:
            targets.launchAtLogin.setEnabled(action.isOn);
            return;
        case SettingsControl::openLoginItemsSettings:
            targets.launchAtLogin.openLoginItemsSettings();
            return;
        case SettingsControl::openNotificationSettings:
            call(targets.openNotificationSettings);
            return;
        case SettingsControl::privacyDetails:
            call(targets.showPrivacyDetails);
            return;
        case SettingsControl::checkForUpdates:
            call(targets.checkForUpdates);
            return;
        case SettingsControl::toggleReleaseNotes:
            call(targets.toggleReleaseNotes);
            return;
        case SettingsControl::later:
            call(targets.later);
            return;
        case SettingsControl::updateAndRestart:
            call(targets.updateAndRestart);
            return;
    }
}

void codexFolderChosen(UsageReader& reader, std::string_view path, std::string_view homeFolder) {
    if (path.empty()) {
        return;
    }
    reader.setCodexLogsFolder(abbreviatedCodexFolder(path, homeFolder));
}

}  // namespace gaugely
