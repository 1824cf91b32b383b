#include <gtest/gtest.h>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"
#include "Meterlane/Simulation/FakeFileSystem.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeUpdateFramework.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/MemoryDocumentStore.h"
#include "Meterlane/Simulation/ScriptedAlertPresenter.h"
#include "Meterlane/Startup/AppAssembly.h"
#include "Meterlane/Startup/SingleInstance.h"
#include "reader/ReaderWorld.h"
#include "updates/UpdaterWorld.h"

namespace gaugely {
namespace {

// Writes the hour of its zone alone, which the test moves, telling the app as the system does.
struct MovableTimeFormatter final : TimeFormatter {
    int utcOffsetHours = 0;
    mutable std::function<void()> conventionsChanged;

    std::string timeOfDay(Date, bool) const override { return std::to_string(utcOffsetHours); }
    std::optional<std::string> format(Date, std::string_view, std::string_view,
                                      std::string_view) const override {
        return std::nullopt;
    }
    bool knowsTimeZone(std::string_view) const override { return true; }
    std::unique_ptr<Subscription> observeConventionChanges(
        std::function<void()> handler) const override {
        conventionsChanged = std::move(handler);
        return std::make_unique<Subscription>();
    }
};

// A click on a control that takes no choice: a button, or a switch turned to `isOn`.
SettingsAction click(SettingsControl control, bool isOn = false) {
    return {control, std::nullopt, std::nullopt, isOn};
}

// The app as its entry point builds it, over fakes, with a simulated Codex.
struct AppWorld : ReaderWorld {
    MemoryBundleInformation bundle = MemoryBundleInformation::production(
        "updates.example.com", "1.0.3", "3", "/Applications/Gaugely.app");
    FakeUpdateFramework framework{time};
    IcuTimeFormatter formatter{std::string("C")};
    const TimeFormatter* timeFormatter = &formatter;
    FakeLoginItemService loginItems;
    ScriptedAlertPresenter alerts;
    std::vector<std::string> windowsShown;
    // Every time the settings window drew, what it drew.
    std::vector<SettingsViewModel> settingsDrawn;
    std::function<void()> onSettingsDrawn;
    // Codex's logs, read when a test gives them.
    FakeFileSystem* codexFiles = nullptr;
    MemoryDocumentStore history;
    std::function<void(UsageReader&)> hostSettings;
    std::vector<RefreshGateAnswer> gateAnswers;
    std::unique_ptr<AppAssembly> app;

