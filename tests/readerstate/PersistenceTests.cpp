#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "Meterlane/Presentation/StatusPresentation.h"
#include "Meterlane/Reader/StoredReaderState.h"
#include "StateWorld.h"

namespace gaugely {
namespace {

TEST(ReaderPersistence, ASecondLaunchRestoresEverySettingEachPlansReadingAndTheDeadline) {
    StateWorld world(CodexPlan::plus);
    UsageReader& first = world.launch();
    first.setCodexPlan(CodexPlan::plus);
    world.refreshNow();
    const UsageSnapshot plusSnapshot = first.snapshot();
    const auto plusUpdated = first.lastUpdated();

    world.codex.setPlan(CodexPlan::freeGo);
    first.setCodexPlan(CodexPlan::freeGo);
    world.refreshNow();
    first.setRefreshFrequency(RefreshFrequency::tenMinutes);
    first.setMenuBarDisplay(MenuBarDisplay::minimal);
    first.setLowUsageAlertThreshold(LowUsageAlertThreshold::thirty, QuotaWindow::monthly);
    first.setLowUsageAlertRepeat(LowUsageAlertRepeat::oneHour, QuotaWindow::monthly);
    first.setLowUsageAlertsEnabled(false, QuotaWindow::fiveHour);
    first.setResetNotificationsEnabled(false);
    ASSERT_EQ(first.snapshot(), freeGoReading(85));
    ASSERT_FALSE(first.automaticRefreshIsPending());

    // Every restored setting and published value.
    const auto seen = [](const UsageReader& r) {
        return std::tuple(r.codexPlan(), r.hasExplicitPlanSelection(),
                          r.firstRunPlanSelectionIsEligible(), r.automaticRefreshEnabled(),
                          r.refreshFrequency(), r.menuBarDisplay(), r.lowUsageAlertSettings(),
                          r.resetNotificationSettings(), r.snapshot(), r.activeSnapshotPlan(),
                          r.lastUpdated(), r.nextAutomaticRefreshDate(),
                          r.automaticRefreshIsPending());
    };
    const auto before = seen(first);

    // Five minutes later the deadline is still the one set before the quit, to the second.
    UsageReader& second = world.relaunch(300);
    EXPECT_TRUE(seen(second) == before);

    second.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(second.snapshot(), plusSnapshot);
    EXPECT_EQ(second.lastUpdated(), plusUpdated);
    EXPECT_FALSE(world.preferences.hasObject("last-complete-usage-snapshot-v1"));
}

// The restored choices in one line: frequency, format, plan, and whether the plan was chosen.
std::string restoredChoices(const UsageReader& r) {
    return std::string(rawValue(r.refreshFrequency())) + " " +
           std::string(rawValue(r.menuBarDisplay())) + " " + std::string(rawValue(r.codexPlan())) +
           (r.hasExplicitPlanSelection() ? " chosen" : "") +
           (r.firstRunPlanSelectionIsEligible() ? " chooser" : "");
}

// Valid texts are the second launch's to restore; here, what is made of the others.
TEST(ReaderPersistence, StoredSettingTextsAreTakenOnlyWhenValid) {
    const struct {
        const char* key;
        const char* stored;
        const char* restored;
        const char* storedAfterLaunch;
    } cases[] = {
        // Earlier versions offered 20 minutes; it becomes 30 and is written back once.
        {"automatic-refresh-frequency-v1", "twentyMinutes", "thirtyMinutes standard plus chooser",
         "thirtyMinutes"},
        {"automatic-refresh-frequency-v1", "fortyMinutes", "oneMinute standard plus chooser",
         "fortyMinutes"},
        {"menu-bar-display-v1", "Weekly Only", "oneMinute standard plus chooser", "Weekly Only"},
        {"codex-plan-v1", "team", "oneMinute standard plus chooser", "team"},
    };
    for (const auto& c : cases) {
        StateWorld world;
        world.preferences.setString(c.key, c.stored);
        EXPECT_EQ(restoredChoices(world.launch()), c.restored) << c.key << " " << c.stored;
        EXPECT_EQ(world.preferences.stringValue(c.key), c.storedAfterLaunch)
            << c.key << " " << c.stored;
    }

    // The switch is applied only when a Bool is stored under its key.
    StateWorld world;
    world.preferences.setString("automatic-refresh-enabled-v1", "NO");
    EXPECT_TRUE(world.launch().automaticRefreshEnabled());
    world.preferences.setBool("automatic-refresh-enabled-v1", false);
    EXPECT_FALSE(world.relaunch().automaticRefreshEnabled());
}

PersistedUsageSnapshot legacyRecord(UsageSnapshot snapshot, CodexPlan plan) {
    return {std::move(snapshot), Date{1000}, plan};
}

TEST(ReaderPersistence, LegacyRecordAndPlanMigration) {
    UsageSnapshot incomplete = plusReading(50, 60);
    incomplete.weeklyReset = notFoundText;
    const struct {
        const char* name;
        PersistedUsageSnapshot legacy;
        void (*alsoStored)(StateWorld&);
        std::optional<CodexPlan> chosen;  // none: the chooser is shown
        bool flagWritten;
        std::optional<UsageSnapshot> planRecord;  // under the legacy record's plan afterwards
    } cases[] = {
        {"plus, complete: chosen and copied", legacyRecord(plusReading(50, 60), CodexPlan::plus),
         [](StateWorld&) {}, CodexPlan::plus, true, plusReading(50, 60)},
        // Only the two older plans are carried over: a pro reading was never a choice.
        {"pro, complete: copied but never chosen", legacyRecord(proReading(30), CodexPlan::pro),
         [](StateWorld&) {}, std::nullopt, true, proReading(30)},
        {"plus, incomplete: ignored", legacyRecord(incomplete, CodexPlan::plus), [](StateWorld&) {},
         std::nullopt, true, std::nullopt},
        {"a newer record of the same plan wins", legacyRecord(plusReading(50, 60), CodexPlan::plus),
         [](StateWorld& w) {
             w.storePlanRecords({{plusReading(10, 20), Date{2000}, CodexPlan::plus}});
         },
         CodexPlan::plus, true, plusReading(10, 20)},
        {"a plan already chosen stays and the migration is not marked",
         legacyRecord(plusReading(50, 60), CodexPlan::plus),
         [](StateWorld& w) { w.preferences.setString("codex-plan-v1", "freeGo"); },
         CodexPlan::freeGo, false, plusReading(50, 60)},
        {"the migration ran before: nothing is chosen again",
         legacyRecord(plusReading(50, 60), CodexPlan::plus),
         [](StateWorld& w) { w.preferences.setBool("explicit-plan-selection-migration-v1", true); },
         std::nullopt, true, plusReading(50, 60)},
    };
    for (const auto& c : cases) {
        StateWorld world;
        const std::string legacyBytes = encodeJson(c.legacy);
        world.preferences.setData("last-complete-usage-snapshot-v1", legacyBytes);
        c.alsoStored(world);
        const UsageReader& reader = world.launch();
        EXPECT_EQ(reader.hasExplicitPlanSelection(), c.chosen.has_value()) << c.name;
        EXPECT_EQ(reader.firstRunPlanSelectionIsEligible(), !c.chosen) << c.name;
        if (c.chosen) {
            EXPECT_EQ(reader.codexPlan(), *c.chosen) << c.name;
            EXPECT_EQ(world.preferences.stringValue("codex-plan-v1"), rawValue(*c.chosen))
                << c.name;
        }
        EXPECT_EQ(world.preferences.boolValue("explicit-plan-selection-migration-v1"),
                  c.flagWritten ? std::optional<bool>(true) : std::nullopt)
            << c.name;
        const auto record = world.storedPlanRecord(c.legacy.plan);
        EXPECT_EQ(record ? std::optional<UsageSnapshot>(record->snapshot) : std::nullopt,
                  c.planRecord)
            << c.name;
        // The chosen plan's reading is on display straight away.
        if (c.chosen == c.legacy.plan) {
            EXPECT_EQ(reader.currentDisplaySnapshot(), c.planRecord) << c.name;
        }
        EXPECT_EQ(world.preferences.dataValue("last-complete-usage-snapshot-v1"), legacyBytes)
            << c.name;
    }
}

// A record this version cannot read keeps the defaults, and the launch leaves its bytes alone.
TEST(ReaderPersistence, UnreadableRecordsKeepTheDefaultsAndAreNotOverwrittenByTheLaunch) {
    const std::string legacy =
        encodeJson(PersistedUsageSnapshot{plusReading(50, 60), Date{1000}, CodexPlan::plus});
    const struct {
        const char* key;
        const char* bytes;
        std::function<bool(const UsageReader&)> keptDefault;
        bool withLegacyRecord = false;
    } cases[] = {
        {"low-usage-alert-settings-v1", R"({"fiveHour": {"isEnabled": false)",
         [](const UsageReader& r) { return r.lowUsageAlertSettings() == LowUsageAlertSettings{}; }},
        {"reset-notification-settings-v1", "[false]",
         [](const UsageReader& r) { return r.resetNotificationSettings().isEnabled; }},
        {"plan-specific-usage-snapshots-v1", R"({"snapshots": "plus"})",
         [](const UsageReader& r) { return r.activeSnapshotPlan() == std::nullopt; }},
        // The legacy reading is shown, but the unreadable records are not replaced to store it.
        {"plan-specific-usage-snapshots-v1", "\x01\x02 not json",
         [](const UsageReader& r) { return r.currentDisplaySnapshot() == plusReading(50, 60); },
         true},
        // An unreadable record of the legacy record's own plan is newer, and wins.
        {"plan-specific-usage-snapshots-v1", R"({"snapshots": {"plus": {"snapshot": 7}}})",
         [](const UsageReader& r) { return r.activeSnapshotPlan() == std::nullopt; }, true},
        {"last-complete-usage-snapshot-v1", R"({"snapshot": {}, "plan": "plus"})",
         [](const UsageReader& r) { return r.activeSnapshotPlan() == std::nullopt; }},
        {"low-usage-notification-state-v1", R"({"stateByPlanAndWindow": {"plus.weekly": 1}})",
         [](const UsageReader& r) {
             return r.lowUsageNotificationState().stateByPlanAndWindow.empty();
         }},
        {"quota-reset-notification-state-v1", "null",
         [](const UsageReader& r) {
             return r.quotaResetNotificationState().stateByPlanAndWindow.empty();
         }},
        // Where the profile menu was: the next run that finds the menu learns it anew.
        {"profile-menu-location-v1", R"({"codexVersion": 3, "containers": []})",
         [](const UsageReader&) { return true; }},
    };
    for (const auto& c : cases) {
        StateWorld world;
        world.choosePlan(false);  // no reading comes to replace a record in the meantime
        world.preferences.setData(c.key, c.bytes);
        if (c.withLegacyRecord) {
            world.preferences.setData("last-complete-usage-snapshot-v1", legacy);
        }
        // What `gaugely state` shows as unreadable is what the reader keeps its default for: the
        // whole record, or one plan's entry of the readings.
        const StoredReaderState stored = StoredReaderState::read(world.preferences);
        const bool entryKept =
            stored.planSnapshots.value && !stored.planSnapshots.value->preservedEntries.empty();
        EXPECT_TRUE(stored.unreadableKeys() == std::vector<std::string_view>{c.key} || entryKept)
            << c.key;
        const UsageReader& reader = world.launch();
        world.time.advance(120);
        EXPECT_TRUE(c.keptDefault(reader)) << c.key;
        EXPECT_EQ(world.preferences.dataValue(c.key), c.bytes) << c.key;
    }

    // Data of the wrong type reads as absent.
    StateWorld world;
    world.choosePlan();
    world.preferences.setString("low-usage-alert-settings-v1", R"({"isEnabled": false})");
    EXPECT_EQ(world.launch().lowUsageAlertSettings(), LowUsageAlertSettings{});
    EXPECT_EQ(world.preferences.stringValue("low-usage-alert-settings-v1"),
              R"({"isEnabled": false})");
}

TEST(ReaderPersistence, OlderFlatAlertSettingsAreRewrittenInThePerWindowForm) {
    StateWorld world;
    world.preferences.setData("low-usage-alert-settings-v1",
                              R"({"isEnabled": true, "threshold": 30})");
    const UsageReader& reader = world.launch();
    const LowUsageAlertSettings expected = LowUsageAlertSettings::make(
        true, LowUsageAlertThreshold::thirty, LowUsageAlertRepeat::once);
    EXPECT_EQ(reader.lowUsageAlertSettings(), expected);
    EXPECT_EQ(world.preferences.dataValue("low-usage-alert-settings-v1"), encodeJson(expected));
}

TEST(ReaderPersistence, SwitchingPlansNeverShowsOnePlansNumbersUnderAnother) {
    StateWorld world(CodexPlan::plus);
    world.choosePlan(false);
    UsageReader& reader = world.launch();
    world.refreshNow();
    const auto plusUpdated = reader.lastUpdated();
    ASSERT_EQ(reader.menuBarUsageSummary(), "5h 72% · W 40%");

    world.time.advance(60);
    reader.setCodexPlan(CodexPlan::freeGo);  // never read
    EXPECT_EQ(reader.snapshot(), UsageSnapshot::empty());
    EXPECT_EQ(reader.currentDisplaySnapshot(), UsageSnapshot::empty());
    EXPECT_EQ(reader.activeSnapshotPlan(), std::nullopt);
    EXPECT_EQ(reader.lastUpdated(), std::nullopt);
    EXPECT_EQ(reader.usageSnapshotPresentationState(), UsageSnapshotPresentationState::noUsageData);
    EXPECT_EQ(userFacingStatusMessage(reader), std::nullopt);
    EXPECT_EQ(reader.menuBarUsageSummary(), "M —");

    world.codex.setPlan(CodexPlan::freeGo);
    world.refreshNow();
    EXPECT_EQ(reader.menuBarUsageSummary(), "M 85%");

    reader.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(reader.currentDisplaySnapshot(), plusReading(72, 40));
    EXPECT_EQ(reader.currentDisplayLastUpdated(), plusUpdated);
    reader.setCodexPlan(CodexPlan::pro);
    EXPECT_EQ(reader.menuBarUsageSummary(), "W —");
    reader.setCodexPlan(CodexPlan::freeGo);
    EXPECT_EQ(reader.menuBarUsageSummary(), "M 85%");
}

TEST(ReaderPersistence, ChoosingAPlanCancelsTheRunForgetsItsAlertStateAndReschedules) {
    StateWorld world(CodexPlan::plus);
    world.choosePlan();
    world.preferences.setData(
        "low-usage-notification-state-v1",
        R"({"stateByPlanAndWindow": {"plus.weekly": {"isLow": true}, "freeGo.monthly": {"isLow": true}}})");
    world.preferences.setData(
        "quota-reset-notification-state-v1",
        R"({"stateByPlanAndWindow": {"plus.weekly": {"lastObservedPercentage": 40}, "freeGo.monthly": {"lastObservedPercentage": 85}}})");
    UsageReader& reader = world.launch();
    reader.beginReadCountdown(true);
    world.time.advance(3);

    // The plan already chosen: nothing happens at all.
    const size_t writes = world.preferences.writeCount();
    reader.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(reader.countdown(), 7);
    EXPECT_EQ(world.preferences.writeCount(), writes);
    EXPECT_EQ(reader.lowUsageNotificationState().stateByPlanAndWindow.size(), 2u);

    reader.setCodexPlan(CodexPlan::freeGo);
    EXPECT_EQ(reader.countdown(), std::nullopt);
    EXPECT_FALSE(reader.automationInProgress());
    EXPECT_EQ(statusText(reader.status()), std::nullopt);
    EXPECT_EQ(reader.nextAutomaticRefreshDate(), world.time.now().addingTimeInterval(60));
    EXPECT_EQ(world.preferences.stringValue("codex-plan-v1"), "freeGo");
    // The new plan's alert states start over; the old plan's are kept for when it returns.
    EXPECT_EQ(reader.lowUsageNotificationState().stateByPlanAndWindow.count("freeGo.monthly"), 0u);
    EXPECT_EQ(reader.lowUsageNotificationState().stateByPlanAndWindow.count("plus.weekly"), 1u);
    EXPECT_EQ(reader.quotaResetNotificationState().stateByPlanAndWindow.count("freeGo.monthly"),
              0u);
    EXPECT_EQ(reader.quotaResetNotificationState().stateByPlanAndWindow.count("plus.weekly"), 1u);
    world.time.advance(30);
    EXPECT_TRUE(world.input.postedEvents().empty());
}

}  // namespace
}  // namespace gaugely
