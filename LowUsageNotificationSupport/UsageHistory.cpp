#include "LowUsageNotificationSupport/UsageHistory.h"

// Two readings belong to the same window when their reset times are within two minutes: the older
// log lines state the reset relative to their own time, so the same reset comes out a little
// different from line to line. A repeat needs the same value in the same window, so a refilled
// window's first reading is kept even when it shows what the last one did.
//
// Reading a stored document: series that are not lists of points are dropped, as are points
// without a finite time or a share outside 0...100; a series out of order is put in order. At
// most `usageHistorySeriesLimit` series are kept, the known ones first, so a hostile file cannot
// make the history (or the file written back) grow without end.

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {
namespace {

constexpr long long historyVersion = 1;
constexpr double sameWindowTolerance = 120;
constexpr std::size_t usageHistorySeriesLimit = 16;
constexpr std::size_t longestSeriesKey = 64;

bool sameWindow(const std::optional<Date>& a, const std::optional<Date>& b) {
    if (!a || !b) {
        return !a && !b;
    }
    return std::fabs(a->timeIntervalSince(*b)) <= sameWindowTolerance;
}

bool isReadable(const UsageHistoryPoint& point) {
    return std::isfinite(point.at.timeIntervalSinceReferenceDate) &&
           std::isfinite(point.remainingPercent) && point.remainingPercent >= 0 &&
           point.remainingPercent <= 100 &&
           (!point.resetsAt || std::isfinite(point.resetsAt->timeIntervalSinceReferenceDate));
}

std::string seriesKey(CodexPlan plan, QuotaWindow window) {
    return planWindowKey(rawValue(plan), window);
}

const std::set<std::string>& knownSeriesKeys() {
    static const std::set<std::string> keys = [] {
        std::set<std::string> all;
        for (const CodexPlan plan : allCases<CodexPlan>()) {
            for (const QuotaWindow window : allCases<QuotaWindow>()) {
                all.insert(seriesKey(plan, window));
            }
        }
        return all;
    }();
    return keys;
}

void dropOlderThan(std::vector<UsageHistoryPoint>& points, Date earliest) {
    const auto firstKept = std::find_if(points.begin(), points.end(),
                                        [&](const auto& point) { return point.at >= earliest; });
    points.erase(points.begin(), firstKept);
}

void keepNewest(std::vector<UsageHistoryPoint>& points) {
    if (points.size() > usageHistoryPointLimit) {
        points.erase(points.begin(),
                     points.end() - static_cast<std::ptrdiff_t>(usageHistoryPointLimit));
    }
}

std::optional<UsageHistoryPoint> pointFromJson(const Json& json) {
    const std::optional<double> at = jsonNumber(json, "at");
    const std::optional<double> remaining = jsonNumber(json, "remaining");
    if (!at || !remaining) {
        return std::nullopt;
    }
    UsageHistoryPoint point{Date{*at}, *remaining, std::nullopt};
    if (const Json* resetsAt = jsonMember(json, "resetsAt"); resetsAt != nullptr) {
        const std::optional<double> seconds = jsonNumber(json, "resetsAt");
        if (!seconds) {
            return std::nullopt;
        }
        point.resetsAt = Date{*seconds};
    }
    if (!isReadable(point)) {
        return std::nullopt;
    }
    return point;
}

std::optional<std::vector<UsageHistoryPoint>> seriesFromJson(const Json& json) {
    if (!json.is_array()) {
        return std::nullopt;
    }
    std::vector<UsageHistoryPoint> points;
    for (const Json& element : json) {
        if (const std::optional<UsageHistoryPoint> point = pointFromJson(element)) {
            points.push_back(*point);
        }
    }
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& a, const auto& b) { return a.at < b.at; });
    keepNewest(points);
    return points;
}

}  // namespace

bool UsageHistory::record(CodexPlan plan, QuotaWindow window, const UsageHistoryPoint& point) {
    if (!isReadable(point)) {
        return false;
    }
    std::vector<UsageHistoryPoint>& points = series_[seriesKey(plan, window)];
    if (!points.empty()) {
        const UsageHistoryPoint& last = points.back();
        if (point.at < last.at) {
            return false;
        }
        if (point.remainingPercent == last.remainingPercent &&
            sameWindow(point.resetsAt, last.resetsAt) &&
            point.at.timeIntervalSince(last.at) < usageHistoryRepeatInterval) {
            return false;
        }
    }
    points.push_back(point);
    dropOlderThan(points, point.at.addingTimeInterval(-usageHistoryRetention));
    keepNewest(points);
    return true;
}

void UsageHistory::prune(Date now) {
    for (auto it = series_.begin(); it != series_.end();) {
        dropOlderThan(it->second, now.addingTimeInterval(-usageHistoryRetention));
        it = it->second.empty() ? series_.erase(it) : std::next(it);
    }
}

const std::vector<UsageHistoryPoint>& UsageHistory::points(CodexPlan plan,
                                                           QuotaWindow window) const {
    static const std::vector<UsageHistoryPoint> none;
    const auto found = series_.find(seriesKey(plan, window));
    return found == series_.end() ? none : found->second;
}

std::vector<UsagePoint> UsageHistory::currentWindowPoints(CodexPlan plan, QuotaWindow window,
                                                          Date resetsAt) const {
    std::vector<UsagePoint> current;
    for (const UsageHistoryPoint& point : points(plan, window)) {
        if (point.resetsAt && sameWindow(point.resetsAt, resetsAt)) {
            current.push_back({point.at, point.remainingPercent});
        }
    }
    return current;
}

Json UsageHistory::toJson() const {
    Json series = Json::object();
    for (const auto& [key, points] : series_) {
        Json list = Json::array();
        for (const UsageHistoryPoint& point : points) {
            Json entry = Json::object();
            entry["at"] = point.at.timeIntervalSinceReferenceDate;
            entry["remaining"] = point.remainingPercent;
            if (point.resetsAt) {
                entry["resetsAt"] = point.resetsAt->timeIntervalSinceReferenceDate;
            }
            list.push_back(std::move(entry));
        }
        series[key] = std::move(list);
    }
    Json json = Json::object();
    json["version"] = historyVersion;
    json["series"] = std::move(series);
    return json;
}

std::optional<UsageHistory> UsageHistory::fromJson(const Json& json) {
    const std::optional<long long> version = jsonInteger(json, "version");
    if (!json.is_object() || version != historyVersion) {
        return std::nullopt;
    }
    UsageHistory history;
    const Json* series = jsonMember(json, "series");
    if (series == nullptr) {
        return history;
    }
    if (!series->is_object()) {
        return std::nullopt;
    }
    // The known series first, so unknown ones can never crowd them out of the limit.
    for (const bool known : {true, false}) {
        for (const auto& [key, value] : series->items()) {
            if (knownSeriesKeys().contains(key) != known || key.size() > longestSeriesKey ||
                history.series_.size() >= usageHistorySeriesLimit) {
                continue;
            }
            if (auto points = seriesFromJson(value)) {
                history.series_[key] = std::move(*points);
            }
        }
    }
    return history;
}

}  // namespace gaugely
