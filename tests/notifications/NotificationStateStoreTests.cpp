#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "Meterlane/Notifications/LowUsageNotificationStateStore.h"
#include "Meterlane/Notifications/QuotaResetNotificationStateStore.h"
#include "Meterlane/Simulation/MemoryPreferences.h"

namespace gaugely {
namespace {

constexpr Date noon{800000000};

TEST(NotificationStateStores, SaveAfterEveryChangeAndLoadAtConstruction) {
    MemoryPreferences defaults;
    {
        LowUsageNotificationStateStore lowUsage(defaults);
        QuotaResetNotificationStateStore resets(defaults);
        EXPECT_EQ(lowUsage.load(), PersistedRecordLoad::absent);
        EXPECT_EQ(defaults.writeCount(), 0u) << "construction never writes";

        lowUsage.recordCommittedPercentages("plus", {{QuotaWindow::weekly, 50}}, {}, noon);
        lowUsage.recordCommittedPercentages("plus", {{QuotaWindow::weekly, 10}}, {}, noon);
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
    EXPECT_EQ(
        lowUsage.state().stateByPlanAndWindow,
        (decltype(LowUsageThresholdState::stateByPlanAndWindow){{"plus.weekly", {true, noon}}}));
    EXPECT_EQ(resets.state().stateByPlanAndWindow,
              (decltype(QuotaResetState::stateByPlanAndWindow){{"freeGo.monthly", {70}},
                                                               {"plus.fiveHour", {60}}}));
    // The restored state carries on: 60 → 100 is a genuine reset.
    EXPECT_EQ(resets.recordCommittedPercentages("plus", {{QuotaWindow::fiveHour, 100}}, {}),
              (std::vector<QuotaResetRecovery>{{QuotaWindow::fiveHour, 100}}));
}

// Whatever is stored under a key, a record that cannot be read gives the defaults and the stored
// value is left exactly as it was.
TEST(NotificationStateStores, UnreadableRecordsKeepDefaultsAndTheStoredBytes) {
    const std::string bytes[] = {
        "",
        "{",
        "[]",
        R"({"stateByPlanAndWindow": 3, "isEnabled": "yes", "threshold": 5})",
        R"({"stateByPlanAndWindow": {"plus.weekly": {"isLow": 1, "lastObservedPercentage": "x"}},
            "isEnabled": 0})",
        std::string("{\"stateByPlanAndWindow\":{\"plus.we\xffkly\":{}}}"),
    };
    for (const std::string& data : bytes) {
        for (const bool storeAsString : {false, true}) {
            MemoryPreferences defaults;
            for (const char* key :
                 {"low-usage-notification-state-v1", "quota-reset-notification-state-v1",
                  "low-usage-alert-settings-v1", "reset-notification-settings-v1"}) {
                storeAsString ? defaults.setString(key, data) : defaults.setData(key, data);
            }
            const std::size_t writes = defaults.writeCount();

            LowUsageNotificationStateStore lowUsage(defaults);
            QuotaResetNotificationStateStore resets(defaults);
            PersistedRecord<LowUsageAlertSettings> alertSettings(defaults,
                                                                 "low-usage-alert-settings-v1");
            PersistedRecord<ResetNotificationSettings> resetSettings(
                defaults, "reset-notification-settings-v1");

            EXPECT_EQ(lowUsage.load(), PersistedRecordLoad::undecodable) << data;
            EXPECT_EQ(resets.load(), PersistedRecordLoad::undecodable) << data;
            EXPECT_EQ(alertSettings.load(), PersistedRecordLoad::undecodable) << data;
            EXPECT_EQ(resetSettings.load(), PersistedRecordLoad::undecodable) << data;
            EXPECT_TRUE(lowUsage.state().stateByPlanAndWindow.empty());
            EXPECT_TRUE(resets.state().stateByPlanAndWindow.empty());
            EXPECT_EQ(alertSettings.value(), LowUsageAlertSettings::make(true));
            EXPECT_EQ(resetSettings.value(), ResetNotificationSettings{true});

            EXPECT_EQ(defaults.writeCount(), writes) << data;
            const auto stored = storeAsString
                                    ? defaults.stringValue("low-usage-notification-state-v1")
                                    : defaults.dataValue("low-usage-notification-state-v1");
            EXPECT_EQ(stored, data);
        }
    }
}

}  // namespace
}  // namespace gaugely
