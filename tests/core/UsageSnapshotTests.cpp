#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "core/CorePrinters.h"

namespace gaugely {
namespace {

TEST(PercentageValue, ReadsOnlyWholePercentagesFromZeroToHundred) {
    const struct {
        const char* text;
        std::optional<int> expected;
    } cases[] = {
        {"100%", 100},
        {"0%", 0},
        {"-5%", std::nullopt},
        {"72 %", std::nullopt},
        {"+7%", 7},
        {"Not Found", std::nullopt},
        {"99999999999999999999999%", std::nullopt},
        {"", std::nullopt},
        {"4%0", 40},
        {"-0%", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(percentageValue(c.text), c.expected) << c.text;
    }
}

TEST(UsageSnapshotCompleteness, NeedsEveryRequiredWindowWithAWellFormedReset) {
    using S = UsageSnapshot;
    const struct {
        const char* name;
        UsageSnapshot snapshot;
        QuotaSchema schema;
        bool complete;
    } cases[] = {
        {"plus, all four",
         S{.fiveHour = "72%", .fiveHourReset = "3:45 PM", .weekly = "40%", .weeklyReset = "Sep 12"},
         QuotaSchema::dualWindow, true},
        {"plus, 5-hour reset missing",
         S{.fiveHour = "72%", .weekly = "40%", .weeklyReset = "Sep 12"}, QuotaSchema::dualWindow,
         false},
        {"resets are trimmed first",
         S{.fiveHour = "0%",
           .fiveHourReset = "\n 9:05pm\u00A0",
           .weekly = "100%",
           .weeklyReset = " Sept 12, 2026\n"},
         QuotaSchema::dualWindow, true},
        {"pro needs only the weekly percentage", S{.weekly = "40%"},
         QuotaSchema::proGeneralWeeklyPercentageOnly, true},
        {"pro with an unreadable percentage", S{.weekly = "40 %"},
         QuotaSchema::proGeneralWeeklyPercentageOnly, false},
        {"weekly-only needs a reset date, unlike pro", S{.weekly = "40%"}, QuotaSchema::weeklyOnly,
         false},
        {"monthly", S{.monthly = "85%", .monthlyReset = "Oct 3"}, QuotaSchema::monthlyOnly, true},
        {"monthly ignores the plus fields", S{.weekly = "40%", .weeklyReset = "Sep 12"},
         QuotaSchema::monthlyOnly, false},
        {"the empty snapshot", UsageSnapshot::empty(), QuotaSchema::dualWindow, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isCompleteUsageSnapshot(c.snapshot, c.schema), c.complete) << c.name;
    }
}

TEST(UsageSnapshotCompleteness, ResetPatterns) {
    const struct {
        const char* text;
        bool time;
        bool date;
    } cases[] = {
        {"Sept 12, 2026", false, true},
        {"sep. 3", false, true},
        {"Sep 32", false, false},
        {"Sep 0", false, false},
        {"Sep 12 2026 10:00", false, false},
        {"Sep12", false, false},
        {"Septem 12", false, false},
        {"9:05pm", true, false},
        {"3:45\u202FPM", true, false},
        {"3:45\u00A0PM", true, false},
        {"13:00", false, false},
        {"3:5 PM", false, false},
        {"3:45 PM today", false, false},
    };
    for (const auto& c : cases) {
        const UsageSnapshot plus{
            .fiveHour = "50%", .fiveHourReset = c.text, .weekly = "50%", .weeklyReset = "Sep 1"};
        const UsageSnapshot monthly{.monthly = "50%", .monthlyReset = c.text};
        EXPECT_EQ(isCompleteUsageSnapshot(plus, QuotaSchema::dualWindow), c.time) << c.text;
        EXPECT_EQ(isCompleteUsageSnapshot(monthly, QuotaSchema::monthlyOnly), c.date) << c.text;
    }
}

TEST(QuotaPercentages, ListsReadableWindowsOfTheSchemaInOrder) {
    using Pairs = std::vector<std::pair<QuotaWindow, int>>;
    UsageSnapshot snapshot{.weekly = "40%", .monthly = "85%"};
    EXPECT_EQ(quotaPercentages(snapshot, QuotaSchema::dualWindow),
              (Pairs{{QuotaWindow::weekly, 40}}));
    EXPECT_EQ(quotaPercentages(snapshot, QuotaSchema::monthlyOnly),
              (Pairs{{QuotaWindow::monthly, 85}}));
    snapshot.fiveHour = "72%";
    EXPECT_EQ(quotaPercentages(snapshot, QuotaSchema::dualWindow),
              (Pairs{{QuotaWindow::fiveHour, 72}, {QuotaWindow::weekly, 40}}));
    EXPECT_EQ(quotaPercentages(UsageSnapshot::empty(), QuotaSchema::proGeneralWeeklyPercentageOnly),
              Pairs{});
}

// Written in its order of keys: PersistedUsageSnapshot.WritesItsKeysInOrderAndReadsThemBack.
TEST(UsageSnapshotJson, ReadsSixStringKeysInAnyOrder) {
    // Key order does not matter when reading; every key and its type does.
    EXPECT_EQ(
        decodeJson<UsageSnapshot>(
            R"({"monthlyReset":"a","monthly":"b","weeklyReset":"c","weekly":"d","fiveHourReset":"e","fiveHour":"f","extra":1})"),
        (UsageSnapshot{"f", "e", "d", "c", "b", "a"}));
    for (
        const char* bad :
        {R"({"fiveHour":"72%","fiveHourReset":"","weekly":"","weeklyReset":"","monthly":""})",
         R"({"fiveHour":72,"fiveHourReset":"","weekly":"","weeklyReset":"","monthly":"","monthlyReset":""})",
         R"([])", R"("Not Found")", R"({"fiveHour":)"}) {
        EXPECT_EQ(decodeJson<UsageSnapshot>(bad), std::nullopt) << bad;
    }
}

}  // namespace
}  // namespace gaugely
