#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "core/CorePrinters.h"

namespace gaugely {
namespace {

// 2025-09-25T13:00:00Z
const Date now = Date::fromUnixTime(1758805200);
const Date in2Hours = now.addingTimeInterval(2 * 3600);  // 3:00 PM
const Date oct1 = Date::fromUnixTime(1759276800);
const Date oct9 = Date::fromUnixTime(1759968000);

// The caller's formatter, in UTC so the texts are the same on every machine.
std::string formatUtc(Date date, std::string_view pattern) {
    static const IcuTimeFormatter formatter;
    return formatter.format(date, pattern, resetTextLocale, "UTC").value_or("");
}

CodexLogRateWindow window(double used, int minutes, Date resetsAt) {
    return {used, minutes, resetsAt};
}

const CodexLogRateWindow fiveHour = window(12.5, fiveHourWindowMinutes, in2Hours);
const CodexLogRateWindow weekly = window(40, weeklyWindowMinutes, oct1);
const CodexLogRateWindow monthly = window(99.9, 43'200, oct9);
const CodexLogRateWindow hourly = window(1, 60, in2Hours);

TEST(CodexLogSnapshot, GivesEachPlanWhatItsMenuShowsOrSaysWhyNot) {
    using R = CodexLogRefusal;
    const UsageSnapshot plus{
        .fiveHour = "87%", .fiveHourReset = "3:00 PM", .weekly = "60%", .weeklyReset = "Oct 1"};
    const UsageSnapshot freeGo{.monthly = "0%", .monthlyReset = "Oct 9"};
    const UsageSnapshot pro{.weekly = "60%"};
    const auto stale = [](CodexLogRateWindow w) {
        w.resetsAt = now;
        return w;
    };
    const auto used = [](CodexLogRateWindow w, double share) {
        w.usedPercent = share;
        return w;
    };
    const std::optional<CodexLogRateWindow> absent;
    const std::optional<UsageSnapshot> noSnapshot;
    const std::optional<CodexLogRefusal> accepted;
    const struct {
        const char* name;
        CodexPlan plan;
        std::optional<CodexLogRateWindow> primary, secondary;
        double writtenAgo;
        std::optional<UsageSnapshot> expected;
        std::optional<CodexLogRefusal> refusal;
    } cases[] = {
        {"plus", CodexPlan::plus, fiveHour, weekly, 60, plus, accepted},
        {"plus, windows in the other order", CodexPlan::plus, weekly, fiveHour, 60, plus, accepted},
        {"plus without weekly", CodexPlan::plus, fiveHour, absent, 60, noSnapshot,
         R::missingWindow},
        {"plus, 5h has reset", CodexPlan::plus, stale(fiveHour), weekly, 60, noSnapshot,
         R::staleWindow},
        {"plus, an hourly window is not a 5h one", CodexPlan::plus, hourly, weekly, 60, noSnapshot,
         R::missingWindow},
        {"plus, written in the future", CodexPlan::plus, fiveHour, weekly, -121, noSnapshot,
         R::futureTimestamp},
        {"plus, ahead within the clock tolerance", CodexPlan::plus, fiveHour, weekly, -120, plus,
         accepted},
        {"plus, negative share", CodexPlan::plus, fiveHour, used(weekly, -1), 60, noSnapshot,
         R::unreadablePercent},
        {"plus, missing before unreadable", CodexPlan::plus, used(fiveHour, -1), absent, 60,
         noSnapshot, R::missingWindow},
        {"free", CodexPlan::freeGo, monthly, absent, 60, freeGo, accepted},
        {"free beside an hourly window", CodexPlan::freeGo, hourly, monthly, 60, freeGo, accepted},
        {"free without monthly", CodexPlan::freeGo, fiveHour, weekly, 60, noSnapshot,
         R::missingWindow},
        {"free, monthly has reset", CodexPlan::freeGo, stale(monthly), absent, 60, noSnapshot,
         R::staleWindow},
        {"free, written in the future", CodexPlan::freeGo, monthly, absent, -3600, noSnapshot,
         R::futureTimestamp},
        {"free, share not a number", CodexPlan::freeGo,
         used(monthly, std::numeric_limits<double>::quiet_NaN()), absent, 60, noSnapshot,
         R::unreadablePercent},
        {"pro", CodexPlan::pro, fiveHour, weekly, 60, pro, accepted},
        {"pro needs only weekly", CodexPlan::pro, absent, weekly, 60, pro, accepted},
        {"pro beside an hourly window", CodexPlan::pro, hourly, weekly, 60, pro, accepted},
        {"pro, a stale 5h does not matter", CodexPlan::pro, stale(fiveHour), weekly, 60, pro,
         accepted},
        {"pro without weekly", CodexPlan::pro, fiveHour, absent, 60, noSnapshot, R::missingWindow},
        {"pro, weekly has reset", CodexPlan::pro, fiveHour, stale(weekly), 60, noSnapshot,
         R::staleWindow},
        {"pro, written in the future", CodexPlan::pro, fiveHour, weekly, -121, noSnapshot,
         R::futureTimestamp},
        {"pro, share not finite", CodexPlan::pro, fiveHour,
         used(weekly, std::numeric_limits<double>::infinity()), 60, noSnapshot,
         R::unreadablePercent},
    };
    for (const auto& c : cases) {
        const CodexLogUsageLine line{now.addingTimeInterval(-c.writtenAgo), c.primary, c.secondary};
        const CodexLogSnapshotResult result = codexLogSnapshot(c.plan, line, now, formatUtc);
        EXPECT_EQ(result.refusal, c.refusal) << c.name;
        ASSERT_EQ(result.reading.has_value(), c.expected.has_value()) << c.name;
        if (!result.reading) {
            continue;
        }
        EXPECT_EQ(result.reading->snapshot, *c.expected) << c.name;
        EXPECT_EQ(result.reading->readAt, line.timestamp) << c.name;
        const QuotaSchema schema = PlanQuotaConfiguration::configuration(c.plan).schema;
        EXPECT_TRUE(isCompleteUsageSnapshot(result.reading->snapshot, schema)) << c.name;
        EXPECT_EQ(result.reading->remainingPercent.size(), requiredWindows(schema).size())
            << c.name;
    }
}

TEST(CodexLogSnapshot, KeepsTheExactShareAndResetOfTheWindowsItShows) {
    const CodexLogUsageLine line{now, window(12.5, 300, in2Hours), window(103, 10'080, oct1)};
    const auto result = codexLogSnapshot(CodexPlan::plus, line, now, formatUtc);
    ASSERT_TRUE(result.reading);
    EXPECT_EQ(
        result.reading->remainingPercent,
        (std::map<QuotaWindow, double>{{QuotaWindow::fiveHour, 87.5}, {QuotaWindow::weekly, 0}}));
    EXPECT_EQ(result.reading->resetsAt,
              (std::map<QuotaWindow, Date>{{QuotaWindow::fiveHour, in2Hours},
                                           {QuotaWindow::weekly, oct1}}));
}

TEST(CodexLogSnapshot, AFormatterThatWritesNothingGivesNoSnapshot) {
    const CodexLogUsageLine line{now, fiveHour, weekly};
    const auto result =
        codexLogSnapshot(CodexPlan::plus, line, now, [](Date, std::string_view) { return ""; });
    EXPECT_FALSE(result.reading);
    EXPECT_EQ(result.refusal, CodexLogRefusal::missingWindow);
}

TEST(CodexLogRemainingPercent, RoundsDownSoAnAlertIsNeverLate) {
    const struct {
        double used;
        std::optional<int> remaining;
    } cases[] = {
        {0, 100},
        {-0.0, 100},
        {12.5, 87},
        {0.1, 99},
        {33.3, 66},
        {99, 1},
        {99.9, 0},
        {100.0, 0},
        {103, 0},
        {-1, std::nullopt},
        {-0.001, std::nullopt},
        {std::numeric_limits<double>::quiet_NaN(), std::nullopt},
        {std::numeric_limits<double>::infinity(), std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(codexLogRemainingPercent(c.used), c.remaining) << c.used;
    }
}

TEST(CodexLogWindowLength, NamesOnlyTheLengthsCodexUses) {
    const struct {
        int minutes;
        std::optional<QuotaWindow> window;
    } cases[] = {
        {300, QuotaWindow::fiveHour},
        {299, std::nullopt},
        {10'080, QuotaWindow::weekly},
        {40'319, std::nullopt},
        {40'320, QuotaWindow::monthly},
        {43'200, QuotaWindow::monthly},
        {44'640, QuotaWindow::monthly},
        {44'641, std::nullopt},
        {0, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(quotaWindowForMinutes(c.minutes), c.window) << c.minutes;
    }
}

// The menu's lines for the same figures, as Codex writes them.
std::optional<UsageSnapshot> menuSnapshot(CodexPlan plan, int remaining,
                                          const std::string& resetText, int weeklyRemaining,
                                          const std::string& weeklyReset) {
    const std::string left = std::to_string(remaining) + "% left";
    switch (plan) {
        case CodexPlan::plus:
            return usageSnapshotFromUsageRemainingMenu(
                plan, {"Usage remaining", "5h", left, "Resets " + resetText, "Weekly",
                       std::to_string(weeklyRemaining) + "% left", "Resets " + weeklyReset});
        case CodexPlan::freeGo:
            return usageSnapshotFromUsageRemainingMenu(
                plan, {"Usage remaining", "Monthly", left, "Resets " + resetText});
        case CodexPlan::pro: {
            const auto values = ProProfileUsageMenuParser::parse(
                {"Signed in", "Personal", "Settings", "Usage remaining",
                 "Weekly limit " + std::to_string(weeklyRemaining) + "% left", "Keyboard shortcuts",
                 "Log out"},
                [] { return std::vector<std::string>{}; });
            if (!values) {
                return std::nullopt;
            }
            UsageSnapshot result;
            result.weekly = values->percentage;
            return result;
        }
    }
    return std::nullopt;
}

TEST(CodexLogSnapshot, ReadsTheSameAsTheMenuWithTheSameFigures) {
    const struct {
        CodexPlan plan;
        double used;
        int remaining;
        double resetsAtUnix;
        const char* resetText;
        double weeklyUsed;
        int weeklyRemaining;
        double weeklyResetsAtUnix;
        const char* weeklyResetText;
    } cases[] = {
        {CodexPlan::plus, 12.5, 87, 1758845100, "12:05 AM", 40, 60, 1759276800, "Oct 1"},
        {CodexPlan::plus, 0, 100, 1758834420, "9:07 PM", 99.9, 0, 1767225540, "Dec 31"},
        {CodexPlan::plus, 100, 0, 1758812400, "3:00 PM", 0.5, 99, 1788220800, "Sep 1"},
        {CodexPlan::freeGo, 15.2, 84, 1788220800, "Sep 1", 0, 0, 0, ""},
        {CodexPlan::freeGo, 103, 0, 1767225540, "Dec 31", 0, 0, 0, ""},
        {CodexPlan::pro, 0, 0, 0, "", 60.01, 39, 1759276800, "Oct 1"},
        {CodexPlan::pro, 0, 0, 0, "", 0, 100, 1767225540, "Dec 31"},
    };
    for (const auto& c : cases) {
        CodexLogUsageLine line{now, std::nullopt, std::nullopt};
        const int firstLength = c.plan == CodexPlan::freeGo ? 43'200 : fiveHourWindowMinutes;
        line.primary = window(c.used, firstLength, Date::fromUnixTime(c.resetsAtUnix));
        if (c.plan != CodexPlan::freeGo) {
            line.secondary =
                window(c.weeklyUsed, weeklyWindowMinutes, Date::fromUnixTime(c.weeklyResetsAtUnix));
        }
        const std::string context =
            std::string(rawValue(c.plan)) + " " + c.resetText + " " + c.weeklyResetText;
        // The test's formatter writes what the menu shows.
        if (c.plan != CodexPlan::pro) {
            const std::string_view pattern =
                c.plan == CodexPlan::plus ? fiveHourResetPattern : dateResetPattern;
            EXPECT_EQ(formatUtc(Date::fromUnixTime(c.resetsAtUnix), pattern), c.resetText);
        }
        const auto fromLog = codexLogSnapshot(c.plan, line, now, formatUtc);
        ASSERT_TRUE(fromLog.reading) << context;
        const auto fromMenu =
            menuSnapshot(c.plan, c.remaining, c.resetText, c.weeklyRemaining, c.weeklyResetText);
        ASSERT_TRUE(fromMenu) << context;
        EXPECT_EQ(fromLog.reading->snapshot, *fromMenu) << context;
    }
}

}  // namespace
}  // namespace gaugely
