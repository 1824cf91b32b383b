#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "fuzz/FuzzLines.h"

// One session-log line, then the snapshot of every plan from what it gave, as of its own time.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    static const IcuTimeFormatter formatter;
    const std::string_view line = fuzz::bytes(data, size);
    const CodexLogLineDecoding decoded = decodeCodexLogLine(line);
    // The follower's cheap look may never turn away a line the decoder reads.
    if (decoded.kind != CodexLogLineKind::unrelated && !mayBeCodexUsageLine(line)) {
        std::abort();
    }
    if (decoded.usage.has_value() != (decoded.kind == CodexLogLineKind::usage)) {
        std::abort();
    }
    if (!decoded.usage) {
        return 0;
    }
    const ResetTextFormatter formatReset = [](Date date, std::string_view pattern) {
        return formatter.format(date, pattern, resetTextLocale, "UTC").value_or("");
    };
    for (const CodexPlan plan : allCases<CodexPlan>()) {
        const CodexLogSnapshotResult result =
            codexLogSnapshot(plan, *decoded.usage, decoded.usage->timestamp, formatReset);
        if (result.reading.has_value() == result.refusal.has_value()) {
            std::abort();
        }
        if (!result.reading) {
            continue;
        }
        // What is committed must be what the menu's own test accepts, with figures in range.
        const QuotaSchema schema = PlanQuotaConfiguration::configuration(plan).schema;
        if (!isCompleteUsageSnapshot(result.reading->snapshot, schema)) {
            std::abort();
        }
        for (const auto& [window, remaining] : result.reading->remainingPercent) {
            if (!(remaining >= 0 && remaining <= 100)) {
                std::abort();
            }
        }
        fuzz::expectStableRoundTrip(result.reading->snapshot);
    }
    return 0;
}
