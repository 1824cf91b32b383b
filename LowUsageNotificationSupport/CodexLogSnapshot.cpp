#include "LowUsageNotificationSupport/CodexLogSnapshot.h"

// What the logs have said becomes the snapshot the plan's menu would have shown, so everything
// downstream (the alerts, the reset detection, the menu bar) treats a log reading and a menu
// reading alike.
//
// Refusals are checked in this order: what the newest line is (too old a Codex, no limits), a
// time in the future, a plan other than the chosen one, then the windows. A window shows as
// reset once its reset time (CodexLogReadings::effectiveReset) has passed.

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

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

std::string resetText(QuotaWindow window, Date at, const ResetTextFormatter& formatReset) {
    const std::string text =
        formatReset(at, window == QuotaWindow::fiveHour ? fiveHourResetPattern : dateResetPattern);
    return text.empty() ? std::string(notFoundText) : text;
}

}  // namespace

CodexLogSnapshotResult codexLogSnapshot(CodexPlan plan, const CodexLogReadings& readings, Date now,
                                        const ResetTextFormatter& formatReset) {
    const auto refuse = [](CodexLogRefusal refusal) {
        return CodexLogSnapshotResult{std::nullopt, refusal};
    };
    switch (readings.newest()) {
        case CodexLogReadings::Newest::tooOld:
            return refuse(CodexLogRefusal::tooOldVersion);
        case CodexLogReadings::Newest::noLimits:
            return refuse(CodexLogRefusal::noLimits);
        case CodexLogReadings::Newest::nothing:
            return refuse(readings.sawLinesWithoutRateLimits() ? CodexLogRefusal::noLimits
                                                               : CodexLogRefusal::missingWindow);
        case CodexLogReadings::Newest::limits:
            break;
    }
    if (readings.newestLineAt()->timeIntervalSince(now) > codexLogClockTolerance) {
        return refuse(CodexLogRefusal::futureTimestamp);
    }
    if (readings.planType()) {
        const std::optional<CodexPlan> logsPlan = codexPlanForLogPlanType(*readings.planType());
        if (logsPlan && *logsPlan != plan) {
            return refuse(CodexLogRefusal::planMismatch);
        }
    }
    const QuotaSchema schema = PlanQuotaConfiguration::configuration(plan).schema;
    CodexLogSnapshot reading;
    bool any = false;
    for (const QuotaWindow length : requiredWindows(schema)) {
        const auto found = readings.windows().find(length);
        if (found == readings.windows().end()) {
            continue;
        }
        const CodexLogReadings::Window& window = found->second;
        const std::optional<int> remaining = codexLogRemainingPercent(window.usedPercent);
        if (!remaining) {
            return refuse(CodexLogRefusal::unreadablePercent);
        }
        any = true;
        const auto [percentage, reset] = fields(length);
        reading.readAt = std::max(reading.readAt, window.readAt);
        const std::optional<Date> resetsAt = readings.effectiveReset(length);
        if (resetsAt && *resetsAt <= now) {
            reading.snapshot.*percentage = "100%";
            reading.snapshot.*reset = resetText(length, *resetsAt, formatReset);
            reading.remainingPercent[length] = 100;
            reading.passedResets[length] = *resetsAt;
            reading.readAt = std::max(reading.readAt, *resetsAt);
            continue;
        }
        reading.snapshot.*percentage = std::to_string(*remaining) + "%";
        if (resetsAt) {
            reading.snapshot.*reset = resetText(length, *resetsAt, formatReset);
            reading.resetsAt[length] = *resetsAt;
        }
        reading.remainingPercent[length] = std::clamp(100 - window.usedPercent, 0.0, 100.0);
    }
    if (!any) {
        return refuse(CodexLogRefusal::missingWindow);
    }
    return {std::move(reading), std::nullopt};
}

bool isDisplayableLogSnapshot(const UsageSnapshot& snapshot, CodexPlan plan) {
    const QuotaSchema schema = PlanQuotaConfiguration::configuration(plan).schema;
    return !quotaPercentages(snapshot, schema).empty();
}

}  // namespace gaugely
