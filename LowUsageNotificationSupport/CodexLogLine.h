#pragma once

#include <optional>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// One rate-limit window as a line of Codex's session log states it.
struct CodexLogRateWindow {
    // As written: fractional, and possibly outside 0...100 (see codexLogRemainingPercent).
    double usedPercent = 0;
    int windowMinutes = 0;
    // Absolute: `resets_at`, or the line's timestamp plus the older `resets_in_seconds`.
    Date resetsAt;

    bool operator==(const CodexLogRateWindow&) const = default;
};

// The figures of one `token_count` line. Either window may be missing.
struct CodexLogUsageLine {
    Date timestamp;
    std::optional<CodexLogRateWindow> primary;
    std::optional<CodexLogRateWindow> secondary;

    bool operator==(const CodexLogUsageLine&) const = default;
};

enum class CodexLogLineKind {
    // Any other line: a message, a tool call, a token count without rate limits.
    unrelated,
    usage,
    // A token count whose rate limits are not in a shape we know; never a guessed number.
    unrecognised,
};

template <>
struct EnumTraits<CodexLogLineKind> {
    static constexpr std::array<std::pair<CodexLogLineKind, std::string_view>, 3> cases{{
        {CodexLogLineKind::unrelated, "unrelated"},
        {CodexLogLineKind::usage, "usage"},
        {CodexLogLineKind::unrecognised, "unrecognised"},
    }};
};

struct CodexLogLineDecoding {
    CodexLogLineKind kind = CodexLogLineKind::unrelated;
    // Present exactly when kind is usage.
    std::optional<CodexLogUsageLine> usage;
};

// A cheap look before the JSON parser: whether the line can be a usage line at all. Most of a
// session log is conversation, which this keeps away from the parser.
bool mayBeCodexUsageLine(std::string_view line);

// The line's rate limits, nothing else of it: the rest of a log line is the user's conversation
// and is neither kept nor copied.
CodexLogLineDecoding decodeCodexLogLine(std::string_view line);

}  // namespace gaugely
