#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "core/CorePrinters.h"

namespace gaugely::log_snapshot_tests {
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

CodexLogRateWindow window(double used, std::optional<int> minutes, std::optional<Date> resetsAt) {
    return {used, minutes, resetsAt};
}

const CodexLogRateWindow fiveHour = window(12.5, fiveHourWindowMinutes, in2Hours);
const CodexLogRateWindow weekly = window(40, weeklyWindowMinutes, oct1);
const CodexLogRateWindow monthly = window(99.9, 43'200, oct9);
const CodexLogRateWindow hourly = window(1, 60, in2Hours);

CodexLogUsageLine line(Date at, std::optional<CodexLogRateWindow> primary,
                       std::optional<CodexLogRateWindow> secondary,
                       std::optional<std::string> plan = std::nullopt,
                       std::string bucket = "codex") {
    return CodexLogUsageLine{at, std::move(bucket), std::move(plan), primary, secondary};
}

CodexLogReadings readingsOf(const std::vector<CodexLogUsageLine>& lines) {
    CodexLogReadings readings;
    for (const auto& each : lines) {
        readings.take(each);
    }
    return readings;
}

// What a result shows, on one line: each window the snapshot has, or why there is none.
std::string shown(const CodexLogSnapshotResult& result) {
    std::string text = result.refusal ? "refused: " + std::string(rawValue(*result.refusal)) : "";
    if (result.reading) {
        const UsageSnapshot& s = result.reading->snapshot;
        for (const auto& [label, value, reset] : {std::tuple{"5h", s.fiveHour, s.fiveHourReset},
                                                  std::tuple{"W", s.weekly, s.weeklyReset},
                                                  std::tuple{"M", s.monthly, s.monthlyReset}}) {
            if (value != notFoundText || reset != notFoundText) {
                text += (text.empty() ? "" : " \u00B7 ") + std::string(label) + " " + value + " " +
                        reset;
            }
        }
    }
    return text;
}

TEST(CodexLogSnapshot, GivesEachPlanWhatItsMenuShowsOrSaysWhyNot) {
    const std::string plus = "5h 87% 3:00 PM \u00B7 W 60% Oct 1";
    const std::string freeGo = "M 0% Oct 9";
    const std::string pro = "W 60% Oct 1";
    const auto resetNow = [](CodexLogRateWindow w) {
        w.resetsAt = now;
        return w;
    };
    const auto used = [](CodexLogRateWindow w, double share) {
        w.usedPercent = share;
        return w;
    };
    const std::optional<CodexLogRateWindow> absent;
    const struct {
        const char* name;
        CodexPlan plan;
        std::optional<CodexLogRateWindow> primary, secondary;
        double writtenAgo;
        std::string shows;
    } cases[] = {
        {"plus", CodexPlan::plus, fiveHour, weekly, 60, plus},
        {"plus, windows in the other order", CodexPlan::plus, weekly, fiveHour, 60, plus},
        {"plus without weekly shows 5h", CodexPlan::plus, fiveHour, absent, 60, "5h 87% 3:00 PM"},
        {"plus, 5h has reset: shown full, with the time it reset", CodexPlan::plus,
         resetNow(fiveHour), weekly, 60, "5h 100% 1:00 PM \u00B7 W 60% Oct 1"},
        {"plus, an hourly window is not a 5h one", CodexPlan::plus, hourly, weekly, 60, pro},
        {"plus, only an hourly window", CodexPlan::plus, hourly, absent, 60,
         "refused: missingWindow"},
        {"plus, written in the future", CodexPlan::plus, fiveHour, weekly, -121,
         "refused: futureTimestamp"},
        {"plus, ahead within the clock tolerance", CodexPlan::plus, fiveHour, weekly, -120, plus},
        {"plus, negative share", CodexPlan::plus, fiveHour, used(weekly, -1), 60,
         "refused: unreadablePercent"},
        {"plus, no windows: no limits", CodexPlan::plus, absent, absent, 60, "refused: noLimits"},
        {"free", CodexPlan::freeGo, monthly, absent, 60, freeGo},
        {"free beside an hourly window", CodexPlan::freeGo, hourly, monthly, 60, freeGo},
        {"free without monthly", CodexPlan::freeGo, fiveHour, weekly, 60, "refused: missingWindow"},
        {"free, monthly has reset", CodexPlan::freeGo, resetNow(monthly), absent, 60,
         "M 100% Sep 25"},
        {"pro needs only weekly", CodexPlan::pro, absent, weekly, 60, pro},
        {"pro, a reset 5h does not matter", CodexPlan::pro, resetNow(fiveHour), weekly, 60, pro},
        {"pro without weekly", CodexPlan::pro, fiveHour, absent, 60, "refused: missingWindow"},
        {"pro, share not finite", CodexPlan::pro, fiveHour,
         used(weekly, std::numeric_limits<double>::infinity()), 60, "refused: unreadablePercent"},
    };
    for (const auto& c : cases) {
        const Date at = now.addingTimeInterval(-c.writtenAgo);
        const CodexLogReadings readings = readingsOf({line(at, c.primary, c.secondary)});
        const CodexLogSnapshotResult result = codexLogSnapshot(c.plan, readings, now, formatUtc);
        EXPECT_EQ(shown(result), c.shows) << c.name;
        if (!result.reading) {
            continue;
        }
        EXPECT_EQ(result.reading->readAt,
                  std::max(at, result.reading->passedResets.empty()
                                   ? at
                                   : result.reading->passedResets.begin()->second))
            << c.name;
        EXPECT_TRUE(isDisplayableLogSnapshot(result.reading->snapshot, c.plan)) << c.name;
    }
}

// What a sequence of lines, in the order handed over, shows for plus an hour after the first.
TEST(CodexLogReadings, KeepEachWindowsNewestReadingAcrossLinesBucketsAndNulls) {
    const Date t0 = now.addingTimeInterval(-3600);
    const auto at = [&](double minutes) { return t0.addingTimeInterval(minutes * 60); };
    const Date fiveHourReset = now.addingTimeInterval(1800);  // 1:30 PM
    const auto fh = [&](double used, std::optional<Date> reset = std::nullopt) {
        return window(used, fiveHourWindowMinutes, reset);
    };
    const auto wk = [&](double used) { return window(used, weeklyWindowMinutes, oct1); };
    const struct {
        const char* name;
        std::vector<CodexLogUsageLine> lines;
        std::string shows;
        bool settled;
    } cases[] = {
        {"the newest line wins, whatever the order",
         {line(at(10), fh(50, fiveHourReset), wk(70)), line(at(5), fh(20, fiveHourReset), wk(60))},
         "5h 50% 1:30 PM \u00B7 W 30% Oct 1",
         true},
        {"another bucket never stands for the account's",
         {line(at(5), fh(30, fiveHourReset), wk(45)),
          line(at(6), fh(88, fiveHourReset), wk(65), std::nullopt, "codex_bengalfox")},
         "5h 70% 1:30 PM \u00B7 W 55% Oct 1",
         true},
        {"a window of unknown length leaves that window as it was",
         {line(at(5), fh(30, fiveHourReset), wk(45)),
          line(at(9), fh(40, fiveHourReset), window(50, std::nullopt, oct1))},
         "5h 60% 1:30 PM \u00B7 W 55% Oct 1",
         false},
        {"at the limit the reset time is null: the last one written is kept",
         {line(at(5), fh(90, fiveHourReset), wk(45)), line(at(9), fh(100), wk(46))},
         "5h 0% 1:30 PM \u00B7 W 54% Oct 1",
         false},
        {"a reset time from before the line is no reset time of its period",
         {line(at(1), fh(90, at(3)), wk(45)), line(at(9), fh(100), wk(46))},
         "5h 0% Not Found \u00B7 W 54% Oct 1",
         false},
        {"a reset passed with no newer line shows the window full",
         {line(at(5), fh(97, now.addingTimeInterval(-60)), wk(45))},
         "5h 100% 12:59 PM \u00B7 W 55% Oct 1",
         true},
        {"after a reset, the new period's line wins",
         {line(at(50), fh(3, now.addingTimeInterval(5 * 3600)), wk(47)),
          line(at(5), fh(97, now.addingTimeInterval(-60)), wk(45))},
         "5h 97% 6:00 PM \u00B7 W 53% Oct 1",
         true},
        {"no limits stated by the newest line",
         {line(at(5), fh(30, fiveHourReset), wk(45)), line(at(9), std::nullopt, std::nullopt)},
         "refused: noLimits",
         true},
        {"limits stated after no limits",
         {line(at(5), std::nullopt, std::nullopt), line(at(9), fh(30, fiveHourReset), wk(45))},
         "5h 70% 1:30 PM \u00B7 W 55% Oct 1",
         true},
        {"the logs show another plan",
         {line(at(5), fh(30, fiveHourReset), wk(45), "pro")},
         "refused: planMismatch",
         true},
        {"the newest plan is the one that counts",
         {line(at(9), fh(30, fiveHourReset), wk(45), "plus"),
          line(at(5), fh(30, fiveHourReset), wk(45), "pro")},
         "5h 70% 1:30 PM \u00B7 W 55% Oct 1",
         true},
        {"a plan we have no windows for does not refuse",
         {line(at(5), fh(30, fiveHourReset), wk(45), "team")},
         "5h 70% 1:30 PM \u00B7 W 55% Oct 1",
         true},
    };
    for (const auto& c : cases) {
        const CodexLogReadings readings = readingsOf(c.lines);
        EXPECT_EQ(readings.settled(), c.settled) << c.name;
        EXPECT_EQ(shown(codexLogSnapshot(CodexPlan::plus, readings, now, formatUtc)), c.shows)
            << c.name;
    }
}

TEST(CodexLogReadings, OtherShapesSayWhyThereIsNothingToShow) {
    const Date at = now.addingTimeInterval(-60);
    CodexLogReadings withoutRateLimits;
    withoutRateLimits.takeWithoutRateLimits(at);
    EXPECT_EQ(codexLogSnapshot(CodexPlan::plus, withoutRateLimits, now, formatUtc).refusal,
              CodexLogRefusal::noLimits);
    EXPECT_FALSE(withoutRateLimits.settled());

    // A line without rate limits says nothing beside one with them.
    CodexLogReadings mixed = readingsOf({line(at, fiveHour, weekly)});
    mixed.takeWithoutRateLimits(now);
    EXPECT_TRUE(codexLogSnapshot(CodexPlan::plus, mixed, now, formatUtc).reading);

    CodexLogReadings tooOld = readingsOf({line(at.addingTimeInterval(-60), fiveHour, weekly)});
    tooOld.takeTooOld(at);
    EXPECT_EQ(codexLogSnapshot(CodexPlan::plus, tooOld, now, formatUtc).refusal,
              CodexLogRefusal::tooOldVersion);
    tooOld.take(line(now, fiveHour, weekly));
    EXPECT_TRUE(codexLogSnapshot(CodexPlan::plus, tooOld, now, formatUtc).reading);
}

TEST(CodexLogReadings, TellWhenWhatTheyShowChangesByItself) {
    const Date soon = now.addingTimeInterval(600);
    const Date later = now.addingTimeInterval(7200);
    const CodexLogReadings readings = readingsOf(
        {line(now.addingTimeInterval(-300), window(90, 300, soon), window(40, 10'080, later)),
         line(now.addingTimeInterval(-60), window(100, 300, std::nullopt), std::nullopt)});
    EXPECT_EQ(readings.nextChangeAfter(now), soon) << "the kept 5h reset passes";
    EXPECT_EQ(readings.nextChangeAfter(soon), later);
    EXPECT_EQ(readings.nextChangeAfter(later), std::nullopt);
}

TEST(CodexLogSnapshot, KeepsTheExactShareAndResetOfTheWindowsItShows) {
    const auto readings =
        readingsOf({line(now, window(12.5, 300, in2Hours), window(103, 10'080, oct1))});
    const auto result = codexLogSnapshot(CodexPlan::plus, readings, now, formatUtc);
    ASSERT_TRUE(result.reading);
    EXPECT_EQ(
        result.reading->remainingPercent,
        (std::map<QuotaWindow, double>{{QuotaWindow::fiveHour, 87.5}, {QuotaWindow::weekly, 0}}));
    EXPECT_EQ(result.reading->resetsAt,
              (std::map<QuotaWindow, Date>{{QuotaWindow::fiveHour, in2Hours},
                                           {QuotaWindow::weekly, oct1}}));
    // A formatter that writes nothing leaves the resets unshown.
    const auto unwritten =
        codexLogSnapshot(CodexPlan::plus, readings, now, [](Date, std::string_view) { return ""; });
    ASSERT_TRUE(unwritten.reading);
    EXPECT_EQ(unwritten.reading->snapshot, (UsageSnapshot{.fiveHour = "87%", .weekly = "0%"}));
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
        {99, 1},
        {99.9, 0},
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
        {300, QuotaWindow::fiveHour},   {299, std::nullopt},
        {10'080, QuotaWindow::weekly},  {40'319, std::nullopt},
        {40'320, QuotaWindow::monthly}, {44'640, QuotaWindow::monthly},
        {44'641, std::nullopt},         {0, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(quotaWindowForMinutes(c.minutes), c.window) << c.minutes;
    }
}

}  // namespace
}  // namespace gaugely::log_snapshot_tests
