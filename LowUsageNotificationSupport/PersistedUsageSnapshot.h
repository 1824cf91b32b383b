#pragma once

#include <optional>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {

// One committed reading as stored: the snapshot, when it was committed and whose plan it is.
struct PersistedUsageSnapshot {
    UsageSnapshot snapshot;
    Date lastUpdated;
    CodexPlan plan = CodexPlan::plus;

    // {"snapshot": {...}, "lastUpdated": <seconds since 2001>, "plan": "<raw value>"}
    Json toJson() const;
    // None unless all three keys hold well-formed values; other keys are ignored.
    static std::optional<PersistedUsageSnapshot> fromJson(const Json& json);

    bool operator==(const PersistedUsageSnapshot&) const = default;
};

}  // namespace gaugely
