#include <cstddef>
#include <cstdint>

#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "fuzz/FuzzLines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const auto lines = fuzz::lines(fuzz::bytes(data, size));
    const auto values = MonthlyUsageMenuParser::parse(lines);
    const auto snapshot = usageSnapshotFromUsageRemainingMenu(CodexPlan::freeGo, lines);
    // The snapshot is the parser's values and nothing else.
    if (values.has_value() != snapshot.has_value()) {
        std::abort();
    }
    if (values) {
        if (snapshot->monthly != values->percentage ||
            snapshot->monthlyReset != values->resetDate) {
            std::abort();
        }
        fuzz::expectStableRoundTrip(*values);
        (void)isCompleteUsageSnapshot(*snapshot, QuotaSchema::monthlyOnly);
    }
    return 0;
}
