#include <gtest/gtest.h>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeUpdateFramework.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/ScriptedAlertPresenter.h"
#include "Meterlane/Startup/AppAssembly.h"
#include "Meterlane/Startup/SingleInstance.h"
#include "reader/ReaderWorld.h"

namespace gaugely {
namespace {

// The app as its entry point builds it, over fakes, with a simulated Codex.
struct AppWorld : ReaderWorld {
    MemoryBundleInformation bundle = MemoryBundleInformation::production(
        "updates.example.com", "1.0.3", "3", "/Applications/Gaugely.app");
    FakeUpdateFramework framework{time};
    IcuTimeFormatter formatter{std::string("C")};
    FakeLoginItemService loginItems;
    ScriptedAlertPresenter alerts;
    std::vector<std::string> windowsShown;
    std::unique_ptr<AppAssembly> app;

    AppAssembly& start() {
        AppPorts ports{environment(),
                       bundle,
                       framework,
                       formatter,
                       loginItems,
                       alerts,
                       [](std::string_view) { return std::make_unique<MemoryPreferences>(); },
                       "updates.example.com",
                       "/Users/ann"};
        AppWindows windows{
            [this](std::optional<std::string> section) {
                windowsShown.push_back("settings " + section.value_or("-"));
            },
            [this] { windowsShown.push_back("about"); },
            [this] { windowsShown.push_back("privacy"); },
            [this] { windowsShown.push_back("quit"); },
            [this](std::string folder) { windowsShown.push_back("choose folder " + folder); }};
        app = std::make_unique<AppAssembly>(std::move(ports), std::move(windows));
        return *app;
    }
};

TEST(AppAssembly, TheOnboardingWaitsForTheRefreshItemAndAsksOnce) {
    AppWorld world;
    world.codex.trusted = false;
    world.alerts.answers = {{0, 1}, {1, std::nullopt}};
    AppAssembly& app = world.start();
    world.time.advance(1);
    EXPECT_TRUE(world.alerts.shown.empty()) << "nothing is asked before the menu bar item exists";

    app.refreshItemReady();
    app.refreshItemReady();
    world.time.advance(1);
    ASSERT_EQ(world.alerts.shown.size(), 2u);
    EXPECT_EQ(world.alerts.shown[0].message, "Choose Your Codex Plan");
    EXPECT_EQ(world.alerts.shown[1].message, "Accessibility Permission Required");
    EXPECT_EQ(app.reader().codexPlan(), CodexPlan::plus);
    EXPECT_TRUE(app.reader().hasExplicitPlanSelection());
}

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
    app.reader().setCodexPlan(CodexPlan::plus);
    const int probes = world.framework.probeCount();
    app.performSettingsAction(
        {SettingsControl::checkForUpdates, std::nullopt, std::nullopt, false});
    world.time.advance(5);
    EXPECT_EQ(world.framework.probeCount(), probes + 1);
    app.performSettingsAction({SettingsControl::privacyDetails, std::nullopt, std::nullopt, false});
    app.viewUpdate();
    app.showAbout();
    app.quit();
    // The chooser opens at the folder read now, expanded; its answer is kept in the "~" form.
    app.performSettingsAction(
        {SettingsControl::codexLogsFolder, std::nullopt, std::nullopt, false});
    app.codexFolderChosen("/Users/ann/Work/codex");
    app.performSettingsAction(
        {SettingsControl::codexLogsFolder, std::nullopt, std::nullopt, false});
    EXPECT_EQ(world.windowsShown,
              (std::vector<std::string>{"privacy", "settings Updates", "about", "quit",
                                        "choose folder /Users/ann/.codex",
                                        "choose folder /Users/ann/Work/codex"}));
    EXPECT_EQ(app.reader().codexLogsFolder(), "~/Work/codex");

    // The refresh item is disabled for exactly as long as a run drives Codex.
    EXPECT_TRUE(app.refreshControl().isEnabled);
    app.refreshNow();
    EXPECT_FALSE(app.refreshControl().isEnabled);
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    EXPECT_TRUE(app.refreshControl().isEnabled);
    EXPECT_EQ(app.menuBarLabel(true).summary, "5h 72% \u00B7 W 40%");
}

TEST(AppAssembly, ThePopoverSaysWhenInputMonitoringIsMissing) {
    AppWorld world;
    world.input.tapCreationFails = true;
    AppAssembly& app = world.start();
    app.reader().setCodexPlan(CodexPlan::plus);
    EXPECT_FALSE(app.popover().inputMonitoringNotice);
    // A manual run goes on unguarded, but the next automatic one would wait in silence.
    app.refreshNow();
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    ASSERT_TRUE(app.popover().inputMonitoringNotice);
    world.input.tapCreationFails = false;
    app.refreshNow();
    world.time.runUntil([&] { return !app.reader().automationInProgress(); }, 60);
    EXPECT_FALSE(app.popover().inputMonitoringNotice);
}

TEST(SingleInstance, TheOldestCopyStays) {
    using Apps = std::vector<RunningApplication>;
    const std::string id = "com.vostrel.gaugely";
    const struct {
        Apps running;
        ProcessID self;
        std::optional<ProcessID> deferTo;
    } rows[] = {
        {{{id, 500, ActivationPolicy::accessory}}, 500, std::nullopt},
        {{{id, 400, ActivationPolicy::accessory}, {id, 500, ActivationPolicy::accessory}},
         500,
         400},
        {{{id, 400, ActivationPolicy::accessory}, {id, 500, ActivationPolicy::accessory}},
         400,
         std::nullopt},
        {{{"com.openai.codex", 300, ActivationPolicy::regular}}, 500, std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(runningInstanceToDeferTo(row.running, id, row.self), row.deferTo) << row.self;
    }
}

}  // namespace
}  // namespace gaugely
