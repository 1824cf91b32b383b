#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/UsagePace.h"

namespace gaugely {

// One stored reading of one window.
struct UsageHistoryPoint {
    Date at;
    double remainingPercent = 0;
    // None for a reading that did not say (the pro plan's menu).
    std::optional<Date> resetsAt;

    bool operator==(const UsageHistoryPoint&) const = default;
};

// What a history keeps: 30 days, and at most this many points a window.
inline constexpr double usageHistoryRetention = 30 * 24 * 60 * 60;
inline constexpr std::size_t usageHistoryPointLimit = 8'640;
// A repeat of the last value sooner than this adds no point.
inline constexpr double usageHistoryRepeatInterval = 5 * 60;

// The local record of readings per plan and window, oldest first. Bounded by the limits above so
// the file never grows without end; the series of plans and windows this version does not know
// are kept as they were, as far as they are lists of readable points.
class UsageHistory {
  public:
    // Adds a reading and drops what the limits no longer allow; false when it added nothing.
    bool record(CodexPlan plan, QuotaWindow window, const UsageHistoryPoint& point);
    void prune(Date now);

    const std::vector<UsageHistoryPoint>& points(CodexPlan plan, QuotaWindow window) const;
    // The readings of the window that resets at `resetsAt`, for the pace rule.
    std::vector<UsagePoint> currentWindowPoints(CodexPlan plan, QuotaWindow window,
                                                Date resetsAt) const;

    Json toJson() const;
    // None for a document this version cannot read at all; unreadable points are skipped.
    static std::optional<UsageHistory> fromJson(const Json& json);

    bool operator==(const UsageHistory&) const = default;

  private:
    std::map<std::string, std::vector<UsageHistoryPoint>> series_;
};

}  // namespace gaugely
