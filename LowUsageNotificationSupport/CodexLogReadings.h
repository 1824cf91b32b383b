#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// The window lengths Codex reports, in minutes.
inline constexpr int fiveHourWindowMinutes = 300;
inline constexpr int weeklyWindowMinutes = 10'080;
inline constexpr int shortestMonthlyWindowMinutes = 40'320;
inline constexpr int longestMonthlyWindowMinutes = 44'640;

// The window a length belongs to; none for any other length.
std::optional<QuotaWindow> quotaWindowForMinutes(int windowMinutes);

// The plan a log's `plan_type` stands for: "free" and "go" for Free / Go, "plus", "pro"; none
// for the others ("team", "business", "prolite", …), whose windows the user must name.
std::optional<CodexPlan> codexPlanForLogPlanType(std::string_view planType);

// A `plan_type` as a user reads it: "Plus", "Team", "Self serve business usage based".
std::string logPlanTypeTitle(std::string_view planType);

// What the logs have said of the account's own limits (the "codex" bucket), gathered from lines
// handed over in any order (a search goes newest first, a follower in the order of writing) and
// each possibly more than once. For each window it keeps the newest reading: a line that lacks a
// window (written null, of unknown length) leaves that window's reading as it was. Other buckets
// are counted and passed over: they are limits of their own, not the plan's.
class CodexLogReadings {
  public:
    struct Window {
        double usedPercent = 0;
        // As the newest line of the window wrote it: none at the limit.
        std::optional<Date> resetsAt;
        Date readAt;
        // The reset time of the newest line of the window that wrote one, and that line's time.
        std::optional<Date> lastStatedReset;
        Date lastStatedResetReadAt;

        bool operator==(const Window&) const = default;
    };

    // What the newest line of the account says.
    enum class Newest {
        nothing,
        limits,
        // Both windows null: no plan limits (Codex signed in with an API key).
        noLimits,
        // The flat shape of September 2025.
        tooOld,
    };

    void take(const CodexLogUsageLine& line);
    void takeTooOld(Date at);
    // A token count written with `"rate_limits": null`: says nothing of limits, unless no line
    // ever says anything else.
    void takeWithoutRateLimits(Date at);

    const std::map<QuotaWindow, Window>& windows() const { return windows_; }
    Newest newest() const { return newest_; }
    // The time of the newest line of the account, of any shape; none before one.
    std::optional<Date> newestLineAt() const { return newestAt_; }
    bool sawLinesWithoutRateLimits() const { return withoutRateLimits_.has_value(); }
    // No line of the account has been taken yet, of any shape.
    bool isEmpty() const { return !newestAt_ && !withoutRateLimits_; }
    // The newest `plan_type` written; none before Codex wrote it.
    const std::optional<std::string>& planType() const { return planType_; }
    uint64_t otherBucketLines() const { return otherBucketLines_; }

    // No older line can change what these readings show: the newest line of the account names
    // every window it writes, with a reset time, or says there are no limits to read.
    bool settled() const { return newestAt_.has_value() && newestWhole_; }

    // A window's reset time: as its newest line wrote it; for a line that wrote none (Codex at
    // the limit), the last one written for the window while that was still to come when the
    // line was written (the same period); else none.
    std::optional<Date> effectiveReset(QuotaWindow window) const;

    // The next moment after `now` at which what these readings show changes by itself: a
    // window's reset time passing (it is shown as reset from then on).
    std::optional<Date> nextChangeAfter(Date now) const;

    bool operator==(const CodexLogReadings&) const = default;

    // Everything taken so far, so a later process can go on from here: one that takes only the
    // lines appended since ends where one taking every line would.
    Json toJson() const;
    // None unless every field reads.
    static std::optional<CodexLogReadings> fromJson(const Json& json);

  private:
    void noteNewest(Date at, Newest what, bool whole);

    std::map<QuotaWindow, Window> windows_;
    Newest newest_ = Newest::nothing;
    std::optional<Date> newestAt_;
    bool newestWhole_ = false;
    std::optional<Date> withoutRateLimits_;
    std::optional<std::string> planType_;
    Date planTypeAt_;
    uint64_t otherBucketLines_ = 0;
};

}  // namespace gaugely
