#include "LowUsageNotificationSupport/CodexLogReadings.h"

// Lines with the same time are taken in the order given; of two at one moment the later wins,
// and the moment counts as settled only when every line at it named all its windows. When one
// line lists two windows of the same length the first listed is read.

#include <cctype>
#include <set>

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

std::optional<CodexPlan> codexPlanForLogPlanType(std::string_view planType) {
    if (planType == "free" || planType == "go") {
        return CodexPlan::freeGo;
    }
    if (planType == "plus") {
        return CodexPlan::plus;
    }
    if (planType == "pro") {
        return CodexPlan::pro;
    }
    return std::nullopt;
}

std::string logPlanTypeTitle(std::string_view planType) {
    if (planType == "prolite") {
        return "Pro Lite";
    }
    std::string title;
    for (const char c : planType) {
        title += c == '_' ? ' ' : c;
    }
    if (!title.empty()) {
        title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
    }
    return title;
}

void CodexLogReadings::noteNewest(Date at, Newest what, bool whole) {
    if (!newestAt_ || at > *newestAt_) {
        newestAt_ = at;
        newest_ = what;
        newestWhole_ = whole;
    } else if (at == *newestAt_) {
        newest_ = what;
        newestWhole_ = newestWhole_ && whole;
    }
}

void CodexLogReadings::take(const CodexLogUsageLine& line) {
    if (!line.isCodexBucket()) {
        ++otherBucketLines_;
        return;
    }
    if (line.planType && (!planType_ || line.timestamp >= planTypeAt_)) {
        planType_ = line.planType;
        planTypeAt_ = line.timestamp;
    }
    if (line.statesNoLimits()) {
        noteNewest(line.timestamp, Newest::noLimits, true);
        return;
    }
    bool whole = true;
    std::set<QuotaWindow> named;
    for (const auto& stated : {line.primary, line.secondary}) {
        if (!stated) {
            continue;
        }
        const std::optional<QuotaWindow> length =
            stated->windowMinutes ? quotaWindowForMinutes(*stated->windowMinutes) : std::nullopt;
        whole = whole && stated->windowMinutes && stated->resetsAt;
        if (!length || !named.insert(*length).second) {
            continue;
        }
        const auto [slot, isNew] = windows_.try_emplace(*length);
        Window& window = slot->second;
        if (stated->resetsAt &&
            (!window.lastStatedReset || line.timestamp >= window.lastStatedResetReadAt)) {
            window.lastStatedReset = stated->resetsAt;
            window.lastStatedResetReadAt = line.timestamp;
        }
        if (isNew || line.timestamp >= window.readAt) {
            window.usedPercent = stated->usedPercent;
            window.resetsAt = stated->resetsAt;
            window.readAt = line.timestamp;
        }
    }
    noteNewest(line.timestamp, Newest::limits, whole);
}

void CodexLogReadings::takeTooOld(Date at) {
    noteNewest(at, Newest::tooOld, true);
}

void CodexLogReadings::takeWithoutRateLimits(Date at) {
    if (!withoutRateLimits_ || at > *withoutRateLimits_) {
        withoutRateLimits_ = at;
    }
}

std::optional<Date> CodexLogReadings::effectiveReset(QuotaWindow length) const {
    const auto found = windows_.find(length);
    if (found == windows_.end()) {
        return std::nullopt;
    }
    const Window& window = found->second;
    if (window.resetsAt) {
        return window.resetsAt;
    }
    if (window.lastStatedReset && *window.lastStatedReset > window.readAt) {
        return window.lastStatedReset;
    }
    return std::nullopt;
}

std::optional<Date> CodexLogReadings::nextChangeAfter(Date now) const {
    std::optional<Date> next;
    for (const auto& [length, window] : windows_) {
        const std::optional<Date> at = effectiveReset(length);
        if (at && *at > now && (!next || *at < *next)) {
            next = at;
        }
    }
    return next;
}

}  // namespace gaugely
