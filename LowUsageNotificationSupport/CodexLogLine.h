#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// One rate-limit window as a line of Codex's session log states it. Codex writes every absent
// value of these structs as `null`, so a window may lack its length or its reset time.
struct CodexLogRateWindow {
    // As written: fractional, and possibly outside 0...100 (see codexLogRemainingPercent).
    double usedPercent = 0;
    // None when written as null (or 0): the window's length is unknown, so it cannot be named.
    std::optional<int> windowMinutes;
    // Absolute: `resets_at` (Unix seconds, or for a while in October 2025 an RFC 3339 text), or
    // the line's timestamp plus the older `resets_in_seconds`. None when written as null, as
    // Codex does at the limit.
    std::optional<Date> resetsAt;

    bool operator==(const CodexLogRateWindow&) const = default;
};

// The bucket of the account's own limits, which are the plan's windows. Since early 2026 Codex
// writes one line per bucket, the others for limits of their own (a model's, say); a line that
// names no bucket is of this one.
inline constexpr std::string_view codexLimitBucket = "codex";

// The figures of one `token_count` line.
struct CodexLogUsageLine {
    Date timestamp;
    std::string limitId{codexLimitBucket};
    // `plan_type` as written ("plus", "pro", "team", …); none before Codex wrote it.
    std::optional<std::string> planType;
    std::optional<CodexLogRateWindow> primary;
    std::optional<CodexLogRateWindow> secondary;

    bool isCodexBucket() const { return limitId == codexLimitBucket; }
    // Both windows null: the account has no plan limits (Codex signed in with an API key).
    bool statesNoLimits() const { return !primary && !secondary; }

    bool operator==(const CodexLogUsageLine&) const = default;
};

enum class CodexLogLineKind {
    // Any other line: a message, a tool call, a session's metadata.
    unrelated,
    usage,
    // A token count whose rate limits are written as null: this line says nothing of limits.
    withoutRateLimits,
    // The flat shape of September 2025 (`primary_used_percent`, …), which has no reset times.
    tooOld,
    // A token count whose rate limits are not in a shape we know; never a guessed number.
    unrecognised,
};

template <>
struct EnumTraits<CodexLogLineKind> {
    static constexpr std::array<std::pair<CodexLogLineKind, std::string_view>, 5> cases{{
        {CodexLogLineKind::unrelated, "unrelated"},
        {CodexLogLineKind::usage, "usage"},
        {CodexLogLineKind::withoutRateLimits, "withoutRateLimits"},
        {CodexLogLineKind::tooOld, "tooOld"},
        {CodexLogLineKind::unrecognised, "unrecognised"},
    }};
};

struct CodexLogLineDecoding {
    CodexLogLineKind kind = CodexLogLineKind::unrelated;
    // Present exactly when kind is usage.
    std::optional<CodexLogUsageLine> usage;
    // The line's own time; present for usage, withoutRateLimits and tooOld.
    std::optional<Date> timestamp;
};

// A cheap look before the JSON parser: whether the line can be a usage line at all. Most of a
// session log is conversation, which this keeps away from the parser.
bool mayBeCodexUsageLine(std::string_view line);

// The line's rate limits, nothing else of it: the rest of a log line is the user's conversation
// and is neither kept nor copied.
CodexLogLineDecoding decodeCodexLogLine(std::string_view line);

// Who a session is: the payload of a `session_meta` line, and for a fork (since early 2026) the
// session it was forked from.
struct CodexSessionMeta {
    std::string id;
    std::optional<std::string> forkedFromId;

    bool operator==(const CodexSessionMeta&) const = default;
};

// None for any line that is not a session's metadata.
std::optional<CodexSessionMeta> decodeCodexSessionMeta(std::string_view line);

// The time at the head of a line as Codex writes every one ({"timestamp":"…", first), read
// without parsing the rest; none for any other start.
std::optional<Date> codexLogLineTimestamp(std::string_view line);

// An RFC 3339 time: "2025-10-03T12:34:56.789Z", with up to nine fraction digits and "Z" or a
// "+hh:mm"/"-hh:mm" offset. None for anything else, rather than a guess.
std::optional<Date> rfc3339Date(std::string_view text);

}  // namespace gaugely
