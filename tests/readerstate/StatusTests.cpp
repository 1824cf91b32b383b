#include <gtest/gtest.h>

#include <functional>

#include "StateWorld.h"

namespace gaugely {
namespace {

TEST(ReaderStatus, ShownDataTurnsStaleOneSecondAfterTheFrequencysThreshold) {
    const struct {
        const char* frequency;
        double staleAfter;
    } cases[] = {
        {"thirtySeconds", 120}, {"oneMinute", 210},   {"twoMinutes", 390},
        {"fiveMinutes", 930},   {"tenMinutes", 1830}, {"thirtyMinutes", 5430},
    };
    for (const auto& c : cases) {
        // The threshold is the same whether automatic refresh is on or off.
        for (const bool automatic : {false, true}) {
            StateWorld world;
            world.preferences.setString("codex-plan-v1", "plus");
            world.preferences.setString("automatic-refresh-frequency-v1", c.frequency);
            world.preferences.setBool("automatic-refresh-enabled-v1", automatic);
            world.storePlanRecords(
                {{plusReading(50, 60), world.time.now().addingTimeInterval(-c.staleAfter),
                  CodexPlan::plus}});
            // Codex away, so no automatic refresh replaces the reading.
            world.codex.quit();
            const UsageReader& reader = world.launch();
            EXPECT_FALSE(reader.currentSnapshotMayBeStale()) << c.frequency;
            world.time.setNow(world.time.now().addingTimeInterval(1));
            EXPECT_TRUE(reader.currentSnapshotMayBeStale()) << c.frequency;
            if (!automatic) {
                EXPECT_EQ(reader.userFacingStatusMessage(), "Data may be outdated") << c.frequency;
            }
        }
    }
}

// The status line after real runs and deferrals: each raw message becomes its short hint, in the
// order of the recovery table, and only while valid data is shown.
TEST(ReaderStatus, RawMessagesOfRunsAndDeferralsBecomeTheirHints) {
    const std::string failedWithData = "Couldn't refresh Codex usage — showing last valid data";
    const struct {
        const char* name;
        std::function<void(StateWorld&)> arrange;
        bool scheduled;  // a due automatic refresh at launch, else a manual refresh
        std::string raw;
        std::optional<std::string> shown;
        const char* rawWithoutData = nullptr;  // when it differs
    } cases[] = {
        {"Codex not running at a due tick", [](StateWorld& w) { w.codex.quit(); }, true,
         "Open Codex to refresh usage", "Open Codex to refresh usage"},
        {"Codex behind at a due tick",
         [](StateWorld& w) { w.workspace.setFrontmost(std::nullopt); }, true,
         "Refresh deferred — return to Codex when idle",
         "Refresh deferred — try again when Codex is idle"},
        {"user active at a due tick", [](StateWorld& w) { w.input.setLastInputSecondsAgo(2); },
         true, "Refresh deferred — try again when Codex is idle",
         "Refresh deferred — try again when Codex is idle"},
        {"Codex quit before a manual refresh", [](StateWorld& w) { w.codex.quit(); }, false,
         "Open Codex and try again.", "Open Codex to refresh usage"},
        // "profile menu" is tested before the generic deferral texts.
        {"the user's menu is open but collapsed",
         [](StateWorld& w) { w.codex.openMenuAsUser(false); }, false,
         "Refresh deferred — close Codex profile menu and try again.",
         "Close the Codex profile menu and try Refresh again"},
        // "menu state could not be confirmed" is tested before the generic "could not".
        {"Escape leaves the menu open",
         [](StateWorld& w) { w.codex.behaviour.escapeCloseDelay.reset(); }, false,
         "Usage refreshed — Codex menu state could not be confirmed.",
         "Usage refreshed — Codex menu state could not be confirmed"},
        // "profile menu" decides before "did not appear" is reached.
        {"the menu never opens", [](StateWorld& w) { w.codex.behaviour.menuOpenDelay.reset(); },
         false, "Profile menu did not appear after synthetic click.",
         "Close the Codex profile menu and try Refresh again"},
        {"Return does not expand the usage rows",
         [](StateWorld& w) { w.codex.behaviour.expansionDelay.reset(); }, false,
         "Usage remaining did not expand after Return.", failedWithData},
        {"the usage rows cannot be read",
         [](StateWorld& w) {
             w.codex.setUsageRows(std::vector<std::string>{"5h", "soon", "Weekly", "later"});
         },
         false, "Refresh failed — previous data kept", failedWithData,
         "Refresh failed — usage could not be read."},
    };
    for (const auto& c : cases) {
        for (const bool withData : {true, false}) {
            StateWorld world;
            world.preferences.setString("codex-plan-v1", "plus");
            if (withData) {
                world.storePlanRecords({{plusReading(50, 60), world.time.now(), CodexPlan::plus}});
            }
            if (c.scheduled) {
                world.preferences.setDate("next-automatic-refresh-date-v1", world.time.now());
            } else {
                world.preferences.setBool("automatic-refresh-enabled-v1", false);
            }
            c.arrange(world);
            const UsageReader& reader = world.launch();
            if (!c.scheduled) {
                world.refreshNow();
            }
            EXPECT_EQ(reader.statusMessage(),
                      !withData && c.rawWithoutData ? c.rawWithoutData : c.raw)
                << c.name;
            // A run that committed has data to show whatever was there before.
            const bool hasData = withData || reader.lastRefreshOutcome()->isCommitted();
            EXPECT_EQ(reader.userFacingStatusMessage(), hasData ? c.shown : std::nullopt)
                << c.name << (withData ? "" : ", without data");
            if (!hasData && c.shown == failedWithData) {
                EXPECT_EQ(reader.recoveryMessage(reader.statusMessage()),
                          "Couldn't read Codex usage — open Codex and try Refresh")
                    << c.name;
            }
        }
    }
}

TEST(ReaderStatus, MissingPermissionOutranksARunningRefreshWhichOutranksAHint) {
    StateWorld world;
    world.preferences.setString("codex-plan-v1", "plus");
    world.preferences.setBool("automatic-refresh-enabled-v1", false);
    world.storePlanRecords({{plusReading(50, 60), world.time.now(), CodexPlan::plus}});
    world.codex.behaviour.expansionDelay.reset();
    UsageReader& reader = world.launch();
    world.refreshNow();
    ASSERT_EQ(reader.userFacingStatusMessage(),
              "Couldn't refresh Codex usage — showing last valid data");

    world.codex.behaviour.expansionDelay = 0.08;
    reader.beginReadCountdown(false);
    EXPECT_EQ(reader.userFacingStatusMessage(), "Refreshing Codex usage...");
    world.codex.trusted = false;
    world.workspace.postDidBecomeActive();
    EXPECT_EQ(reader.userFacingStatusMessage(), "Accessibility permission required");
}

TEST(ReaderStatus, MenuBarSummaryForEveryPlanAndFormat) {
    const struct {
        CodexPlan plan;
        MenuBarDisplay display;
        const char* withData;
        const char* withoutData;
    } cases[] = {
        {CodexPlan::freeGo, MenuBarDisplay::standard, "M 63%", "M —"},
        {CodexPlan::freeGo, MenuBarDisplay::compact, "63%", "—"},
        {CodexPlan::freeGo, MenuBarDisplay::minimal, "63", "—"},
        // Formats a plan does not offer fall back to standard.
        {CodexPlan::freeGo, MenuBarDisplay::fiveHourOnly, "M 63%", "M —"},
        {CodexPlan::freeGo, MenuBarDisplay::weeklyOnly, "M 63%", "M —"},
        {CodexPlan::plus, MenuBarDisplay::standard, "5h 42% · W 80%", "5h — · W —"},
        {CodexPlan::plus, MenuBarDisplay::compact, "42%·80%", "—·—"},
        {CodexPlan::plus, MenuBarDisplay::minimal, "42·80", "—·—"},
        {CodexPlan::plus, MenuBarDisplay::fiveHourOnly, "5h 42%", "5h —"},
        {CodexPlan::plus, MenuBarDisplay::weeklyOnly, "W 80%", "W —"},
        {CodexPlan::pro, MenuBarDisplay::standard, "W 80%", "W —"},
        {CodexPlan::pro, MenuBarDisplay::compact, "80%", "—"},
        {CodexPlan::pro, MenuBarDisplay::minimal, "80", "—"},
        {CodexPlan::pro, MenuBarDisplay::fiveHourOnly, "W 80%", "W —"},
        {CodexPlan::pro, MenuBarDisplay::weeklyOnly, "W 80%", "W —"},
    };
    for (const auto& c : cases) {
        for (const bool withData : {true, false}) {
            StateWorld world;
            world.preferences.setString("codex-plan-v1", rawValue(c.plan));
            world.preferences.setString("menu-bar-display-v1", rawValue(c.display));
            if (withData) {
                world.storePlanRecords({{freeGoReading(63), Date{1000}, CodexPlan::freeGo},
                                        {plusReading(42, 80), Date{1000}, CodexPlan::plus},
                                        {proReading(80), Date{1000}, CodexPlan::pro}});
            }
            EXPECT_EQ(world.launch().menuBarUsageSummary(), withData ? c.withData : c.withoutData)
                << rawValue(c.plan) << " " << rawValue(c.display);
        }
    }

    // Before a plan is chosen, whatever the format.
    for (const MenuBarDisplay display : allCases<MenuBarDisplay>()) {
        StateWorld world;
        world.preferences.setString("menu-bar-display-v1", rawValue(display));
        EXPECT_EQ(world.launch().menuBarUsageSummary(), "Set plan") << rawValue(display);
    }
}

TEST(ReaderStatus, AFormatThePlanDoesNotOfferIsKeptForThePlansThatDo) {
    StateWorld world;
    world.preferences.setString("codex-plan-v1", "plus");
    world.storePlanRecords({{freeGoReading(63), Date{1000}, CodexPlan::freeGo},
                            {plusReading(42, 80), Date{1000}, CodexPlan::plus}});
    UsageReader& reader = world.launch();
    reader.setMenuBarDisplay(MenuBarDisplay::fiveHourOnly);
    EXPECT_EQ(reader.menuBarUsageSummary(), "5h 42%");

    reader.setCodexPlan(CodexPlan::freeGo);
    EXPECT_EQ(reader.menuBarUsageSummary(), "M 63%");
    EXPECT_EQ(reader.effectiveMenuBarDisplay(), MenuBarDisplay::standard);
    // Not offered here: ignored, the earlier choice stays.
    reader.setMenuBarDisplay(MenuBarDisplay::weeklyOnly);
    EXPECT_EQ(reader.menuBarDisplay(), MenuBarDisplay::fiveHourOnly);
    EXPECT_EQ(world.preferences.stringValue("menu-bar-display-v1"), "fiveHourOnly");

    reader.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(reader.menuBarUsageSummary(), "5h 42%");
}

}  // namespace
}  // namespace gaugely
