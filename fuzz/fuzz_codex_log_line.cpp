#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "LowUsageNotificationSupport/CodexForkCopies.h"
#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "fuzz/FuzzLines.h"

// Session-log lines, one per input line: each decoded, the readings gathered from them in the
// order given, then the snapshot of every plan as of the newest line's time and a day later (a
// reset passed). The same lines also go through the fork's copy detection, as a file's head.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    static const IcuTimeFormatter formatter;
    CodexLogReadings readings;
    CodexForkCopies copies;
    for (const std::string_view line : fuzz::lines(fuzz::bytes(data, size))) {
        copies.take(line);
        const CodexLogLineDecoding decoded = decodeCodexLogLine(line);
        // The follower's cheap look may never turn away a line the decoder reads.
        if (decoded.kind != CodexLogLineKind::unrelated && !mayBeCodexUsageLine(line)) {
            std::abort();
        }
        if (decoded.usage.has_value() != (decoded.kind == CodexLogLineKind::usage)) {
            std::abort();
        }
        const bool timed = decoded.kind == CodexLogLineKind::usage ||
                           decoded.kind == CodexLogLineKind::withoutRateLimits ||
                           decoded.kind == CodexLogLineKind::tooOld;
        if (decoded.timestamp.has_value() != timed) {
            std::abort();
        }
        switch (decoded.kind) {
            case CodexLogLineKind::usage:
                for (const auto& window : {decoded.usage->primary, decoded.usage->secondary}) {
                    if (window && (!std::isfinite(window->usedPercent) ||
                                   (window->windowMinutes && *window->windowMinutes <= 0))) {
                        std::abort();
                    }
                }
                readings.take(*decoded.usage);
                break;
            case CodexLogLineKind::tooOld:
                readings.takeTooOld(*decoded.timestamp);
                break;
            case CodexLogLineKind::withoutRateLimits:
                readings.takeWithoutRateLimits(*decoded.timestamp);
                break;
            case CodexLogLineKind::unrelated:
            case CodexLogLineKind::unrecognised:
                break;
        }
    }
    copies.finish();
    if (copies.copiesUntil() && !copies.sessionId()) {
        std::abort();
    }
    const ResetTextFormatter formatReset = [](Date date, std::string_view pattern) {
        return formatter.format(date, pattern, resetTextLocale, "UTC").value_or("");
    };
    const Date newest = readings.newestLineAt().value_or(Date{});
    for (const Date now : {newest, newest.addingTimeInterval(86'400)}) {
        for (const CodexPlan plan : allCases<CodexPlan>()) {
            const CodexLogSnapshotResult result =
                codexLogSnapshot(plan, readings, now, formatReset);
            if (result.reading.has_value() == result.refusal.has_value()) {
                std::abort();
            }
            if (!result.reading) {
                continue;
            }
            // What is committed can be shown, with figures in range, and a reset window is full.
            if (!isDisplayableLogSnapshot(result.reading->snapshot, plan)) {
                std::abort();
            }
            for (const auto& [window, remaining] : result.reading->remainingPercent) {
                if (!(remaining >= 0 && remaining <= 100)) {
                    std::abort();
                }
            }
            for (const auto& [window, resetAt] : result.reading->passedResets) {
                if (resetAt > now || result.reading->snapshot.percentage(window) != "100%") {
                    std::abort();
                }
            }
            fuzz::expectStableRoundTrip(result.reading->snapshot);
        }
    }
    return 0;
}
