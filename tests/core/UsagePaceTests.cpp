#include <gtest/gtest.h>

#include <vector>

#include "LowUsageNotificationSupport/UsagePace.h"

namespace gaugely::pace_tests {
namespace {

const Date now{800'000'000};

// A reading `minutesAgo` before now.
UsagePoint at(double minutesAgo, double remaining) {
    return {now.addingTimeInterval(-minutesAgo * 60), remaining};
}

Date inMinutes(double minutes) {
    return now.addingTimeInterval(minutes * 60);
}

TEST(UsagePace, EstimatesFromTheLastHourSinceTheLatestRefill) {
    using enum UsagePaceEstimate::Kind;
    const struct {
        const char* name;
        std::vector<UsagePoint> points;
        double resetInMinutes;
        UsagePaceEstimate::Kind kind;
        double runsOutInMinutes;  // for runsOut
    } cases[] = {
        {"no readings", {}, 60, noEstimate, 0},
        {"one reading", {at(10, 50)}, 60, noEstimate, 0},
        {"two readings under five minutes apart", {at(4, 50), at(0, 40)}, 60, noEstimate, 0},
        {"nothing used", {at(30, 50), at(0, 50)}, 60, lastsUntilReset, 0},
        // A point a minute: the 50 left last 50 minutes, 20 before the reset.
        {"runs out before the reset", {at(10, 60), at(5, 55), at(0, 50)}, 70, runsOut, 50},
        {"any order", {at(0, 50), at(10, 60), at(5, 55)}, 70, runsOut, 50},
        {"lasts past the reset", {at(10, 60), at(0, 50)}, 30, lastsUntilReset, 0},
        {"runs out exactly at the reset", {at(10, 60), at(0, 50)}, 50, lastsUntilReset, 0},
        {"already empty", {at(10, 10), at(0, 0)}, 30, runsOut, 0},
        // The rise at 20 minutes ago starts the line afresh: 90 → 80 in 20 minutes.
        {"a refill restarts", {at(50, 5), at(40, 1), at(20, 90), at(0, 80)}, 600, runsOut, 160},
        {"a refill just now: one point", {at(30, 50), at(10, 10), at(0, 100)}, 600, noEstimate, 0},
        // With the two-hour-old reading the line would run out 51 minutes from now.
        {"readings older than an hour go", {at(120, 100), at(60, 60), at(0, 30)}, 300, runsOut, 60},
        {"readings after now are ignored", {at(10, 60), at(0, 50), at(-5, 0)}, 70, runsOut, 50},
        {"a reset that has passed", {at(10, 60), at(0, 50)}, 0, noEstimate, 0},
    };
    for (const auto& c : cases) {
        const Date resetsAt = inMinutes(c.resetInMinutes);
        const UsagePaceEstimate estimate = estimateUsagePace(c.points, resetsAt, now);
        EXPECT_EQ(estimate.kind, c.kind) << c.name;
        if (c.kind == runsOut && estimate.runsOutAt) {
            EXPECT_NEAR(estimate.runsOutAt->timeIntervalSince(now), c.runsOutInMinutes * 60, 1e-6)
                << c.name;
            EXPECT_NEAR(estimate.secondsBeforeReset,
                        resetsAt.timeIntervalSince(*estimate.runsOutAt), 1e-6)
                << c.name;
        } else {
            EXPECT_EQ(estimate.runsOutAt, std::nullopt) << c.name;
        }
    }
}

TEST(UsagePace, SaysItInOneSentence) {
    using K = UsagePaceEstimate::Kind;
    const auto runsOut = [](double secondsBeforeReset) {
        return UsagePaceEstimate{K::runsOut, now, secondsBeforeReset};
    };
    const struct {
        QuotaWindow window;
        UsagePaceEstimate estimate;
        std::optional<std::string> text;
    } cases[] = {
        {QuotaWindow::fiveHour, runsOut(95 * 60),
         "At this pace, 5h runs out around 2:10 PM \u2014 1 h 35 min before it resets."},
        {QuotaWindow::fiveHour, runsOut(35 * 60 + 29),
         "At this pace, 5h runs out around 2:10 PM \u2014 35 min before it resets."},
        {QuotaWindow::weekly, runsOut(2 * 3600 - 20),
         "At this pace, Weekly runs out around 2:10 PM \u2014 2 h before it resets."},
        {QuotaWindow::weekly, runsOut(10),
         "At this pace, Weekly runs out around 2:10 PM \u2014 1 min before it resets."},
        {QuotaWindow::weekly, runsOut(24 * 3600 - 60),
         "At this pace, Weekly runs out around 2:10 PM \u2014 23 h 59 min before it resets."},
        {QuotaWindow::monthly, runsOut(2 * 86400 + 3 * 3600 + 20 * 60),
         "At this pace, Monthly runs out around 2:10 PM \u2014 2 d 3 h before it resets."},
        {QuotaWindow::monthly, runsOut(86400),
         "At this pace, Monthly runs out around 2:10 PM \u2014 1 d before it resets."},
        {QuotaWindow::fiveHour,
         {K::lastsUntilReset, std::nullopt, 0},
         "At this pace, 5h lasts until it resets."},
        {QuotaWindow::fiveHour, {}, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(usagePaceText(c.window, c.estimate, "2:10 PM"), c.text)
            << c.estimate.secondsBeforeReset;
    }
}

}  // namespace
}  // namespace gaugely::pace_tests
