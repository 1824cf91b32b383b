#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "Meterlane/Notifications/LowUsageNotificationStateStore.h"
#include "Meterlane/Notifications/QuotaResetNotificationStateStore.h"
#include "Meterlane/Simulation/MemoryPreferences.h"

namespace gaugely::low_usage_alert_tests {
namespace {

using Percentages = std::vector<std::pair<QuotaWindow, int>>;
using Crossings = std::vector<LowUsageThresholdCrossing>;

constexpr Date tenOClock{800000000};  // any fixed moment; only differences matter

Date at(int minutes, int seconds = 0) {
    return tenOClock.addingTimeInterval(minutes * 60 + seconds);
}

// One committed weekly reading and the crossings it must produce.
struct Reading {
    Date when;
    int weekly;
    std::optional<int> crossing;
};

TEST(LowUsageThresholdState, CrossingsRemindersAndRearming) {
    const struct {
        const char* name;
        LowUsageAlertSettings settings;
        std::vector<Reading> readings;
    } cases[] = {
        {"once: one crossing, then silent until re-armed",
         LowUsageAlertSettings{},
         {{at(0), 25, {}}, {at(1), 15, 15}, {at(2), 14, {}}, {at(3), 25, {}}, {at(4), 18, 18}}},
        {"the threshold itself is low, one point above is not",
         LowUsageAlertSettings{},
         {{at(0), 21, {}}, {at(1), 20, 20}, {at(2), 21, {}}, {at(3), 21, {}}, {at(4), 0, 0}}},
        {"a low first reading is a silent baseline and never reminds",
         LowUsageAlertSettings::make(LowUsageAlertRepeat::thirtyMinutes),
         {{at(0), 15, {}},
          {at(60), 14, {}},
          {at(600), 14, {}},
          {at(601), 21, {}},
          {at(602), 20, 20}}},
        {"every 30 minutes: a reminder at exactly 30:00, not a second before",
         LowUsageAlertSettings::make(LowUsageAlertRepeat::thirtyMinutes),
         {{at(-1), 25, {}},
          {at(0), 15, 15},
          {at(29, 59), 14, {}},
          {at(30), 13, 13},
          {at(59, 59), 12, {}},
          {at(60), 12, 12}}},
        {"a disabled window never notifies, and re-arms silently",
         LowUsageAlertSettings::make(false),
         {{at(0), 25, {}}, {at(1), 15, {}}, {at(40), 10, {}}, {at(41), 90, {}}, {at(42), 1, {}}}},
        {"per-window thresholds",
         LowUsageAlertSettings::make(true, LowUsageAlertThreshold::ten,
                                     LowUsageAlertThreshold::forty, LowUsageAlertThreshold::ten,
                                     LowUsageAlertRepeat::once),
         {{at(0), 50, {}}, {at(1), 40, 40}}},
    };
    for (const auto& c : cases) {
        LowUsageThresholdState state;
        for (std::size_t i = 0; i < c.readings.size(); ++i) {
            const Reading& reading = c.readings[i];
            const Crossings expected = reading.crossing
                                           ? Crossings{{QuotaWindow::weekly, *reading.crossing}}
                                           : Crossings{};
            EXPECT_EQ(
                state.recordCommittedPercentages("plus", {{QuotaWindow::weekly, reading.weekly}},
                                                 c.settings, reading.when),
                expected)
                << c.name << ", reading " << i;
        }
    }
}

TEST(LowUsageThresholdState, WindowsAdvanceIndependentlyAndCrossingsKeepReadingOrder) {
    LowUsageThresholdState state;
    const auto settings = LowUsageAlertSettings{};
    state.recordCommittedPercentages(
        "plus", {{QuotaWindow::fiveHour, 80}, {QuotaWindow::weekly, 50}}, settings, at(0));
    EXPECT_EQ(state.recordCommittedPercentages(
                  "plus", {{QuotaWindow::fiveHour, 18}, {QuotaWindow::weekly, 9}}, settings, at(1)),
              (Crossings{{QuotaWindow::fiveHour, 18}, {QuotaWindow::weekly, 9}}));
    // A new window (or plan) starts with its own baseline.
    EXPECT_EQ(
        state.recordCommittedPercentages("freeGo", {{QuotaWindow::monthly, 3}}, settings, at(2)),
        Crossings{});
}

TEST(LowUsageThresholdState, RebaselineKeepsARunningReminderUnlessCleared) {
    const struct {
        bool clearReminder;
        int percentage;
        LowUsageWindowAlertState expected;
    } cases[] = {
        {false, 15, {true, at(0)}},
        {true, 15, {true, std::nullopt}},
        {false, 25, {false, std::nullopt}},
    };
    for (const auto& c : cases) {
        LowUsageThresholdState state;
        state.stateByPlanAndWindow["plus.weekly"] = {true, at(0)};
        state.rebaseline("plus", {{QuotaWindow::weekly, c.percentage}}, LowUsageAlertSettings{},
                         std::nullopt, c.clearReminder);
        EXPECT_EQ(state.stateByPlanAndWindow.at("plus.weekly"), c.expected)
            << c.clearReminder << " " << c.percentage;
    }
    // Only the windows named are adopted.
    LowUsageThresholdState state;
    state.rebaseline("plus", {{QuotaWindow::fiveHour, 5}, {QuotaWindow::weekly, 15}}, {},
                     std::set{QuotaWindow::weekly}, true);
    EXPECT_FALSE(state.stateByPlanAndWindow.contains("plus.fiveHour"));
}

TEST(LowUsageThresholdState, InvalidateForgetsOnlyThatPlan) {
    LowUsageThresholdState state;
    for (const char* key :
         {"plus.weekly", "plus.fiveHour", "pro.weekly", "plusPlus.weekly", "plus"}) {
        state.stateByPlanAndWindow[key] = {true, std::nullopt};
    }
    state.invalidate("plus");
    const LowUsageWindowAlertState low{true, std::nullopt};
    EXPECT_EQ(state.stateByPlanAndWindow,
              (decltype(state.stateByPlanAndWindow){
                  {"plus", low}, {"plusPlus.weekly", low}, {"pro.weekly", low}}));
}

TEST(LowUsageAlertSettings, DecodesCurrentAndOlderForms) {
    constexpr auto all = [](auto... arguments) {
        return LowUsageAlertSettings::make(arguments...);
    };
    using T = LowUsageAlertThreshold;
    using R = LowUsageAlertRepeat;
    const struct {
        const char* json;
        std::optional<LowUsageAlertSettings> expected;
        bool migrated;
    } cases[] = {
        {R"({"fiveHour":{"isEnabled":false,"threshold":10,"repeatInterval":"oneHour"},
             "weekly":{"isEnabled":true,"threshold":40,"repeatInterval":"once"},
             "monthly":{"isEnabled":true,"threshold":30,"repeatInterval":"twoHours"}})",
         LowUsageAlertSettings{{false, T::ten, R::oneHour},
                               {true, T::forty, R::once},
                               {true, T::thirty, R::twoHours}},
         false},
        {R"({"isEnabled": true, "threshold": 30})",
         all(true, T::thirty, T::thirty, T::thirty, R::once), true},
        {R"({"isEnabled":false,"threshold":10,"weeklyThreshold":40,"repeatInterval":"oneHour"})",
         all(false, T::ten, T::forty, T::ten, R::oneHour), true},
        {R"({"fiveHourThreshold":30,"monthlyThreshold":40})",
         all(true, T::thirty, T::twenty, T::forty, R::once), true},
        {"{}", LowUsageAlertSettings{}, true},
        {R"({"isEnabled":null,"threshold":null})", LowUsageAlertSettings{}, true},
        // A window object wins over the flat keys; only the missing ones are rebuilt.
        {R"({"weekly":{"isEnabled":false,"threshold":10,"repeatInterval":"once"},"threshold":40})",
         LowUsageAlertSettings{
             {true, T::forty, R::once}, {false, T::ten, R::once}, {true, T::forty, R::once}},
         true},
        {R"({"threshold": 30.0})", all(true, T::thirty, T::thirty, T::thirty, R::once), true},
        {R"({"threshold": 35})", std::nullopt, false},
        {R"({"repeatInterval": "daily"})", std::nullopt, false},
        {R"({"isEnabled": 1})", std::nullopt, false},
        {R"({"weeklyThreshold": 0})", std::nullopt, false},
        {R"({"fiveHour":{"isEnabled":true,"threshold":20}})", std::nullopt, false},
        {R"([true])", std::nullopt, false},
    };
    for (const auto& c : cases) {
        const auto decoded = decodeJson<LowUsageAlertSettings>(c.json);
        EXPECT_EQ(decoded, c.expected) << c.json;
        if (decoded) {
            EXPECT_EQ(decoded->needsLegacyWindowConfigurationMigration, c.migrated) << c.json;
            const auto again = decodeJson<LowUsageAlertSettings>(encodeJson(*decoded));
            ASSERT_TRUE(again) << c.json;
            EXPECT_EQ(*again, *decoded);
            EXPECT_FALSE(again->needsLegacyWindowConfigurationMigration) << "saved in the new form";
        }
    }
    EXPECT_EQ(encodeJson(LowUsageAlertSettings{}),
              R"({"fiveHour":{"isEnabled":true,"threshold":20,"repeatInterval":"once"},)"
              R"("weekly":{"isEnabled":true,"threshold":20,"repeatInterval":"once"},)"
              R"("monthly":{"isEnabled":true,"threshold":20,"repeatInterval":"once"}})");
}

