#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"

namespace gaugely {

// Every control of the settings window, by what it changes. The window forwards a control's
// action with its identifier (and the window, for the alert rows); `SettingsActions` in the app's
// assembly turns it into the model call.
enum class SettingsControl {
    codexPlan,
    menuBarDisplay,
    readCodexLogs,
    // A request: the app asks for a folder, then hands the choice to `codexFolderChosen`.
    codexLogsFolder,
    automaticRefresh,
    refreshFrequency,
    alertsEnabled,
    alertThreshold,
    alertRepeat,
    resetNotifications,
    openNotificationSettings,
    launchAtLogin,
    openLoginItemsSettings,
    privacyDetails,
    checkForUpdates,
    toggleReleaseNotes,
    later,
    updateAndRestart,
};

enum class SettingsRowKind { choice, toggle, button, note };

struct SettingsRow {
    SettingsControl control = SettingsControl::codexPlan;
    // The window an alert row belongs to.
    std::optional<QuotaWindow> window;
    SettingsRowKind kind = SettingsRowKind::note;
    std::string label;
    // A choice's items (titles, in order) and the one selected; none while nothing is chosen.
    std::vector<std::string> choices;
    std::optional<std::size_t> selected;
    bool isOn = false;
    bool isEnabled = true;
    // A button's title.
    std::string actionTitle;
    // A line under the control: the launch-at-login status, the release date, the chosen folder.
    std::optional<std::string> detail;
    // What VoiceOver reads; never empty.
    std::string accessibilityLabel;

    bool operator==(const SettingsRow&) const = default;
};

struct SettingsSection {
    std::string title;
    std::vector<SettingsRow> rows;

    bool operator==(const SettingsSection&) const = default;
};

// The update section's state, taken from the updater model.
struct SettingsUpdateInput {
    // "Updates are not available in this build." in a build without a feed.
    std::optional<std::string> unavailableText;
    std::string currentVersionText;  // "Version 1.0.3 · Released September 22, 2026"
    bool isChecking = false;
    std::optional<std::string> message;
    // The offer the notice holds, if any.
    std::optional<std::string> offeredVersion;
    std::optional<std::string> releaseDate;
    std::string highlights;
    std::string notes;
    bool hasMoreNotes = false;
    bool notesExpanded = false;
};

// Everything the window draws, gathered from the reader, the launch-at-login controller, the
// notification permission and the updater, so the rows are decided without them.
struct SettingsInput {
    std::string appName = "Gaugely";
    bool hasExplicitPlanSelection = false;
    CodexPlan plan = CodexPlan::plus;
    MenuBarDisplay menuBarDisplay = MenuBarDisplay::standard;
    bool automaticRefreshEnabled = true;
    RefreshFrequency refreshFrequency = defaultRefreshFrequency;
    LowUsageAlertSettings lowUsageAlertSettings;
    bool resetNotificationsEnabled = true;
    bool showsNotificationRecovery = false;
    bool launchAtLoginEnabled = false;
    std::optional<std::string> launchAtLoginStatusMessage;
    bool launchAtLoginNeedsApproval = false;
    bool readCodexLogs = false;
    // The Codex folder as the user reads it ("~/.codex").
    std::string codexFolder = "~/.codex";
    // Where the logs were looked for and what came of it; shown while reading is on.
    std::optional<std::string> codexLogsStatus;
    SettingsUpdateInput updates;
};

struct SettingsViewModel {
    static constexpr const char* windowTitle = "Gaugely Settings";
    static constexpr const char* windowIdentifier = "gaugely.settings";

    std::vector<SettingsSection> sections;

    static SettingsViewModel make(const SettingsInput& input);

    // The section titles of the alert windows a plan can alert on, in order.
    static std::vector<std::pair<std::string, QuotaWindow>> alertSections(CodexPlan plan);

    // Where "View Update →" opens the window.
    static constexpr const char* updatesSectionTitle = "Updates";

    bool operator==(const SettingsViewModel&) const = default;
};

}  // namespace gaugely
