#include "LowUsageNotificationSupport/UsagePace.h"

// The pace is the straight line through the first and last readings of the last hour: simple
// enough to explain in one sentence, and it forgets a burst within an hour. A reading higher than
// the one before it starts the line afresh, itself included: it is the first of a refilled window.
// Durations are written to the minute (at least "1 min"), and to the hour from a day on.

#include <algorithm>
#include <cmath>

namespace gaugely {

UsagePaceEstimate estimateUsagePace(const std::vector<UsagePoint>& points, Date resetsAt,
                                    Date now) {
    const UsagePaceEstimate noEstimate;
    if (resetsAt <= now) {
        return noEstimate;
    }
    std::vector<UsagePoint> recent;
    const Date earliest = now.addingTimeInterval(-usagePaceLookBack);
    std::copy_if(
        points.begin(), points.end(), std::back_inserter(recent), [&](const UsagePoint& point) {
            return point.at >= earliest && point.at <= now && std::isfinite(point.remainingPercent);
        });
    std::stable_sort(recent.begin(), recent.end(),
                     [](const UsagePoint& a, const UsagePoint& b) { return a.at < b.at; });
    for (std::size_t i = recent.size(); i-- > 1;) {
        if (recent[i].remainingPercent > recent[i - 1].remainingPercent) {
            recent.erase(recent.begin(), recent.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    }
    if (recent.size() < 2) {
        return noEstimate;
    }
    const UsagePoint& first = recent.front();
    const UsagePoint& last = recent.back();
    const double span = last.at.timeIntervalSince(first.at);
    if (span < usagePaceShortestSpan) {
        return noEstimate;
    }
    const double rate = (first.remainingPercent - last.remainingPercent) / span;
    if (rate <= 0) {
        return {UsagePaceEstimate::Kind::lastsUntilReset, std::nullopt, 0};
    }
    const Date runsOutAt = last.at.addingTimeInterval(last.remainingPercent / rate);
    if (runsOutAt >= resetsAt) {
        return {UsagePaceEstimate::Kind::lastsUntilReset, std::nullopt, 0};
    }
    return {UsagePaceEstimate::Kind::runsOut, runsOutAt, resetsAt.timeIntervalSince(runsOutAt)};
}

namespace {

std::string durationText(double seconds) {
    const long long minutes = std::max(1LL, std::llround(seconds / 60));
    constexpr long long minutesPerDay = 24 * 60;
    if (minutes >= minutesPerDay) {
        const long long hours = std::llround(static_cast<double>(minutes) / 60);
        std::string text = std::to_string(hours / 24) + " d";
        if (hours % 24 != 0) {
            text += " " + std::to_string(hours % 24) + " h";
        }
        return text;
    }
    if (minutes < 60) {
        return std::to_string(minutes) + " min";
    }
    std::string text = std::to_string(minutes / 60) + " h";
    if (minutes % 60 != 0) {
        text += " " + std::to_string(minutes % 60) + " min";
    }
    return text;
}

}  // namespace

std::optional<std::string> usagePaceText(QuotaWindow window, const UsagePaceEstimate& estimate,
                                         const std::string& runsOutTime) {
    const std::string lead = "At this pace, " + std::string(notificationTitle(window));
    switch (estimate.kind) {
        case UsagePaceEstimate::Kind::noEstimate:
            return std::nullopt;
        case UsagePaceEstimate::Kind::lastsUntilReset:
            return lead + " lasts until it resets.";
        case UsagePaceEstimate::Kind::runsOut:
            return lead + " runs out around " + runsOutTime + " \u2014 " +
                   durationText(estimate.secondsBeforeReset) + " before it resets.";
    }
    return std::nullopt;
}

}  // namespace gaugely
