#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {

// The window lengths Codex reports, in minutes.
inline constexpr int fiveHourWindowMinutes = 300;
inline constexpr int weeklyWindowMinutes = 10'080;
inline constexpr int shortestMonthlyWindowMinutes = 40'320;
inline constexpr int longestMonthlyWindowMinutes = 44'640;

// The reset-text patterns of the menu, so a log reading reads back through the menu's parsers.
inline constexpr std::string_view fiveHourResetPattern = "h:mm a";
inline constexpr std::string_view dateResetPattern = "MMM d";
inline constexpr std::string_view resetTextLocale = "en_US_POSIX";

// The window a length belongs to; none for any other length.
std::optional<QuotaWindow> quotaWindowForMinutes(int windowMinutes);

// The whole percentage left of a window used `usedPercent`: rounded down, so an alert is never
// late; above 100 is nothing left, below 0 or not finite is none.
std::optional<int> codexLogRemainingPercent(double usedPercent);

// Formats `date` with a pattern above in "en_US_POSIX" and the local zone.
using ResetTextFormatter = std::function<std::string(Date date, std::string_view pattern)>;

// Why a usage line gives no snapshot for the plan.
enum class CodexLogRefusal {
    missingWindow,      // the plan needs a window the line does not have (or cannot be shown)
    staleWindow,        // a window the plan needs has already reset
    unreadablePercent,  // a value below 0 or not a number
    futureTimestamp,    // written after now: it would hide every later reading
};

template <>
struct EnumTraits<CodexLogRefusal> {
    static constexpr std::array<std::pair<CodexLogRefusal, std::string_view>, 4> cases{{
        {CodexLogRefusal::missingWindow, "missingWindow"},
        {CodexLogRefusal::staleWindow, "staleWindow"},
        {CodexLogRefusal::unreadablePercent, "unreadablePercent"},
        {CodexLogRefusal::futureTimestamp, "futureTimestamp"},
    }};
};

// A log reading ready to commit: the snapshot as the menu would show it, plus the exact figures
// the history and the pace estimate keep.
struct CodexLogSnapshot {
    UsageSnapshot snapshot;
    Date readAt;
    // The windows the plan shows, with their exact remaining share (0...100) and reset time.
    std::map<QuotaWindow, double> remainingPercent;
    std::map<QuotaWindow, Date> resetsAt;

    bool operator==(const CodexLogSnapshot&) const = default;
};

struct CodexLogSnapshotResult {
    std::optional<CodexLogSnapshot> reading;
    std::optional<CodexLogRefusal> refusal;
};

// How far a line's timestamp may run ahead of our clock before it counts as in the future.
inline constexpr double codexLogClockTolerance = 120;

// The plan's snapshot from a usage line, as of `now`. Pro shows the weekly percentage only, as
// its menu does.
CodexLogSnapshotResult codexLogSnapshot(CodexPlan plan, const CodexLogUsageLine& line, Date now,
                                        const ResetTextFormatter& formatReset);

}  // namespace gaugely
