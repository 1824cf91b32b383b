#pragma once

#include <algorithm>
#include <optional>

#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// Data counts as outdated only once several automatic refreshes should have replaced it: a single
// deferral (the user was busy, Codex was behind another window) must not raise the warning.
struct UsageDataFreshnessPolicy {
    static constexpr double minimumStaleAge = 120;
    static constexpr double schedulerAndDeferTolerance = 30;

    // Age in seconds beyond which data refreshed at this interval is stale.
    static constexpr double staleAge(double refreshInterval) {
        return std::max(3 * refreshInterval + schedulerAndDeferTolerance, minimumStaleAge);
    }

    static constexpr bool isStale(std::optional<Date> lastUpdated, double refreshInterval,
                                  Date now) {
        if (!lastUpdated) {
            return false;
        }
        return now.timeIntervalSince(*lastUpdated) > staleAge(refreshInterval);
    }
};

}  // namespace gaugely
