#include <cstddef>
#include <cstdint>

#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "fuzz/FuzzLines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const auto snapshot =
        usageSnapshotFromUsageRemainingMenu(CodexPlan::plus, fuzz::lines(fuzz::bytes(data, size)));
    if (snapshot) {
        fuzz::expectStableRoundTrip(*snapshot);
        (void)isCompleteUsageSnapshot(*snapshot, QuotaSchema::dualWindow);
        (void)quotaPercentages(*snapshot, QuotaSchema::dualWindow);
    }
    return 0;
}
