#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/QuotaResetDetectionPolicy.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"

namespace gaugely {
namespace {

using Recoveries = std::vector<QuotaResetRecovery>;

TEST(QuotaResetState, ReportsOnlyGenuineReturnsToAHundred) {
    const ResetNotificationSettings on{true};
    const ResetNotificationSettings off{false};
    const struct {
        const char* name;
        std::vector<std::pair<int, ResetNotificationSettings>> readings;
        std::vector<bool> resets;  // per reading
    } cases[] = {
        {"75 then 100", {{75, on}, {100, on}}, {false, true}},
        {"first reading at 100", {{100, on}}, {false}},
        {"0 then 100 then 50 then 100",
         {{0, on}, {100, on}, {50, on}, {100, on}},
         {false, true, false, true}},
        {"disabled, then enabled after the reset",
         {{10, off}, {100, off}, {100, on}},
         {false, false, false}},
        {"disabled while low, enabled for the reset", {{10, off}, {100, on}}, {false, true}},
    };
    for (const auto& c : cases) {
        QuotaResetState state;
        for (std::size_t i = 0; i < c.readings.size(); ++i) {
            const auto& [percentage, settings] = c.readings[i];
            const Recoveries expected =
                c.resets[i] ? Recoveries{{QuotaWindow::weekly, 100}} : Recoveries{};
            EXPECT_EQ(state.recordCommittedPercentages("plus", {{QuotaWindow::weekly, percentage}},
                                                       settings),
                      expected)
                << c.name << ", reading " << i;
        }
    }
}

TEST(QuotaResetState, InvalidatedOrUnknownWindowsStartOver) {
    auto state = decodeJson<QuotaResetState>(
        R"({"stateByPlanAndWindow":{"plus.weekly":{"lastObservedPercentage":10},
                                    "freeGo.weekly":{"lastObservedPercentage":10},
                                    "plus.fiveHour":{},"team.daily":{"lastObservedPercentage":3}}})");
    ASSERT_TRUE(state);
    EXPECT_TRUE(
        state->recordCommittedPercentages("freeGo", {{QuotaWindow::monthly, 100}}, {true}).empty());
    EXPECT_TRUE(
        state->recordCommittedPercentages("plus", {{QuotaWindow::fiveHour, 100}}, {true}).empty());
    state->invalidate("plus");
    EXPECT_TRUE(
        state->recordCommittedPercentages("plus", {{QuotaWindow::weekly, 100}}, {true}).empty());
    EXPECT_EQ(state->recordCommittedPercentages("freeGo", {{QuotaWindow::weekly, 100}}, {true}),
              (Recoveries{{QuotaWindow::weekly, 100}}));
    EXPECT_EQ(state->stateByPlanAndWindow.at("team.daily").lastObservedPercentage, 3);
    EXPECT_EQ(decodeJson<QuotaResetState>(encodeJson(*state)), state);
}

// Whether the reader then keeps the defaults and the stored bytes is the reader's persistence test.
TEST(QuotaResetState, AnyMalformedWindowFailsTheWholeRecord) {
    for (const std::string bad : {
             R"({"stateByPlanAndWindow":{"plus.weekly":{"lastObservedPercentage":"x"}}})",
             R"({"stateByPlanAndWindow":{"plus.weekly":{"lastObservedPercentage":4294967296}}})",
             R"({"stateByPlanAndWindow":{"plus.weekly":7}})",
             R"({"stateByPlanAndWindow":[]})",
             "{\"stateByPlanAndWindow\":{\"plus.we\xffkly\":{}}}",
         }) {
        EXPECT_EQ(decodeJson<QuotaResetState>(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(decodeJson<ResetNotificationSettings>(R"({"isEnabled":0})"), std::nullopt);
}

TEST(QuotaResetDetectionPolicy, DecidesAtTheEdges) {
    const struct {
        long long previous, current;
        bool genuine;
    } cases[] = {
        {80, 100, true}, {81, 100, false}, {100, 100, false},          {0, 100, true},
        {10, 99, false}, {10, 101, false}, {-2147483648LL, 100, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QuotaResetDetectionPolicy::isGenuineReset(c.previous, c.current), c.genuine)
            << c.previous << " -> " << c.current;
    }
}

}  // namespace
}  // namespace gaugely