    AppAssembly& start() {
        AppPorts ports{environment(),
                       bundle,
                       framework,
                       *timeFormatter,
                       loginItems,
                       alerts,
                       [](std::string_view) { return std::make_unique<MemoryPreferences>(); },
                       "updates.example.com",
                       "/Users/ann",
                       codexFiles,
                       codexFiles ? &history : nullptr};
        ports.hostSettings = hostSettings;
        ports.refreshGateObserver = [this](RefreshGateAnswer answer) {
            gateAnswers.push_back(answer);
        };
        SettingsWindowSurface settingsWindow{
            [this](const SettingsViewModel& model) {
                settingsDrawn.push_back(model);
                if (onSettingsDrawn) {
                    onSettingsDrawn();
                }
            },
            [this] { windowsShown.push_back("settings forward"); },
            [this](const std::string& section) { windowsShown.push_back("settings " + section); }};
        AppWindows windows{
            settingsWindow, [this] { windowsShown.push_back("about"); },
            [this] { windowsShown.push_back("privacy"); },
            [this] { windowsShown.push_back("quit"); },
            [this](std::string folder) { windowsShown.push_back("choose folder " + folder); }};
        app = std::make_unique<AppAssembly>(std::move(ports), std::move(windows));
        return *app;
    }
};

TEST(AppAssembly, TheLabelWearsTheGaugeOnlyUnderTheProductionIdentity) {
    const struct {
        std::optional<std::string> identifier;
        bool imageInBundle;
        bool gauge;
    } rows[] = {
        {"com.vostrel.gaugely", true, true},
        {"com.vostrel.gaugely", false, false},
        {"com.vostrel.gaugely.dev", true, false},
        {std::nullopt, true, false},
    };
    for (const auto& row : rows) {
        AppWorld world;
        world.bundle = MemoryBundleInformation(row.identifier, "/Applications/Gaugely.app");
        AppAssembly& app = world.start();
        EXPECT_EQ(app.menuBarLabel(row.imageInBundle).showsTemplateImage, row.gauge)
            << row.identifier.value_or("none");
        EXPECT_EQ(app.menuBarLabel(row.imageInBundle).summary, "Set plan");
    }
}

TEST(AppAssembly, ActionsReachTheirModelsAndWindows) {
    AppWorld world;
    AppAssembly& app = world.start();
    // Notifications show while the app is in front: unless told, the system shows nothing while
    // the popover, Settings or an alert is open.
    EXPECT_EQ(world.notifications.presentationWhileActive(),
              notificationPresentationOptions({NotificationPresentationOption::banner,
                                               NotificationPresentationOption::list,
                                               NotificationPresentationOption::sound}));
    app.reader().setCodexPlan(CodexPlan::plus);
    const int probes = world.framework.probeCount();
    app.performSettingsAction(click(SettingsControl::checkForUpdates));
    world.time.advance(5);
    EXPECT_EQ(world.framework.probeCount(), probes + 1);
    app.performSettingsAction(click(SettingsControl::privacyDetails));
    // "View Update" reveals the details before the window first lays them out and scrolls.
    world.onSettingsDrawn = [&] {
        if (world.settingsDrawn.size() == 1) {
            world.windowsShown.push_back(app.updater().notesExpanded() ? "draw revealed" : "draw");
        }
    };
    app.viewUpdate();
    app.showAbout();
    app.quit();
    // The chooser opens at the folder read now, expanded; its answer is kept in the "~" form,
    // and a cancelled chooser leaves the choice alone.
    app.performSettingsAction(click(SettingsControl::codexLogsFolder));
    app.codexFolderChosen("/Users/ann/Work/codex");
    app.codexFolderChosen("");
    app.performSettingsAction(click(SettingsControl::codexLogsFolder));
    EXPECT_EQ(
        world.windowsShown,
        (std::vector<std::string>{
            "privacy", "draw revealed", "settings forward", "settings Updates", "about", "quit",
            "choose folder /Users/ann/.codex", "choose folder /Users/ann/Work/codex"}));
    EXPECT_EQ(app.reader().codexLogsFolder(), "~/Work/codex");

    // The refresh item is disabled for exactly as long as a run drives Codex.
    EXPECT_TRUE(app.refreshControl().isEnabled);
    app.refreshNow();
    EXPECT_FALSE(app.refreshControl().isEnabled);
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    EXPECT_TRUE(app.refreshControl().isEnabled);
    EXPECT_EQ(app.menuBarLabel(true).summary, "5h 72% \u00B7 W 40%");
}

// The host's settings hold from the first look at the logs: the folder the defaults name is
// never read when the host names another.
TEST(AppAssembly, TheHostsSettingsComeBeforeTheFirstLookAtTheLogs) {
    AppWorld world;
    FakeFileSystem files;
    files.addFolder("/Users/ann/.codex/sessions");
    files.addFolder("/data/codex/sessions");
    world.codexFiles = &files;
    world.preferences.setBool(defaultsKey::readCodexLogsEnabled, true);
    world.hostSettings = [](UsageReader& reader) { reader.setCodexLogsFolder("/data/codex"); };
    AppAssembly& app = world.start();
    world.time.advance(1);

    EXPECT_EQ(app.reader().codexLogsFolder(), "/data/codex");
    bool readTheHosts = false;
    for (const std::string& path : files.accessedPaths()) {
        EXPECT_FALSE(path.starts_with("/Users/ann/.codex")) << path;
        readTheHosts = readTheHosts || path.starts_with("/data/codex");
    }
    EXPECT_TRUE(readTheHosts);
}

// The updater asks the reader's gate; the host hears each answer after it is given.
TEST(AppAssembly, TheHostHearsEachAnswerOfTheRefreshGate) {
    AppWorld world;
    world.framework.feed = {feedItem("1.0.4", "4")};
    world.framework.installOutcome = FakeUpdateFramework::InstallOutcome::fails;
    AppAssembly& app = world.start();
    app.reader().setCodexPlan(CodexPlan::plus);
    app.performSettingsAction(click(SettingsControl::checkForUpdates));
    world.time.advance(5);
    ASSERT_TRUE(app.updater().availableVersion());
    const SettingsAction updateAndRestart = click(SettingsControl::updateAndRestart);

    app.refreshNow();
    app.performSettingsAction(updateAndRestart);
    EXPECT_EQ(world.gateAnswers, std::vector{RefreshGateAnswer::refused});

    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    app.performSettingsAction(updateAndRestart);
    EXPECT_TRUE(app.reader().updateRefreshGate()) << "closed while it installs";
    world.time.advance(10);
    EXPECT_EQ(world.gateAnswers, (std::vector{RefreshGateAnswer::refused, RefreshGateAnswer::closed,
                                              RefreshGateAnswer::opened}));
    EXPECT_FALSE(app.reader().updateRefreshGate());
}

TEST(AppAssembly, TheOnboardingWaitsForTheRefreshItemAsksOnceAndLeavesTheMainQueueServed) {
    AppWorld world;
    world.codex.trusted = false;
    world.alerts.answers = {{0, 1}, {1, std::nullopt}};
    std::vector<int> probesWhileAsking;
    world.alerts.whileShown = [&] {
        // The user takes ten seconds over each question; the day's first update check falls
        // due three seconds after launch, under the first of them.
        world.time.runModalSession(10);
        probesWhileAsking.push_back(world.framework.probeCount());
    };
    AppAssembly& app = world.start();
    world.time.advance(1);
    EXPECT_TRUE(world.alerts.shown.empty()) << "nothing is asked before the menu bar item exists";

    app.refreshItemReady();
    app.refreshItemReady();
    world.time.advance(0);
    ASSERT_EQ(world.alerts.shown.size(), 2u);
    EXPECT_EQ(world.alerts.shown[0].message, "Choose Your Codex Plan");
    EXPECT_EQ(world.alerts.shown[1].message, "Accessibility Permission Required");
    EXPECT_EQ(probesWhileAsking[0], 1) << "the update timer waited for the alert to close";
    EXPECT_EQ(app.reader().codexPlan(), CodexPlan::plus);
    EXPECT_TRUE(app.reader().hasExplicitPlanSelection());
}

TEST(AppAssembly, ThePopoverSaysWhenInputMonitoringIsMissingAndAsksWhereItSaysSo) {
    AppWorld world;
    world.input.listenEventAccess = false;
    AppAssembly& app = world.start();
    app.reader().setCodexPlan(CodexPlan::plus);
    // The popover says so on its first appearance, before any run has needed the keyboard.
    app.popoverWillShow();
    ASSERT_TRUE(app.popover().inputMonitoringNotice);
    EXPECT_EQ(world.input.listenEventAccessRequests(), 0u) << "no prompt before the user asks";

    world.input.requestGrantsListenEventAccess = true;
    app.openInputMonitoringSettings();
    EXPECT_EQ(world.input.listenEventAccessRequests(), 1u);
    EXPECT_EQ(world.workspace.openedURLs().back(),
              "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent");
    EXPECT_FALSE(app.popover().inputMonitoringNotice);

    // A manual run goes on unguarded, but the next automatic one would wait in silence.
    world.input.tapCreationFails = true;
    app.refreshNow();
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    ASSERT_TRUE(app.popover().inputMonitoringNotice);
    world.input.tapCreationFails = false;
    app.refreshNow();
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    EXPECT_FALSE(app.popover().inputMonitoringNotice);
}

const SettingsRow* settingsRow(const SettingsViewModel& model, SettingsControl control) {
    for (const SettingsSection& section : model.sections) {
        for (const SettingsRow& row : section.rows) {
            if (row.control == control) {
                return &row;
            }
        }
    }
    return nullptr;
}

TEST(AppAssembly, TheSettingsWindowDrawsTheModelsAgainAfterEveryAction) {
    const struct {
        const char* name;
        SettingsAction action;
        SettingsControl watched;
        bool shownOn;
    } rows[] = {
        // The service waits for the user's approval and publishes nothing new: the switch the
        // user flipped on springs back.
        {"refused", click(SettingsControl::launchAtLogin, true), SettingsControl::launchAtLogin,
         false},
        {"taken", click(SettingsControl::automaticRefresh), SettingsControl::automaticRefresh,
         false},
        {"a button", click(SettingsControl::privacyDetails), SettingsControl::launchAtLogin, false},
    };
    for (const auto& row : rows) {
        AppWorld world;
        world.loginItems.currentStatus = LoginItemService::Status::requiresApproval;
        world.loginItems.changesSucceed = false;
        AppAssembly& app = world.start();
        app.reader().setCodexPlan(CodexPlan::plus);
        app.reader().setAutomaticRefreshEnabled(true);
        app.showSettings();
        const std::size_t drawnBefore = world.settingsDrawn.size();
        app.performSettingsAction(row.action);
        world.time.advance(0);
        ASSERT_GT(world.settingsDrawn.size(), drawnBefore) << row.name;
        const SettingsRow* shown = settingsRow(world.settingsDrawn.back(), row.watched);
        ASSERT_NE(shown, nullptr) << row.name;
        EXPECT_EQ(shown->isOn, row.shownOn) << row.name;
    }

    // A closed window draws nothing.
    AppWorld world;
    AppAssembly& app = world.start();
    app.showSettings();
    app.settingsWindowClosed();
    const std::size_t drawn = world.settingsDrawn.size();
    app.performSettingsAction(click(SettingsControl::privacyDetails));
    app.reader().setAutomaticRefreshEnabled(false);
    world.time.advance(0);
    EXPECT_EQ(world.settingsDrawn.size(), drawn);
}

TEST(AppAssembly, TimesAreWrittenAgainWhenTheTimeZoneChanges) {
    AppWorld world;
    MovableTimeFormatter zone;
    world.timeFormatter = &zone;
    AppAssembly& app = world.start();
    app.reader().setCodexPlan(CodexPlan::plus);
    app.refreshNow();
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    int renders = 0;
    app.addObserver([&] { ++renders; });
    const auto before = app.popover().lastUpdatedText;

    zone.utcOffsetHours = -7;
    zone.conventionsChanged();
    EXPECT_EQ(renders, 1) << "the views were not told";
    ASSERT_TRUE(before);
    EXPECT_NE(app.popover().lastUpdatedText, before);
}

// The newest copy defers to the oldest; the oldest, alone of its kind, stays.
TEST(SingleInstance, TheNewCopyHandsOverTheWayTheMacOSVersionHonours) {
    const std::string id = "com.vostrel.gaugely";
    for (const int macOS : {13, 14}) {
        VirtualTime time;
        FakeWorkspace workspace{time};
        workspace.macOSMajorVersion = macOS;
        workspace.addApplication({id, 400, ActivationPolicy::accessory});
        workspace.addApplication({id, 500, ActivationPolicy::accessory});
        // Another app's older process is no copy to defer to.
        workspace.addApplication({"com.openai.codex", 300, ActivationPolicy::regular});
        EXPECT_TRUE(handOverToRunningInstance(workspace, id, 500));
        EXPECT_FALSE(handOverToRunningInstance(workspace, id, 400));
        ASSERT_EQ(workspace.activations().size(), 1u);
        EXPECT_EQ(workspace.activations()[0],
                  (FakeWorkspace::Activation{400, ApplicationActivationPolicy::style(macOS)}));
    }
}

}  // namespace
}  // namespace gaugely
