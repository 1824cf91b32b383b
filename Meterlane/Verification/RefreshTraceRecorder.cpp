#include "Meterlane/Verification/RefreshTraceRecorder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

#include "LowUsageNotificationSupport/RefreshEndCause.h"
#include "LowUsageNotificationSupport/RefreshMenuPresence.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "LowUsageNotificationSupport/Regex.h"
#include "Meterlane/Reader/RefreshTrace.h"

namespace gaugely {

namespace {

constexpr std::string_view dash = " — ";

using Words = std::set<std::string, std::less<>>;

// Looked up without making a string (the older libc++ the Mac build uses has no heterogeneous
// `contains`).
bool has(const Words& words, std::string_view word) {
    return words.find(word) != words.end();
}

// The trace's own words: what a refresh logs about itself, never about what it read.
const Words& stageNames() {
    static const Words names{
        "refresh requested",
        "eligibility and safety evaluation",
        "eligibility and safety evaluation passed",
        "read failure",
        "target app resolved",
        "target menu inspection",
        "profile control found",
        "profile control open action attempted",
        "profile menu became readable",
        "menu became readable or timed out",
        "usage row found/not found",
        "percentage parsed/not parsed",
        "reset data parsed/not parsed",
        "stable-read confirmation",
        "snapshot validated and committed",
        "snapshot committed",
        "cleanup required/not required",
        "cleanup result",
    };
    return names;
}

const Words& timingMarks() {
    static const Words marks{
        "refresh requested",
        "Profile click issued",
        "Profile menu first detected as open",
        "Profile Accessibility menu structure available",
        "Usage remaining item discoverable",
        "Usage remaining item focused",
        "Return expansion action issued",
        "Usage remaining expanded",
        "Usage remaining already expanded",
        "Profile menu confirmed closed",
    };
    return marks;
}

// Messages a run can end with, and the reasons a request is refused before it starts.
const Words& messages() {
    static const Words texts = [] {
        Words result{
            "update installation is in progress",
            "another refresh is in progress",
            "no Codex plan selected",
            "Accessibility permission unavailable",
            "Accessibility traversal incomplete",
        };
        for (const RefreshEndCause cause : allCases<RefreshEndCause>()) {
            result.emplace(userVisibleText(cause));
        }
        return result;
    }();
    return texts;
}

bool isKnownDetail(std::string_view detail) {
    static const Words details = [] {
        Words result{
            "automatic refresh was turned off",
            "not yet readable",
            "found",
            "not found",
            "parsed",
            "not parsed",
            "not applicable for direct Pro percentage",
            "waiting for a second matching value",
            "required for refresh-owned menu",
            "not required",
            "owned menu remained visible",
            "Escape could not be sent",
        };
        for (const RefreshCleanupResult cleanup : allCases<RefreshCleanupResult>()) {
            result.emplace(rawValue(cleanup));
        }
        for (const RefreshMenuPresence presence : allCases<RefreshMenuPresence>()) {
            result.insert("menu presence: " + std::string(rawValue(presence)));
            for (const RefreshTraversalResult traversal : allCases<RefreshTraversalResult>()) {
                result.insert("presence " + std::string(rawValue(presence)) + "; traversal " +
                              std::string(rawValue(traversal)));
            }
        }
        return result;
    }();
    if (has(details, detail) || has(messages(), detail)) {
        return true;
    }
    constexpr std::string_view deferred = "deferred: ";
    return detail.starts_with(deferred) && has(messages(), detail.substr(deferred.size()));
}

std::string shareable(std::string_view text, bool known) {
    return known ? std::string(text) : std::string(RefreshTraceRecorder::withheld);
}

// "stage" or "stage — detail".
std::string shareableStage(std::string_view entry) {
    const std::size_t split = entry.find(dash);
    if (split == std::string_view::npos) {
        return shareable(entry, has(stageNames(), entry));
    }
    const std::string_view stage = entry.substr(0, split);
    const std::string_view detail = entry.substr(split + dash.size());
    return shareable(stage, has(stageNames(), stage)) + std::string(dash) +
           shareable(detail, isKnownDetail(detail));
}

std::string shareableOutcome(std::string_view outcome) {
    for (const RefreshCleanupResult cleanup : allCases<RefreshCleanupResult>()) {
        if (outcome == RefreshRunOutcome::committed().logText(cleanup)) {
            return std::string(outcome);
        }
    }
    if (outcome == RefreshRunOutcome::cleanupUncertain().logText(RefreshCleanupResult::uncertain) ||
        outcome == "invalid rejected outcome") {
        return std::string(outcome);
    }
    for (const std::string_view kind : {"deferred", "failed"}) {
        const std::string prefix = std::string(kind) + std::string(dash);
        if (outcome.starts_with(prefix)) {
            const std::string_view reason = outcome.substr(prefix.size());
            return prefix + shareable(reason, has(messages(), reason));
        }
    }
    return std::string(RefreshTraceRecorder::withheld);
}

const std::array<std::string_view, 3>& cleanupLines() {
    static const std::array<std::string_view, 3> lines{
        "Refresh cleanup completed; owned Codex profile menu restored to closed state",
        "Refresh cleanup attempted; owned Codex profile menu remained visible",
        "Refresh cleanup attempted; final menu state uncertain",
    };
    return lines;
}

// The shapes of the trace's lines, compiled once per thread.
struct TraceShapes {
    Regex rejected{
        R"(^Refresh \[([0-9A-Za-z-]{1,36})\] (manual|automatic): refresh requested; final outcome (.*)$)"};
    Regex outcome{
        R"(^Refresh \[([0-9A-Za-z-]{1,36})\] (manual|automatic): final outcome (.*) at (-?\d+) ms$)"};
    Regex stage{R"(^Refresh \[([0-9A-Za-z-]{1,36})\] (manual|automatic): (.*) at (-?\d+) ms$)"};
    Regex timing{R"(^Refresh timing: (.*) at (-?\d+) ms$)"};
    Regex dwell{R"(^Refresh menu dwell: (-?\d+) ms$)"};
};

const TraceShapes& shapes() {
    static thread_local const TraceShapes compiled;
    return compiled;
}

std::optional<Regex::Match> entire(const Regex& pattern, std::string_view line) {
    if (!pattern.matchesEntirely(line)) {
        return std::nullopt;
    }
    return pattern.firstMatch(line);
}

std::optional<long> milliseconds(const std::string& digits) {
    long value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return value;
}

std::string head(const Regex::Match& match) {
    return "Refresh [" + match.groups[1] + "] " + match.groups[2] + ": ";
}

}  // namespace

std::string shareableTraceLine(std::string_view line) {
    const TraceShapes& shape = shapes();
    if (const auto match = entire(shape.rejected, line)) {
        return head(*match) + "refresh requested; final outcome " +
               shareableOutcome(match->groups[3]);
    }
    if (const auto match = entire(shape.outcome, line)) {
        return head(*match) + "final outcome " + shareableOutcome(match->groups[3]) + " at " +
               match->groups[4] + " ms";
    }
    if (const auto match = entire(shape.stage, line)) {
        return head(*match) + shareableStage(match->groups[3]) + " at " + match->groups[4] + " ms";
    }
    if (const auto match = entire(shape.timing, line)) {
        return "Refresh timing: " +
               shareable(match->groups[1], has(timingMarks(), match->groups[1])) + " at " +
               match->groups[2] + " ms";
    }
    if (entire(shape.dwell, line) ||
        std::find(cleanupLines().begin(), cleanupLines().end(), line) != cleanupLines().end()) {
        return std::string(line);
    }
    return std::string(RefreshTraceRecorder::withheld);
}

void RefreshTraceRecorder::write(std::string_view subsystem, std::string_view category,
                                 LogLevel level, std::string_view line) {
    next_.write(subsystem, category, level, line);
    if (category == refreshLogCategory) {
        keep(line);
    }
}

KeptRefreshTrace& RefreshTraceRecorder::begin(std::string identifier, std::string kind) {
    traces_.push_back(KeptRefreshTrace{std::move(identifier), std::move(kind), {}, {}, {}, {}});
    while (traces_.size() > keep_) {
        traces_.pop_front();
    }
    return traces_.back();
}

void RefreshTraceRecorder::keep(std::string_view line) {
    const TraceShapes& shape = shapes();
    const auto current = [&](const std::string& identifier) -> KeptRefreshTrace* {
        for (auto trace = traces_.rbegin(); trace != traces_.rend(); ++trace) {
            if (trace->identifier == identifier && !trace->finished()) {
                return &*trace;
            }
        }
        return nullptr;
    };
    if (const auto match = entire(shape.rejected, line)) {
        KeptRefreshTrace& trace = begin(match->groups[1], match->groups[2]);
        trace.lines.push_back(shareableTraceLine(line));
        trace.outcome = shareableOutcome(match->groups[3]);
        return;
    }
    if (const auto match = entire(shape.outcome, line)) {
        KeptRefreshTrace* trace = current(match->groups[1]);
        if (!trace) {
            trace = &begin(match->groups[1], match->groups[2]);
        }
        trace->lines.push_back(shareableTraceLine(line));
        trace->outcome = shareableOutcome(match->groups[3]);
        trace->endedAtMilliseconds = milliseconds(match->groups[4]);
        return;
    }
    if (const auto match = entire(shape.stage, line)) {
        KeptRefreshTrace* trace = current(match->groups[1]);
        if (!trace) {
            trace = &begin(match->groups[1], match->groups[2]);
        }
        trace->lines.push_back(shareableTraceLine(line));
        return;
    }
    // Timing marks, the dwell and the clean-up lines carry no identifier: they belong to the run
    // in progress, and are dropped between runs.
    if (traces_.empty() || traces_.back().finished()) {
        return;
    }
    KeptRefreshTrace& trace = traces_.back();
    if (const auto match = entire(shape.dwell, line)) {
        trace.menuDwellMilliseconds = milliseconds(match->groups[1]);
    }
    const std::string kept = shareableTraceLine(line);
    if (kept != withheld) {
        trace.lines.push_back(kept);
    }
}

const KeptRefreshTrace* RefreshTraceRecorder::trace(std::string_view identifier) const {
    for (const KeptRefreshTrace& kept : traces_) {
        if (kept.identifier == identifier) {
            return &kept;
        }
    }
    return nullptr;
}

}  // namespace gaugely
