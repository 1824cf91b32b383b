#include <gtest/gtest.h>

#include <sstream>

#include "Meterlane/Presentation/AppVersionInfo.h"
#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Presentation/MenuBarLabelPresentation.h"
#include "Meterlane/Presentation/PrivacyPermissionsPresentation.h"
#include "Meterlane/Presentation/SettingsViewModel.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "app/GoldenFile.h"

namespace gaugely {
namespace {

SettingsInput chosen(CodexPlan plan) {
    SettingsInput input;
    input.hasExplicitPlanSelection = true;
    input.plan = plan;
    input.updates.currentVersionText = "Version 1.0.3 \u00B7 Released September 22, 2026";
    return input;
}

SettingsInput withOffer(SettingsInput input, bool expanded) {
    input.updates.offeredVersion = "1.0.4";
    input.updates.releaseDate = "October 1, 2026";
    input.updates.highlights = "Faster refreshes\nFewer clicks\nA new icon";
    input.updates.notes = input.updates.highlights + "\nAnd a fourth line";
    input.updates.hasMoreNotes = true;
    input.updates.notesExpanded = expanded;
    return input;
}

// The window as text, one row a line: what a reviewer reads to see every label and state. Every
// control it shows must also carry an accessibility label.
std::string rendered(const SettingsViewModel& model) {
    std::ostringstream out;
    for (const SettingsSection& section : model.sections) {
        out << "[" << section.title << "]\n";
        for (const SettingsRow& row : section.rows) {
            EXPECT_FALSE(row.accessibilityLabel.empty())
                << section.title << " / " << row.label << row.actionTitle;
            out << "  " << (row.isEnabled ? "" : "(disabled) ");
            switch (row.kind) {
                case SettingsRowKind::choice:
                    out << row.label << ": ";
                    for (std::size_t i = 0; i < row.choices.size(); ++i) {
                        out << (i ? " | " : "") << (row.selected == i ? "*" : "") << row.choices[i];
                    }
                    break;
                case SettingsRowKind::toggle:
                    out << row.label << ": " << (row.isOn ? "on" : "off");
                    break;
                case SettingsRowKind::button:
                    out << (row.label.empty() ? "" : row.label + " ") << "[" << row.actionTitle
                        << "]";
                    break;
                case SettingsRowKind::note:
                    out << row.label;
                    break;
            }
            if (row.detail) {
                std::istringstream lines(*row.detail);
                for (std::string line; std::getline(lines, line);) {
                    out << "\n      " << line;
                }
            }
            out << "\n";
        }
    }
    return out.str();
}

// Each plan's list of formats is its golden rendering; a stale choice the plan cannot show
// selects the first one offered.
TEST(SettingsViewModel, AFormatThePlanCannotShowSelectsTheFirstOffered) {
    for (const CodexPlan plan : {CodexPlan::freeGo, CodexPlan::pro}) {
        SettingsInput input = chosen(plan);
        input.menuBarDisplay = MenuBarDisplay::fiveHourOnly;
        EXPECT_EQ(SettingsViewModel::make(input).sections[0].rows[1].selected, 0u)
            << rawValue(plan);
    }
}

TEST(SettingsViewModel, GoldenRenderings) {
    SettingsInput firstRun;
    firstRun.updates.currentVersionText = "Version 1.0.3 \u00B7 Released September 22, 2026";
    SettingsInput freeGo = chosen(CodexPlan::freeGo);
    freeGo.automaticRefreshEnabled = false;
    freeGo.launchAtLoginNeedsApproval = true;
    freeGo.launchAtLoginStatusMessage = "Launch at Login requires approval in System Settings.";
    freeGo.updates.unavailableText = "Updates are not available in this build.";
    // The logs' status line belongs to the switch: off, it is not shown; on, only with a line.
    freeGo.codexLogsStatus = "No Codex logs in ~/.codex/sessions";
    SettingsInput plus = withOffer(chosen(CodexPlan::plus), false);
    plus.lowUsageAlertSettings.weekly.isEnabled = false;
    plus.showsNotificationRecovery = true;
    plus.readCodexLogs = true;
    plus.codexFolder = "~/Work/codex";
    plus.codexLogsStatus = "Reading ~/Work/codex/sessions \u00B7 newest usage line at 2:04 PM";
    SettingsInput pro = withOffer(chosen(CodexPlan::pro), true);
    pro.readCodexLogs = true;
    expectGolden("settings-first-run.txt", rendered(SettingsViewModel::make(firstRun)));
    expectGolden("settings-free-go.txt", rendered(SettingsViewModel::make(freeGo)));
    expectGolden("settings-plus.txt", rendered(SettingsViewModel::make(plus)));
    expectGolden("settings-pro.txt", rendered(SettingsViewModel::make(pro)));

    const AboutPresentation about = AboutPresentation::make(
        AppVersionPresentation::information("Gaugely", "Gaugely", "1.0.3", "3"), "Vostrel",
        "Codex Usage Monitor for Mac");
    const PrivacyPermissionsInformation privacy =
        PrivacyPermissionsPresentation::information("Gaugely");
    std::string texts = "[About]\n";
    for (const std::string& line : std::initializer_list<std::string>{
             about.appName, about.productDescription, about.versionText, about.developerText,
             "[" + about.copyActionTitle + "] copies:", about.copiedText, "", "[Privacy]",
             privacy.settingsSummary, privacy.accessibilitySummary, privacy.notificationsSummary,
             privacy.dataSummary, privacy.accessibilityDetails, privacy.notificationsDetails,
             privacy.codexLogsDetails, privacy.localDataDetails, privacy.networkDetails}) {
        texts += line + "\n";
    }
    expectGolden("about-and-privacy.txt", texts);
}

TEST(AppVersionPresentation, TrimsAndFallsBackFieldByField) {
    const struct {
        const char *displayName, *bundleName, *version, *build;
        AppVersionInfo expected;
    } rows[] = {
        {"Gaugely", "GaugelyApp", "1.0.3", "3", {"Gaugely", "1.0.3", "3"}},
        {" \n", "GaugelyApp", " 1.0.3\n", "\t3 ", {"GaugelyApp", "1.0.3", "3"}},
        {"", "  ", "", "", {"Gaugely", "Unknown", "Unknown"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(AppVersionPresentation::information(row.displayName, row.bundleName, row.version,
                                                      row.build),
                  row.expected)
            << row.displayName << "|" << row.bundleName;
    }
    // No developer name, no "By" line (the golden About rendering shows the named case).
    const AboutPresentation about =
        AboutPresentation::make({"Gaugely", "1.0.3", "3"}, "", "Codex Usage Monitor for Mac");
    EXPECT_EQ(about.developerText, "");
}

TEST(LaunchAtLoginController, StatusAndFailuresShowTheMostSpecificMessage) {
    using Status = LoginItemService::Status;
    const std::string approval = "Launch at Login requires approval in System Settings.";
    const struct {
        const char* name;
        Status status;
        std::optional<bool> change;  // none: only the status is read
        bool succeeds;
        bool enabled;
        std::optional<std::string> message;
    } rows[] = {
        {"not registered", Status::notRegistered, std::nullopt, true, false, std::nullopt},
        {"enabled", Status::enabled, std::nullopt, true, true, std::nullopt},
        {"requires approval", Status::requiresApproval, std::nullopt, true, false, approval},
        {"not found", Status::notFound, std::nullopt, true, false,
         "Launch at Login is unavailable for this app."},
        {"unknown", Status::unknown, std::nullopt, true, false,
         "Launch at Login status is unavailable."},
        {"switched on", Status::notRegistered, true, true, true, std::nullopt},
        {"switched off", Status::enabled, false, true, false, std::nullopt},
        // The status explains a failure better than the generic message.
        {"failed, waiting for approval", Status::requiresApproval, true, false, false, approval},
        {"failed, not registered", Status::notRegistered, true, false, false,
         "Could not update Launch at Login."},
    };
    for (const auto& row : rows) {
        FakeLoginItemService service;
        service.currentStatus = row.status;
        service.changesSucceed = row.succeeds;
        LaunchAtLoginController controller(service);
        int changes = 0;
        controller.addObserver([&] { ++changes; });
        if (row.change) {
            controller.setEnabled(*row.change);
        }
        EXPECT_EQ(controller.isEnabled(), row.enabled) << row.name;
        EXPECT_EQ(controller.statusMessage(), row.message) << row.name;
        EXPECT_EQ(controller.needsApproval(), row.status == Status::requiresApproval) << row.name;
        EXPECT_LE(changes, 1) << row.name;
    }
}

TEST(MenuBarLabelPresentation, TheBadgeComesAndGoesWithNothingElseChanging) {
    const auto without = MenuBarLabelPresentation::make("5h 72% \u00B7 W 40%", true, false);
    auto with = MenuBarLabelPresentation::make("5h 72% \u00B7 W 40%", true, true);
    EXPECT_TRUE(with.showsUpdateBadge);
    EXPECT_EQ(with.accessibilityLabel, "Codex usage: 5h 72% \u00B7 W 40%, Update Available");
    with.showsUpdateBadge = false;
    with.accessibilityLabel = without.accessibilityLabel;
    EXPECT_EQ(with, without);
    EXPECT_FALSE(MenuBarLabelPresentation::make("Set plan", false, false).showsTemplateImage);
}

TEST(MenuBarLabelPresentation, TheBadgeSitsAtTheTopRightWhicheverWayYGrows) {
    const Size button{64, 22};
    const double side = MenuBarLabelPresentation::updateBadgeSide;
    for (const bool flipped : {false, true}) {
        const Point origin = MenuBarLabelPresentation::updateBadgeOrigin(button, flipped);
        // Measured from the top in both orientations, the badge starts 2 points down.
        const double fromTop = flipped ? origin.y : button.height - (origin.y + side);
        EXPECT_DOUBLE_EQ(fromTop, 2) << flipped;
        EXPECT_DOUBLE_EQ(button.width - (origin.x + side), 1) << flipped;
    }
}

}  // namespace
}  // namespace gaugely
