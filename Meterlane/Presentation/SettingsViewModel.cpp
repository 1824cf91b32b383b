#include "Meterlane/Presentation/SettingsViewModel.h"

#include <algorithm>

#include "Meterlane/Presentation/PrivacyPermissionsPresentation.h"

namespace gaugely {

namespace {

SettingsRow choiceRow(SettingsControl control, std::string label, std::vector<std::string> items,
                      std::optional<std::size_t> selected, bool enabled = true) {
    SettingsRow row;
    row.control = control;
    row.kind = SettingsRowKind::choice;
    row.accessibilityLabel = label;
    row.label = std::move(label);
    row.choices = std::move(items);
    row.selected = selected;
    row.isEnabled = enabled;
    return row;
}

SettingsRow toggleRow(SettingsControl control, std::string label, bool isOn, bool enabled = true) {
    SettingsRow row;
    row.control = control;
    row.kind = SettingsRowKind::toggle;
    row.accessibilityLabel = label;
    row.label = std::move(label);
    row.isOn = isOn;
    row.isEnabled = enabled;
    return row;
}

SettingsRow buttonRow(SettingsControl control, std::string label, std::string title,
                      bool enabled = true) {
    SettingsRow row;
    row.control = control;
    row.kind = SettingsRowKind::button;
    row.accessibilityLabel = label.empty() ? title : label;
    row.label = std::move(label);
    row.actionTitle = std::move(title);
    row.isEnabled = enabled;
    return row;
}

SettingsRow noteRow(SettingsControl control, std::string text,
                    std::optional<std::string> detail = std::nullopt) {
    SettingsRow row;
    row.control = control;
    row.kind = SettingsRowKind::note;
    row.accessibilityLabel = detail ? text + ", " + *detail : text;
    row.label = std::move(text);
    row.detail = std::move(detail);
    return row;
}

template <class E, class Titles>
std::vector<std::string> titlesOf(const Titles& cases) {
    std::vector<std::string> titles;
    for (const E value : cases) {
        titles.emplace_back(title(value));
    }
    return titles;
}

template <class E, class Cases>
std::optional<std::size_t> indexOf(const Cases& cases, E value) {
    const auto found = std::find(cases.begin(), cases.end(), value);
    return found == cases.end() ? std::nullopt : std::optional<std::size_t>(found - cases.begin());
}

SettingsSection general(const SettingsInput& input) {
    SettingsSection section{"General", {}};
    const auto& plans = allCases<CodexPlan>();
    SettingsRow plan =
        choiceRow(SettingsControl::codexPlan,
                  input.hasExplicitPlanSelection ? "Codex Plan" : "Choose a Codex Plan",
                  titlesOf<CodexPlan>(plans),
                  input.hasExplicitPlanSelection ? indexOf(plans, input.plan) : std::nullopt);
    section.rows.push_back(std::move(plan));

    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(input.plan);
    // Only the formats the plan's windows can fill.
    const auto& displays = availableChoices(configuration.schema);
    section.rows.push_back(choiceRow(SettingsControl::menuBarDisplay, "Menu Bar Display",
                                     titlesOf<MenuBarDisplay>(displays),
                                     indexOf(displays, input.menuBarDisplay).value_or(0)));
    section.rows.push_back(toggleRow(
        SettingsControl::resetNotifications, "Reset Notifications", input.resetNotificationsEnabled,
        input.hasExplicitPlanSelection && configuration.supportsResetNotifications));
    if (input.showsNotificationRecovery) {
        section.rows.push_back(buttonRow(SettingsControl::openNotificationSettings,
                                         "Notifications are disabled in System Settings.",
                                         "Open Notification Settings\u2026"));
    }
    return section;
}

SettingsSection codexLogs(const SettingsInput& input) {
    SettingsSection section{"Codex's Logs", {}};
    section.rows.push_back(toggleRow(SettingsControl::readCodexLogs, "Read usage from Codex's logs",
                                     input.readCodexLogs));
    SettingsRow folder =
        buttonRow(SettingsControl::codexLogsFolder, "Codex Folder", "Choose\u2026");
    folder.detail = input.codexFolder;
    folder.accessibilityLabel = "Codex Folder, " + input.codexFolder;
    section.rows.push_back(std::move(folder));
    if (input.readCodexLogs && input.codexLogsStatus) {
        section.rows.push_back(
            noteRow(SettingsControl::readCodexLogs, "Status", *input.codexLogsStatus));
    }
    return section;
}

SettingsSection refresh(const SettingsInput& input) {
    SettingsSection section{"Refresh", {}};
    section.rows.push_back(toggleRow(SettingsControl::automaticRefresh, "Automatic Refresh",
                                     input.automaticRefreshEnabled));
    const auto& frequencies = allCases<RefreshFrequency>();
    section.rows.push_back(choiceRow(SettingsControl::refreshFrequency, "Refresh Frequency",
                                     titlesOf<RefreshFrequency>(frequencies),
                                     indexOf(frequencies, input.refreshFrequency),
                                     input.automaticRefreshEnabled));
    return section;
}

SettingsSection alertSection(std::string title, QuotaWindow window,
                             const LowUsageWindowAlertSettings& settings) {
    SettingsSection section{std::move(title), {}};
    const auto& thresholds = allCases<LowUsageAlertThreshold>();
    const auto& repeats = allCases<LowUsageAlertRepeat>();
    section.rows.push_back(toggleRow(SettingsControl::alertsEnabled, "Alerts", settings.isEnabled));
    section.rows.push_back(choiceRow(SettingsControl::alertThreshold, "Alert Threshold",
                                     titlesOf<LowUsageAlertThreshold>(thresholds),
                                     indexOf(thresholds, settings.threshold), settings.isEnabled));
    section.rows.push_back(choiceRow(
        SettingsControl::alertRepeat, "Repeat Notification", titlesOf<LowUsageAlertRepeat>(repeats),
        indexOf(repeats, settings.repeatInterval), settings.isEnabled));
    for (SettingsRow& row : section.rows) {
        row.window = window;
        // Three sections share these labels; VoiceOver needs to know which window is meant.
        row.accessibilityLabel = section.title + ": " + row.label;
    }
    return section;
}

SettingsSection startup(const SettingsInput& input) {
    SettingsSection section{"Startup", {}};
    SettingsRow login =
        toggleRow(SettingsControl::launchAtLogin, "Launch at Login", input.launchAtLoginEnabled);
    login.detail = input.launchAtLoginStatusMessage;
    section.rows.push_back(std::move(login));
    if (input.launchAtLoginNeedsApproval) {
        section.rows.push_back(buttonRow(SettingsControl::openLoginItemsSettings, "",
                                         "Open Login Items Settings\u2026"));
    }
    return section;
}

SettingsSection privacy(const SettingsInput& input) {
    SettingsSection section{"Privacy & Permissions", {}};
    section.rows.push_back(
        noteRow(SettingsControl::privacyDetails,
                PrivacyPermissionsPresentation::information(input.appName).settingsSummary));
    section.rows.push_back(
        buttonRow(SettingsControl::privacyDetails, "Privacy Details", "Show\u2026"));
    return section;
}

SettingsSection updates(const SettingsInput& input) {
    const SettingsUpdateInput& update = input.updates;
    SettingsSection section{SettingsViewModel::updatesSectionTitle, {}};
    if (update.unavailableText) {
        section.rows.push_back(noteRow(SettingsControl::checkForUpdates, *update.unavailableText));
        return section;
    }
    if (!update.currentVersionText.empty()) {
        section.rows.push_back(
            noteRow(SettingsControl::checkForUpdates, update.currentVersionText));
    }
    section.rows.push_back(buttonRow(SettingsControl::checkForUpdates, "",
                                     "Check for Updates\u2026", !update.isChecking));
    if (update.message) {
        section.rows.push_back(noteRow(SettingsControl::checkForUpdates, *update.message));
    }
    if (!update.offeredVersion) {
        return section;
    }
    section.rows.push_back(
        noteRow(SettingsControl::updateAndRestart, "Update Available",
                input.appName + " " + *update.offeredVersion + " is available."));
    if (update.releaseDate) {
        section.rows.push_back(
            noteRow(SettingsControl::updateAndRestart, "Released", *update.releaseDate));
    }
    const bool expanded = update.notesExpanded && update.hasMoreNotes;
    section.rows.push_back(noteRow(SettingsControl::toggleReleaseNotes, "What's New",
                                   expanded ? update.notes : update.highlights));
    if (update.hasMoreNotes) {
        section.rows.push_back(buttonRow(SettingsControl::toggleReleaseNotes, "",
                                         expanded ? "Show Less" : "Show More"));
    }
    section.rows.push_back(buttonRow(SettingsControl::later, "", "Later"));
    section.rows.push_back(buttonRow(SettingsControl::updateAndRestart, "", "Update & Restart"));
    return section;
}

}  // namespace

std::vector<std::pair<std::string, QuotaWindow>> SettingsViewModel::alertSections(CodexPlan plan) {
    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    std::vector<std::pair<std::string, QuotaWindow>> sections;
    for (const QuotaWindow window : requiredWindows(configuration.schema)) {
        sections.emplace_back(
            std::string(configuration.lowUsageNotificationTitle(window)) + " Usage Alerts", window);
    }
    return sections;
}

SettingsViewModel SettingsViewModel::make(const SettingsInput& input) {
    SettingsViewModel model;
    model.sections.push_back(general(input));
    model.sections.push_back(codexLogs(input));
    model.sections.push_back(refresh(input));
    // The alert sections follow the plan, so there are none before one is chosen.
    if (input.hasExplicitPlanSelection) {
        for (const auto& [title, window] : alertSections(input.plan)) {
            model.sections.push_back(
                alertSection(title, window, input.lowUsageAlertSettings.setting(window)));
        }
    }
    model.sections.push_back(startup(input));
    model.sections.push_back(privacy(input));
    model.sections.push_back(updates(input));
    return model;
}

}  // namespace gaugely
