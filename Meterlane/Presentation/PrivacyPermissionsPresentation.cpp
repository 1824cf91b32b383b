#include "Meterlane/Presentation/PrivacyPermissionsPresentation.h"

namespace gaugely {

PrivacyPermissionsInformation PrivacyPermissionsPresentation::information(
    std::string_view appName) {
    const std::string name(appName);
    PrivacyPermissionsInformation texts;
    texts.settingsSummary =
        "Accessibility and notifications are used only for the features you enable. Usage data "
        "stays on this Mac.";
    texts.accessibilitySummary =
        "Used only to read your visible Codex usage information and safely navigate the Codex "
        "usage interface when needed.";
    texts.notificationsSummary = "Used only for usage and reset alerts you enable.";
    texts.dataSummary = "Usage information is stored locally on this Mac. " + name +
                        " does not upload your usage data.";
    texts.accessibilityDetails =
        name +
        " uses macOS Accessibility permission to interact with the visible Codex desktop "
        "interface. It reads only the usage information needed for the monitor and may open "
        "Codex Profile \u2192 Usage remaining during a refresh. It does not use Accessibility "
        "permission to inspect unrelated apps.";
    texts.notificationsDetails =
        "Notification permission is used only to deliver usage alerts and reset notifications "
        "you enable. You can disable these alerts in " +
        name + " Settings or macOS System Settings.";
    texts.codexLogsDetails = "When you turn on reading Codex's logs, " + name +
                             " reads only the usage lines of Codex's session files in the folder "
                             "you choose, and which session each file is (so that a forked "
                             "session's copies of older lines are not taken for new ones). It "
                             "never reads, stores or sends your conversations.";
    texts.localDataDetails =
        "The last valid usage snapshot, 30 days of usage history and app preferences are stored "
        "locally on this Mac.";
    texts.networkDetails = name + " does not upload your Codex usage data.";
    return texts;
}

}  // namespace gaugely
