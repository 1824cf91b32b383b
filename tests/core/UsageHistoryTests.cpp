#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LowUsageNotificationSupport/UsageHistory.h"

namespace gaugely {
namespace {

const Date start{800'000'000};
const Date reset = start.addingTimeInterval(5 * 3600);

UsageHistoryPoint point(double minutesAfterStart, double remaining,
                        std::optional<Date> resetsAt = reset) {
    return {start.addingTimeInterval(minutesAfterStart * 60), remaining, resetsAt};
}

std::vector<double> minutesOf(const std::vector<UsageHistoryPoint>& points) {
    std::vector<double> minutes;
    for (const auto& p : points) {
        minutes.push_back(p.at.timeIntervalSince(start) / 60);
    }
    return minutes;
}

TEST(UsageHistory, RecordsWhatAddsSomethingAndDropsWhatTheLimitsNoLongerAllow) {
    const struct {
        const char* name;
        std::vector<UsageHistoryPoint> recorded;
        std::vector<bool> added;
        std::vector<double> keptMinutes;
    } cases[] = {
        {"a repeat within five minutes adds nothing",
         {point(0, 50), point(4, 50)},
         {true, false},
         {0}},
        {"a repeat is measured from the last kept point",
         {point(0, 50), point(3, 50), point(6, 50)},
         {true, false, true},
         {0, 6}},
        {"a change is kept at once", {point(0, 50), point(1, 49)}, {true, true}, {0, 1}},
        {"the same value in a refilled window is kept",
         {point(0, 100), point(1, 100, reset.addingTimeInterval(18'000))},
         {true, true},
         {0, 1}},
        {"a slightly different relative reset is the same window",
         {point(0, 50), point(1, 50, reset.addingTimeInterval(90))},
         {true, false},
         {0}},
        {"an older point is ignored", {point(10, 50), point(5, 60)}, {true, false}, {10}},
        {"a point at the same time is kept",
         {point(10, 50), point(10, 49)},
         {true, true},
         {10, 10}},
        {"a share that is not a number is ignored",
         {point(0, std::numeric_limits<double>::quiet_NaN())},
         {false},
         {}},
        {"thirty days are kept",
         {point(0, 50), point(30 * 24 * 60, 40)},
         {true, true},
         {0, 30 * 24 * 60}},
        {"older than thirty days goes",
         {point(0, 50), point(1, 49), point(30 * 24 * 60 + 0.5, 40)},
         {true, true, true},
         {1, 30 * 24 * 60 + 0.5}},
    };
    for (const auto& c : cases) {
        UsageHistory history;
        std::vector<bool> added;
        for (const auto& p : c.recorded) {
            added.push_back(history.record(CodexPlan::plus, QuotaWindow::fiveHour, p));
        }
        EXPECT_EQ(added, c.added) << c.name;
        EXPECT_EQ(minutesOf(history.points(CodexPlan::plus, QuotaWindow::fiveHour)), c.keptMinutes)
            << c.name;
        EXPECT_TRUE(history.points(CodexPlan::plus, QuotaWindow::weekly).empty()) << c.name;
        EXPECT_TRUE(history.points(CodexPlan::pro, QuotaWindow::fiveHour).empty()) << c.name;
    }
}

TEST(UsageHistory, KeepsAtMostTheLimitOfPointsTheNewestOnes) {
    UsageHistory history;
    for (std::size_t i = 0; i <= usageHistoryPointLimit; ++i) {
        ASSERT_TRUE(history.record(CodexPlan::freeGo, QuotaWindow::monthly,
                                   point(static_cast<double>(i) * 5, static_cast<double>(i % 2))));
    }
    const auto& points = history.points(CodexPlan::freeGo, QuotaWindow::monthly);
    ASSERT_EQ(points.size(), usageHistoryPointLimit);
    EXPECT_EQ(points.front().at, point(5, 0).at);
}

TEST(UsageHistory, PrunesByTheClockAndGivesTheCurrentWindowsPoints) {
    UsageHistory history;
    const Date nextReset = reset.addingTimeInterval(5 * 3600);
    for (const auto& p :
         {point(0, 60), point(10, 50), point(20, 45, reset.addingTimeInterval(-100)),
          point(30, 100, nextReset), point(40, 90, std::nullopt)}) {
        ASSERT_TRUE(history.record(CodexPlan::plus, QuotaWindow::fiveHour, p));
    }
    EXPECT_EQ(history.currentWindowPoints(CodexPlan::plus, QuotaWindow::fiveHour, reset),
              (std::vector<UsagePoint>{
                  {point(0, 0).at, 60}, {point(10, 0).at, 50}, {point(20, 0).at, 45}}));
    EXPECT_EQ(history.currentWindowPoints(CodexPlan::plus, QuotaWindow::fiveHour,
                                          reset.addingTimeInterval(121)),
              std::vector<UsagePoint>{});

    history.prune(point(10, 0).at.addingTimeInterval(usageHistoryRetention));
    EXPECT_EQ(minutesOf(history.points(CodexPlan::plus, QuotaWindow::fiveHour)),
              (std::vector<double>{10, 20, 30, 40}));
    history.prune(point(41, 0).at.addingTimeInterval(usageHistoryRetention));
    EXPECT_TRUE(history.points(CodexPlan::plus, QuotaWindow::fiveHour).empty());
    EXPECT_EQ(history.toJson()["series"], Json::object());
}

TEST(UsageHistory, RoundTripsThroughItsDocument) {
    UsageHistory history;
    ASSERT_TRUE(history.record(CodexPlan::plus, QuotaWindow::fiveHour, point(0, 12.5)));
    ASSERT_TRUE(history.record(CodexPlan::plus, QuotaWindow::weekly, point(0, 60)));
    ASSERT_TRUE(history.record(CodexPlan::pro, QuotaWindow::weekly, point(1, 40, std::nullopt)));
    const std::string text = encodeJson(history);
    EXPECT_TRUE(text.starts_with(R"({"version":1,"series":{"plus.fiveHour":[{"at":)")) << text;
    const std::optional<UsageHistory> decoded = decodeJson<UsageHistory>(text);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, history);
    EXPECT_EQ(encodeJson(*decoded), text);
}

TEST(UsageHistory, ReadsWhatItCanOfADocument) {
    const struct {
        const char* name;
        const char* json;
        bool readable;
        std::vector<double> plusFiveHourRemaining;
        std::vector<std::string> keys;
    } cases[] = {
        {"not an object", "[]", false, {}, {}},
        {"another version", R"({"version":2,"series":{}})", false, {}, {}},
        {"version as text", R"({"version":"1","series":{}})", false, {}, {}},
        {"series of another type", R"({"version":1,"series":[]})", false, {}, {}},
        {"no series", R"({"version":1})", true, {}, {}},
        {"bad points are skipped",
         R"({"version":1,"series":{"plus.fiveHour":[{"at":1,"remaining":50},{"at":"x","remaining":1},{"at":2},{"at":3,"remaining":101},{"at":4,"remaining":-1},{"at":5,"remaining":7,"resetsAt":"soon"},7,{"at":6,"remaining":40,"resetsAt":null},{"at":8,"remaining":30,"resetsAt":90}]}})",
         true,
         {50, 30},
         {"plus.fiveHour"}},
        {"points out of order are put in order",
         R"({"version":1,"series":{"plus.fiveHour":[{"at":9,"remaining":30},{"at":1,"remaining":50}]}})",
         true,
         {50, 30},
         {"plus.fiveHour"}},
        {"unknown series are kept, other values dropped",
         R"({"version":1,"series":{"team.daily":[{"at":1,"remaining":5}],"plus.weekly":{},"x":3}})",
         true,
         {},
         {"team.daily"}},
    };
    for (const auto& c : cases) {
        const std::optional<UsageHistory> history = decodeJson<UsageHistory>(c.json);
        ASSERT_EQ(history.has_value(), c.readable) << c.name;
        if (!history) {
            continue;
        }
        std::vector<double> remaining;
        for (const auto& p : history->points(CodexPlan::plus, QuotaWindow::fiveHour)) {
            remaining.push_back(p.remainingPercent);
        }
        EXPECT_EQ(remaining, c.plusFiveHourRemaining) << c.name;
        std::vector<std::string> keys;
        const Json document = history->toJson();
        for (const auto& [key, value] : document["series"].items()) {
            keys.push_back(key);
        }
        EXPECT_EQ(keys, c.keys) << c.name;
    }
}

TEST(UsageHistory, ABloatedDocumentIsReadWithinBounds) {
    Json series = Json::object();
    for (int i = 0; i < 40; ++i) {
        series["unknown." + std::to_string(i)] = Json::array({{{"at", i}, {"remaining", 1}}});
    }
    Json points = Json::array();
    for (std::size_t i = 0; i < usageHistoryPointLimit + 10; ++i) {
        points.push_back({{"at", static_cast<double>(i)}, {"remaining", 50}});
    }
    series["plus.weekly"] = points;
    series[std::string(100, 'k')] = Json::array();
    const std::optional<UsageHistory> history =
        UsageHistory::fromJson(Json{{"version", 1}, {"series", series}});
    ASSERT_TRUE(history);
    const auto& weekly = history->points(CodexPlan::plus, QuotaWindow::weekly);
    ASSERT_EQ(weekly.size(), usageHistoryPointLimit);
    EXPECT_EQ(weekly.front().at, Date{10});
    EXPECT_LE(history->toJson()["series"].size(), 16u);
    EXPECT_FALSE(history->toJson()["series"].contains(std::string(100, 'k')));
}

}  // namespace
}  // namespace gaugely
