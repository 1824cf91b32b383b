#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Presentation/SettingsViewModel.h"

namespace gaugely {

class UsageReader;
class LaunchAtLoginController;

// What the settings window reports when a control is used: which control (and window, for the
// alert rows), the index chosen in a pop-up, or the state a switch was turned to.
struct SettingsAction {
    SettingsControl control = SettingsControl::codexPlan;
    std::optional<QuotaWindow> window;
    std::optional<std::size_t> choice;
    bool isOn = false;
};

// Where the settings window's actions go. The reader and launch at login are called directly;
// the rest are the app's (windows it opens, the updater's buttons).
struct SettingsTargets {
    UsageReader& reader;
    LaunchAtLoginController& launchAtLogin;
    std::function<void()> openNotificationSettings;
    std::function<void()> showPrivacyDetails;
    std::function<void()> checkForUpdates;
    std::function<void()> toggleReleaseNotes;
    std::function<void()> later;
    std::function<void()> updateAndRestart;
    // Asks the user for a Codex folder; the answer comes back through `codexFolderChosen`.
    std::function<void()> chooseCodexFolder;
};

// Turns an action into the model call, choosing by the same lists the window was built from, so a
// pop-up index always means what the window showed. An index out of range changes nothing.
void performSettingsAction(const SettingsAction& action, SettingsTargets& targets);

// The folder the user picked for Codex's logs. A folder under the home folder is kept as "~/…",
// so it reads as the user knows it and still holds when the home folder moves; an empty answer
// (a cancelled chooser) changes nothing.
void codexFolderChosen(UsageReader& reader, std::string_view path, std::string_view homeFolder);

}  // namespace gaugely
