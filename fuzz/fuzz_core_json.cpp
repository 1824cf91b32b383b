#include <cstddef>
#include <cstdint>

#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"
#include "LowUsageNotificationSupport/PlanSynchronizationState.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "fuzz/FuzzLines.h"

namespace {

template <class T>
void decode(const gaugely::Json& json) {
    if (const std::optional<T> record = T::fromJson(json)) {
        gaugely::fuzz::expectStableRoundTrip(*record);
    }
}

}  // namespace

// Every persisted record of the usage domain, decoded from the same hostile text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const std::optional<Json> json = parseJson(fuzz::bytes(data, size));
    if (!json) {
        return 0;
    }
    decode<UsageSnapshot>(*json);
    decode<MonthlyUsageValues>(*json);
    decode<ProProfileUsageValues>(*json);
    decode<PlanSynchronizationState>(*json);
    decode<PersistedUsageSnapshot>(*json);
    decode<PersistedPlanUsageSnapshots>(*json);
    decode<LowUsageWindowAlertSettings>(*json);
    decode<LowUsageAlertSettings>(*json);
    decode<LowUsageWindowAlertState>(*json);
    decode<LowUsageThresholdState>(*json);
    decode<QuotaResetWindowState>(*json);
    decode<QuotaResetState>(*json);
    decode<ResetNotificationSettings>(*json);
    return 0;
}