TEST(LowUsageThresholdState, DecodesCurrentAndOlderFormsKeepingUnknownKeys) {
    const struct {
        const char* json;
        std::optional<std::map<std::string, LowUsageWindowAlertState, std::less<>>> expected;
    } cases[] = {
        {R"({"stateByPlanAndWindow":{"plus.weekly":{"isLow":true,"lastNotifiedAt":800000000.5},
                                     "team.daily":{"isLow":false}}})",
         {{{"plus.weekly", {true, Date{800000000.5}}}, {"team.daily", {false, std::nullopt}}}}},
        {R"({"isLowByPlanAndWindow": {"plus.weekly": true}})",
         {{{"plus.weekly", {true, std::nullopt}}}}},
        {R"({"stateByPlanAndWindow":{"plus.weekly":{"isLow":"yes"}},
             "isLowByPlanAndWindow":{"plus.weekly":false}})",
         {{{"plus.weekly", {false, std::nullopt}}}}},
        {R"({"stateByPlanAndWindow":{"plus.weekly":{"isLow":true,"lastNotifiedAt":"today"}}})",
         std::nullopt},
        {R"({"isLowByPlanAndWindow": {"plus.weekly": 1}})", std::nullopt},
        {R"({"stateByPlanAndWindow": []})", std::nullopt},
        {"{}", std::nullopt},
    };
    for (const auto& c : cases) {
        const auto decoded = decodeJson<LowUsageThresholdState>(c.json);
        ASSERT_EQ(decoded.has_value(), c.expected.has_value()) << c.json;
        if (decoded) {
            EXPECT_EQ(decoded->stateByPlanAndWindow, *c.expected) << c.json;
            EXPECT_EQ(decodeJson<LowUsageThresholdState>(encodeJson(*decoded)), decoded);
        }
    }
}

