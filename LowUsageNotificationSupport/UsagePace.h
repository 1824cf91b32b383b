#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// One reading of a window: how much was left, when.
struct UsagePoint {
    Date at;
    double remainingPercent = 0;

    bool operator==(const UsagePoint&) const = default;
};

// How far back the estimate looks, and how far apart its readings must be.
inline constexpr double usagePaceLookBack = 60 * 60;
inline constexpr double usagePaceShortestSpan = 5 * 60;

struct UsagePaceEstimate {
    enum class Kind {
        // Too few readings, or too close together, to say anything.
        noEstimate,
        // Nothing used in the look-back, or not fast enough to run out before the reset.
        lastsUntilReset,
        runsOut,
    };
    Kind kind = Kind::noEstimate;
    // For runsOut: when, and how long before the reset.
    std::optional<Date> runsOutAt;
    double secondsBeforeReset = 0;

    bool operator==(const UsagePaceEstimate&) const = default;
};

// The pace rule. `points` are the current window's readings in any order; only those of the
// last hour count, and only those after the latest rise (a rise means the window was refilled).
UsagePaceEstimate estimateUsagePace(const std::vector<UsagePoint>& points, Date resetsAt, Date now);

// "At this pace, 5h runs out around 2:10 PM — 1 h 35 min before it resets." `runsOutTime` is the
// runs-out time already formatted for the user; none for noEstimate.
std::optional<std::string> usagePaceText(QuotaWindow window, const UsagePaceEstimate& estimate,
                                         const std::string& runsOutTime);

}  // namespace gaugely
