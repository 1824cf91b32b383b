#include <gtest/gtest.h>

#include "Meterlane/Presentation/StatusPresentation.h"
#include "StateWorld.h"

namespace gaugely {
namespace {

// Every frequency's threshold is the policy's table; here, that the reader hands it the stored
// frequency and the shown reading's age, whether automatic refresh is on or off.
TEST(ReaderStatus, ShownDataTurnsStaleOneSecondAfterTheFrequencysThreshold) {
    const struct {
        const char* frequency;
        double staleAfter;
        bool automatic;
    } cases[] = {{"thirtySeconds", 120, true}, {"thirtyMinutes", 5430, false}};
    for (const auto& c : cases) {
        StateWorld world;
        world.choosePlan(c.automatic);
        world.preferences.setString("automatic-refresh-frequency-v1", c.frequency);
        world.storePlanRecords(
            {{plusReading(50, 60), world.time.now().addingTimeInterval(-c.staleAfter),
              CodexPlan::plus}});
        world.codex.quit();  // so no automatic refresh replaces the reading
        const UsageReader& reader = world.launch();
        EXPECT_FALSE(reader.currentSnapshotMayBeStale()) << c.frequency;
        world.time.setNow(world.time.now().addingTimeInterval(1));
        EXPECT_TRUE(reader.currentSnapshotMayBeStale()) << c.frequency;
        if (!c.automatic) {
            EXPECT_EQ(userFacingStatusMessage(reader), "Data may be outdated") << c.frequency;
        }
    }
}

// The status line after real runs: how each run ended becomes its short hint, and the hint for a
// failure says whether valid data is still shown.
TEST(ReaderStatus, RawMessagesOfRunsBecomeTheirHints) {
    const std::string failedWithData = "Couldn't refresh Codex usage — showing last valid data";
    const struct {
        void (*arrange)(StateWorld&);
        std::string raw;
        std::string shown;
        const char* rawWithoutData = nullptr;  // when it differs
    } cases[] = {
        {[](StateWorld& w) { w.codex.quit(); }, "Open Codex and try again.",
         "Open Codex to refresh usage"},
        {[](StateWorld& w) { w.codex.openMenuAsUser(false); },
         "Refresh deferred — close Codex profile menu and try again.",
         "Close the Codex profile menu and try Refresh again"},
        {[](StateWorld& w) { w.codex.behaviour.escapeCloseDelay.reset(); },
         "Usage refreshed — Codex menu state could not be confirmed.",
         "Usage refreshed — Codex menu state could not be confirmed"},
        {[](StateWorld& w) { w.codex.behaviour.menuOpenDelay.reset(); },
         "Profile menu did not appear after synthetic click.",
         "Close the Codex profile menu and try Refresh again"},
        {[](StateWorld& w) { w.codex.behaviour.expansionDelay.reset(); },
         "Usage remaining did not expand after Return.", failedWithData},
        {[](StateWorld& w) {
             w.codex.setUsageRows(std::vector<std::string>{"5h", "soon", "Weekly", "later"});
         },
         "Refresh failed — previous data kept", failedWithData,
         "Refresh failed — usage could not be read."},
    };
    for (const auto& c : cases) {
        for (const bool withData : {true, false}) {
            StateWorld world;
            world.choosePlan(false);
            if (withData) {
                world.storePlanRecords({{plusReading(50, 60), world.time.now(), CodexPlan::plus}});
            }
            c.arrange(world);
            const UsageReader& reader = world.launch();
            world.refreshNow();
            const std::string name = c.raw + (withData ? "" : ", without data");
            EXPECT_EQ(statusText(reader.status()),
                      !withData && c.rawWithoutData ? c.rawWithoutData : c.raw)
                << name;
            // A run that committed has data to show whatever was there before.
            const bool hasData = withData || reader.lastRefreshOutcome()->isCommitted();
            EXPECT_EQ(userFacingStatusMessage(reader),
                      hasData ? std::optional(c.shown) : std::nullopt)
                << name;
            if (!hasData && c.shown == failedWithData) {
                EXPECT_EQ(recoveryMessage(reader.status(), reader.hasValidValues()),
                          "Couldn't read Codex usage — open Codex and try Refresh")
                    << name;
            }
        }
    }
}

TEST(ReaderStatus, MissingPermissionOutranksARunningRefreshWhichOutranksAHint) {
    StateWorld world;
    world.choosePlan(false);
    world.storePlanRecords({{plusReading(50, 60), world.time.now(), CodexPlan::plus}});
    world.codex.behaviour.expansionDelay.reset();
    UsageReader& reader = world.launch();
    world.refreshNow();
    ASSERT_EQ(userFacingStatusMessage(reader),
              "Couldn't refresh Codex usage — showing last valid data");

    world.codex.behaviour.expansionDelay = 0.08;
    reader.beginReadCountdown(false);
    EXPECT_EQ(userFacingStatusMessage(reader), "Refreshing Codex usage...");
    world.codex.trusted = false;
    world.workspace.postDidBecomeActive();
    EXPECT_EQ(userFacingStatusMessage(reader), "Accessibility permission required");
}

TEST(ReaderStatus, AFormatThePlanDoesNotOfferIsKeptForThePlansThatDo) {
    StateWorld world;
    world.choosePlan();
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
