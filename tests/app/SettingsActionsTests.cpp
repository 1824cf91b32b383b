#include <gtest/gtest.h>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Presentation/SettingsActions.h"
#include "Meterlane/Presentation/SettingsInputFromReader.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "reader/ReaderWorld.h"

namespace gaugely {
namespace {

// The window a user sees after each action, rebuilt from the models as the app does.
struct SettingsWorld : ReaderWorld {
    FakeLoginItemService loginItems;
    std::unique_ptr<LaunchAtLoginController> launchAtLogin;
    std::vector<std::string> appCalls;
    IcuTimeFormatter formatter{std::string("C")};
    std::string homeFolder = "/Users/ann";

    SettingsViewModel window() {
        return SettingsViewModel::make(
            settingsInput(*reader, *launchAtLogin, false, {}, formatter, homeFolder));
    }
    void perform(const SettingsAction& action) {
        const auto record = [this](const char* name) {
            return [this, name] { appCalls.emplace_back(name); };
        };
        SettingsTargets targets{
            *reader,           *launchAtLogin,   record("notification settings"),
            record("privacy"), record("check"),  record("notes"),
            record("later"),   record("update"), record("choose folder")};
        performSettingsAction(action, targets);
    }
};

// Every choice of every pop-up, picked in the window, is what the rebuilt window then shows
// selected: a pop-up's index always means what the window listed.
TEST(SettingsActions, EveryChoiceRoundTripsThroughTheModels) {
    for (const CodexPlan plan : allCases<CodexPlan>()) {
        SettingsWorld world;
        world.makeReader(plan, true);
        world.launchAtLogin = std::make_unique<LaunchAtLoginController>(world.loginItems);
        const SettingsViewModel first = world.window();
        for (std::size_t s = 0; s < first.sections.size(); ++s) {
            for (std::size_t r = 0; r < first.sections[s].rows.size(); ++r) {
                const SettingsRow& row = first.sections[s].rows[r];
                if (row.kind != SettingsRowKind::choice ||
                    row.control == SettingsControl::codexPlan) {
                    continue;
                }
                for (std::size_t choice = row.choices.size(); choice-- > 0;) {
                    world.perform({row.control, row.window, choice, false});
                    const SettingsViewModel shown = world.window();
                    EXPECT_EQ(shown.sections[s].rows[r].selected, choice)
                        << rawValue(plan) << " " << row.accessibilityLabel << " " << choice;
                }
                // An index the window never offered changes nothing.
                world.perform({row.control, row.window, row.choices.size(), false});
                EXPECT_EQ(world.window().sections[s].rows[r].selected, 0u) << row.label;
            }
        }
    }
}

TEST(SettingsActions, SwitchesAndButtonsReachTheirOwners) {
    SettingsWorld world;
    UsageReader& reader = world.makeReader(CodexPlan::plus, true);
    world.launchAtLogin = std::make_unique<LaunchAtLoginController>(world.loginItems);

    world.perform({SettingsControl::codexPlan, std::nullopt, 2, false});
    EXPECT_EQ(reader.codexPlan(), CodexPlan::pro);
    world.perform({SettingsControl::automaticRefresh, std::nullopt, std::nullopt, false});
    EXPECT_FALSE(reader.automaticRefreshEnabled());
    world.perform({SettingsControl::alertsEnabled, QuotaWindow::weekly, std::nullopt, false});
    EXPECT_FALSE(reader.lowUsageAlertSettings().weekly.isEnabled);
    EXPECT_TRUE(reader.lowUsageAlertSettings().fiveHour.isEnabled);
    world.perform({SettingsControl::resetNotifications, std::nullopt, std::nullopt, false});
    EXPECT_FALSE(reader.resetNotificationSettings().isEnabled);
    world.perform({SettingsControl::launchAtLogin, std::nullopt, std::nullopt, true});
    EXPECT_TRUE(world.launchAtLogin->isEnabled());
    world.perform({SettingsControl::openLoginItemsSettings, std::nullopt, std::nullopt, false});
    EXPECT_EQ(world.loginItems.settingsOpened, 1);
    for (const SettingsControl control :
         {SettingsControl::openNotificationSettings, SettingsControl::privacyDetails,
          SettingsControl::checkForUpdates, SettingsControl::toggleReleaseNotes,
          SettingsControl::later, SettingsControl::updateAndRestart,
          SettingsControl::codexLogsFolder}) {
        world.perform({control, std::nullopt, std::nullopt, false});
    }
    EXPECT_EQ(world.appCalls,
              (std::vector<std::string>{"notification settings", "privacy", "check", "notes",
                                        "later", "update", "choose folder"}));
    world.perform({SettingsControl::readCodexLogs, std::nullopt, std::nullopt, true});
    EXPECT_TRUE(reader.codexLogsEnabled());
    world.perform({SettingsControl::readCodexLogs, std::nullopt, std::nullopt, false});
    EXPECT_FALSE(reader.codexLogsEnabled());
}

}  // namespace
}  // namespace gaugely
