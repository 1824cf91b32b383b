#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexLogReadings.h"
#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {

// The reset-text patterns of the menu, so a log reading reads back through the menu's parsers.
inline constexpr std::string_view fiveHourResetPattern = "h:mm a";
inline constexpr std::string_view dateResetPattern = "MMM d";
inline constexpr std::string_view resetTextLocale = "en_US_POSIX";

// The whole percentage left of a window used `usedPercent`: rounded down, so an alert is never
// late; above 100 is nothing left, below 0 or not finite is none.
std::optional<int> codexLogRemainingPercent(double usedPercent);

// Formats `date` with a pattern above in "en_US_POSIX" and the local zone.
using ResetTextFormatter = std::function<std::string(Date date, std::string_view pattern)>;

// Why the logs give no snapshot for the plan.
enum class CodexLogRefusal {
    missingWindow,      // no window the plan shows has a reading (or one the logs name)
    unreadablePercent,  // a value below 0
    futureTimestamp,    // written after now: it would hide every later reading
    noLimits,           // the logs carry no usage limits (an API key, or no rate limits written)
    tooOldVersion,      // written by a Codex too old to read (no reset times)
    planMismatch,       // the logs show another plan than the one chosen
    unknownPlan,        // no plan is chosen and the logs show one we have no windows for
};

template <>
struct EnumTraits<CodexLogRefusal> {
    static constexpr std::array<std::pair<CodexLogRefusal, std::string_view>, 7> cases{{
        {CodexLogRefusal::missingWindow, "missingWindow"},
        {CodexLogRefusal::unreadablePercent, "unreadablePercent"},
        {CodexLogRefusal::futureTimestamp, "futureTimestamp"},
        {CodexLogRefusal::noLimits, "noLimits"},
        {CodexLogRefusal::tooOldVersion, "tooOldVersion"},
        {CodexLogRefusal::planMismatch, "planMismatch"},
        {CodexLogRefusal::unknownPlan, "unknownPlan"},
    }};
};

// A log reading ready to commit: the snapshot as the menu would show it, plus the exact figures
// the history and the pace estimate keep.
//
// Unlike a menu reading it may lack a window: a window with no reading in its current period is
// "Not Found", and the others are still shown. A window whose reset time has passed with no
// newer line is shown as reset: 100%, with the time it reset.
struct CodexLogSnapshot {
    UsageSnapshot snapshot;
    // The newest line shown, or the latest reset passed since, whichever is later.
    Date readAt;
    // The windows shown with a reading of their own, with their exact remaining share (0...100).
    std::map<QuotaWindow, double> remainingPercent;
    // The reset times still to come, of the windows that have one.
    std::map<QuotaWindow, Date> resetsAt;
    // The windows shown as reset, with the time they reset.
    std::map<QuotaWindow, Date> passedResets;

    bool operator==(const CodexLogSnapshot&) const = default;
};

struct CodexLogSnapshotResult {
    std::optional<CodexLogSnapshot> reading;
    std::optional<CodexLogRefusal> refusal;
};

// How far a line's timestamp may run ahead of our clock before it counts as in the future.
inline constexpr double codexLogClockTolerance = 120;

// The plan's snapshot from what the logs have said, as of `now`. Every plan's rows carry their
// reset times, the pro weekly row too: the logs have it where the menu does not.
CodexLogSnapshotResult codexLogSnapshot(CodexPlan plan, const CodexLogReadings& readings, Date now,
                                        const ResetTextFormatter& formatReset);

// Whether a log reading has enough to be shown: one window of the plan with a percentage. (A
// menu reading must be complete.)
bool isDisplayableLogSnapshot(const UsageSnapshot& snapshot, CodexPlan plan);

}  // namespace gaugely