TEST(NotificationStateStores, SaveAfterEveryChangeAndLoadAtConstruction) {
    MemoryPreferences defaults;
    {
        LowUsageNotificationStateStore lowUsage(defaults);
        QuotaResetNotificationStateStore resets(defaults);
        EXPECT_EQ(lowUsage.load(), PersistedRecordLoad::absent);
        EXPECT_EQ(defaults.writeCount(), 0u) << "construction never writes";

        lowUsage.recordCommittedPercentages("plus", {{QuotaWindow::weekly, 50}}, {}, tenOClock);
        lowUsage.recordCommittedPercentages("plus", {{QuotaWindow::weekly, 10}}, {}, tenOClock);
        lowUsage.rebaseline("pro", {{QuotaWindow::weekly, 5}}, {}, std::nullopt, true);
        lowUsage.invalidate("pro");
        resets.recordCommittedPercentages("plus", {{QuotaWindow::fiveHour, 60}}, {});
        resets.rebaseline("freeGo", {{QuotaWindow::monthly, 70}});
        resets.invalidate("team");
        EXPECT_EQ(defaults.writeCount(), 7u);
    }
    LowUsageNotificationStateStore lowUsage(defaults);
    QuotaResetNotificationStateStore resets(defaults);
    EXPECT_EQ(lowUsage.load(), PersistedRecordLoad::restored);
    EXPECT_EQ(lowUsage.state().stateByPlanAndWindow,
              (decltype(LowUsageThresholdState::stateByPlanAndWindow){
                  {"plus.weekly", {true, tenOClock}}}));
    EXPECT_EQ(resets.state().stateByPlanAndWindow,
              (decltype(QuotaResetState::stateByPlanAndWindow){{"freeGo.monthly", {70}},
                                                               {"plus.fiveHour", {60}}}));
    // The restored state carries on: 60 → 100 is a genuine reset.
    EXPECT_EQ(resets.recordCommittedPercentages("plus", {{QuotaWindow::fiveHour, 100}}, {}),
              (std::vector<QuotaResetRecovery>{{QuotaWindow::fiveHour, 100}}));
}

}  // namespace
}  // namespace gaugely::low_usage_alert_tests
