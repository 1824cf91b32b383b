#include <gtest/gtest.h>

#include <functional>

#include "StateWorld.h"

namespace gaugely {
namespace {

CodexUsage usage(int fiveHour, int weekly) {
    return {.fiveHourPercentLeft = fiveHour,
            .weeklyPercentLeft = weekly,
            .proWeeklyPercentLeft = weekly};
}

std::vector<std::string> bodies(const FakeUserNotificationCenter& center) {
    std::vector<std::string> texts;
    for (const auto& request : center.requests()) {
        texts.push_back(request.title + ": " + request.body);
    }
    return texts;
}

TEST(ReaderNotifications, ProAlertsOnItsWeeklyValueButNeverRecordsResets) {
    StateWorld world(CodexPlan::pro);
    world.notifications.setAuthorizationStatus(NotificationAuthorizationStatus::authorized);
    world.choosePlan(false);
    UsageReader& reader = world.launch();
    for (const int weekly : {40, 9, 100}) {
        world.codex.setUsage(usage(0, weekly));
        world.refreshNow();
        ASSERT_EQ(reader.snapshot(), proReading(weekly));
    }
    reader.setResetNotificationsEnabled(false);
    reader.setResetNotificationsEnabled(true);
    EXPECT_EQ(bodies(world.notifications),
              std::vector<std::string>{"Codex Usage Low: General Weekly usage remaining: 9%"});
    EXPECT_TRUE(reader.quotaResetNotificationState().stateByPlanAndWindow.empty());
    EXPECT_EQ(reader.lowUsageNotificationState().stateByPlanAndWindow.count("pro.weekly"), 1u);
}

// A settings change adopts the reading on display as the new starting point, so it never
// notifies by itself and the next reading only notifies for a change after it. The repeat setting
// is the exception: a running reminder carries on.
TEST(ReaderNotifications, SettingsChangesRebaselineOnTheReadingShown) {
    const char* alerts = "low-usage-alert-settings-v1";
    const char* resets = "reset-notification-settings-v1";
    const struct {
        const char* name;
        const char* key;
        std::string stored;
        int fiveHour, weekly;
        void (*change)(UsageReader&);
        const char* afterNextReading = nullptr;  // what it notifies, if anything
    } cases[] = {
        {"switching an alert on while low", alerts, encodeJson(LowUsageAlertSettings::make(false)),
         10, 40, [](UsageReader& r) { r.setLowUsageAlertsEnabled(true, QuotaWindow::fiveHour); }},
        {"raising the threshold above the reading", alerts, encodeJson(LowUsageAlertSettings{}), 25,
         40,
         [](UsageReader& r) {
             r.setLowUsageAlertThreshold(LowUsageAlertThreshold::thirty, QuotaWindow::fiveHour);
         }},
        {"changing the repeat does not rebaseline", alerts, encodeJson(LowUsageAlertSettings{}), 10,
         40,
         [](UsageReader& r) {
             r.setLowUsageAlertRepeat(LowUsageAlertRepeat::oneHour, QuotaWindow::fiveHour);
         },
         "Codex Usage Low: 5h usage remaining: 10%"},
        // Last seen at 10%; the reading on display, from while the feature was off, is 100%.
        {"switching reset notifications on after a reset", resets, R"({"isEnabled": false})", 72,
         100, [](UsageReader& r) { r.setResetNotificationsEnabled(true); }},
        {"reset notifications on all along", resets, R"({"isEnabled": true})", 72, 100,
         [](UsageReader&) {}, "Codex Usage Reset: Weekly usage reset — 100% available"},
    };
    for (const auto& c : cases) {
        StateWorld world(CodexPlan::plus);
        world.notifications.setAuthorizationStatus(NotificationAuthorizationStatus::authorized);
        world.choosePlan(false);
        world.preferences.setData(c.key, c.stored);
        // Both states remember the plan's windows from before the reading on display.
        world.preferences.setData("low-usage-notification-state-v1",
                                  R"({"stateByPlanAndWindow": {"plus.fiveHour": {"isLow": false},
                                       "plus.weekly": {"isLow": false}}})");
        world.preferences.setData(
            "quota-reset-notification-state-v1",
            R"({"stateByPlanAndWindow": {"plus.weekly": {"lastObservedPercentage": 10}}})");
        world.storePlanRecords(
            {{plusReading(c.fiveHour, c.weekly), world.time.now(), CodexPlan::plus}});
        world.codex.setUsage(usage(c.fiveHour, c.weekly));
        UsageReader& reader = world.launch();
        c.change(reader);
        world.time.runUntilIdle();
        EXPECT_TRUE(world.notifications.requests().empty()) << c.name;
        world.refreshNow();
        EXPECT_EQ(bodies(world.notifications), c.afterNextReading
                                                   ? std::vector<std::string>{c.afterNextReading}
                                                   : std::vector<std::string>{})
            << c.name;
    }
}

TEST(ReaderNotifications, ObserversAreToldOfEveryPublishedChangeAndOnlyOfChanges) {
    StateWorld world(CodexPlan::plus);
    world.choosePlan();
    world.storePlanRecords({{freeGoReading(63), Date{1000}, CodexPlan::freeGo}});
    UsageReader& reader = world.launch();
    int told = 0;
    std::string summarySeen;
    const auto id = reader.addObserver([&] {
        ++told;
        summarySeen = reader.menuBarUsageSummary();
    });
    const struct {
        const char* name;
        std::function<void()> change;
        bool tells;
    } cases[] = {
        {"frequency", [&] { reader.setRefreshFrequency(RefreshFrequency::fiveMinutes); }, true},
        {"same frequency", [&] { reader.setRefreshFrequency(RefreshFrequency::fiveMinutes); },
         false},
        {"format", [&] { reader.setMenuBarDisplay(MenuBarDisplay::minimal); }, true},
        {"plan", [&] { reader.setCodexPlan(CodexPlan::freeGo); }, true},
        {"alert threshold",
         [&] {
             reader.setLowUsageAlertThreshold(LowUsageAlertThreshold::ten, QuotaWindow::monthly);
         },
         true},
        {"reset notifications", [&] { reader.setResetNotificationsEnabled(false); }, true},
        {"automatic refresh off", [&] { reader.setAutomaticRefreshEnabled(false); }, true},
        {"automatic refresh on", [&] { reader.setAutomaticRefreshEnabled(true); }, true},
        {"a tick with nothing due", [&] { world.time.advance(15); }, false},
        {"the deadline passing (Codex away)",
         [&] {
             world.codex.quit();
             world.time.advance(300);
         },
         true},
    };
    for (const auto& c : cases) {
        told = 0;
        c.change();
        EXPECT_EQ(told > 0, c.tells) << c.name;
        if (told > 0) {
            EXPECT_EQ(summarySeen, reader.menuBarUsageSummary()) << c.name;
        }
    }
    EXPECT_EQ(summarySeen, "63");

    reader.removeObserver(id);
    told = 0;
    reader.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(told, 0);
}

}  // namespace
}  // namespace gaugely
