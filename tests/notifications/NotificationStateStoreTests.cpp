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

}  // namespace
}  // namespace gaugely
