#include "LowUsageNotificationSupport/CodexLogSnapshot.h"

// A log line becomes the snapshot the plan's menu would have shown, so everything downstream (the
// alerts, the reset detection, the menu bar) treats a log reading and a menu reading alike.
//
// Refusals are checked by kind, in the order of the enumeration after the timestamp: a missing
// window before an unreadable value before a stale one. When the line lists two windows of the
// same length the first listed is read. A snapshot the menu's own completeness test would refuse
// (a reset text the formatter could not write) is refused as a missing window: it cannot be shown.

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

std::optional<QuotaWindow> quotaWindowForMinutes(int windowMinutes) {
    if (windowMinutes == fiveHourWindowMinutes) {
        return QuotaWindow::fiveHour;
    }
    if (windowMinutes == weeklyWindowMinutes) {
        return QuotaWindow::weekly;
    }
    if (windowMinutes >= shortestMonthlyWindowMinutes &&
        windowMinutes <= longestMonthlyWindowMinutes) {
        return QuotaWindow::monthly;
    }
    return std::nullopt;
}

std::optional<int> codexLogRemainingPercent(double usedPercent) {
    if (!std::isfinite(usedPercent) || usedPercent < 0) {
        return std::nullopt;
    }
    if (usedPercent >= 100) {
        return 0;
    }
    return static_cast<int>(std::floor(100 - usedPercent));
}

namespace {

// The snapshot's percentage and reset fields of a window.
std::pair<std::string UsageSnapshot::*, std::string UsageSnapshot::*> fields(QuotaWindow window) {
    switch (window) {
        case QuotaWindow::fiveHour:
            return {&UsageSnapshot::fiveHour, &UsageSnapshot::fiveHourReset};
        case QuotaWindow::weekly:
            return {&UsageSnapshot::weekly, &UsageSnapshot::weeklyReset};
        case QuotaWindow::monthly:
            return {&UsageSnapshot::monthly, &UsageSnapshot::monthlyReset};
    }
    return {&UsageSnapshot::monthly, &UsageSnapshot::monthlyReset};
}

// The line's window of each length it states, the first listed when two share a length.
std::map<QuotaWindow, CodexLogRateWindow> windowsByLength(const CodexLogUsageLine& line) {
    std::map<QuotaWindow, CodexLogRateWindow> windows;
    for (const auto& window : {line.primary, line.secondary}) {
        if (!window) {
            continue;
        }
        if (const std::optional<QuotaWindow> length =
                quotaWindowForMinutes(window->windowMinutes)) {
            windows.try_emplace(*length, *window);
        }
    }
    return windows;
}

}  // namespace

CodexLogSnapshotResult codexLogSnapshot(CodexPlan plan, const CodexLogUsageLine& line, Date now,
                                        const ResetTextFormatter& formatReset) {
    const auto refuse = [](CodexLogRefusal refusal) {
        return CodexLogSnapshotResult{std::nullopt, refusal};
    };
    if (line.timestamp.timeIntervalSince(now) > codexLogClockTolerance) {
        return refuse(CodexLogRefusal::futureTimestamp);
    }
    const QuotaSchema schema = PlanQuotaConfiguration::configuration(plan).schema;
    const std::vector<QuotaWindow>& required = requiredWindows(schema);
    const std::map<QuotaWindow, CodexLogRateWindow> windows = windowsByLength(line);
    const auto window = [&windows](QuotaWindow length) { return windows.find(length); };

    if (std::any_of(required.begin(), required.end(),
                    [&](QuotaWindow length) { return window(length) == windows.end(); })) {
        return refuse(CodexLogRefusal::missingWindow);
    }
    if (std::any_of(required.begin(), required.end(), [&](QuotaWindow length) {
            return !codexLogRemainingPercent(window(length)->second.usedPercent);
        })) {
        return refuse(CodexLogRefusal::unreadablePercent);
    }
    if (std::any_of(required.begin(), required.end(),
                    [&](QuotaWindow length) { return window(length)->second.resetsAt <= now; })) {
        return refuse(CodexLogRefusal::staleWindow);
    }

    CodexLogSnapshot reading;
    reading.readAt = line.timestamp;
    // The pro menu shows the general weekly percentage and no reset time; neither does this.
    const bool showsResets = schema != QuotaSchema::proGeneralWeeklyPercentageOnly;
    for (const QuotaWindow length : required) {
        const CodexLogRateWindow& stated = window(length)->second;
        const auto [percentage, reset] = fields(length);
        reading.snapshot.*percentage =
            std::to_string(*codexLogRemainingPercent(stated.usedPercent)) + "%";
        if (showsResets) {
            const std::string_view pattern =
                length == QuotaWindow::fiveHour ? fiveHourResetPattern : dateResetPattern;
            reading.snapshot.*reset = formatReset(stated.resetsAt, pattern);
        }
        reading.remainingPercent[length] = std::clamp(100 - stated.usedPercent, 0.0, 100.0);
        reading.resetsAt[length] = stated.resetsAt;
    }
    if (!isCompleteUsageSnapshot(reading.snapshot, schema)) {
        return refuse(CodexLogRefusal::missingWindow);
    }
    return {std::move(reading), std::nullopt};
}

}  // namespace gaugely
