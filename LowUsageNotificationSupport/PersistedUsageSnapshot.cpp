#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"

namespace gaugely {

Json PersistedUsageSnapshot::toJson() const {
    Json json = Json::object();
    json["snapshot"] = snapshot.toJson();
    json["lastUpdated"] = lastUpdated.timeIntervalSinceReferenceDate;
    json["plan"] = rawValue(plan);
    return json;
}

std::optional<PersistedUsageSnapshot> PersistedUsageSnapshot::fromJson(const Json& json) {
    const Json* snapshotJson = jsonMember(json, "snapshot");
    if (snapshotJson == nullptr) {
        return std::nullopt;
    }
    auto snapshot = UsageSnapshot::fromJson(*snapshotJson);
    const auto lastUpdated = jsonNumber(json, "lastUpdated");
    const auto planText = jsonString(json, "plan");
    if (!snapshot || !lastUpdated || !planText) {
        return std::nullopt;
    }
    const auto plan = fromRawValue<CodexPlan>(*planText);
    if (!plan) {
        return std::nullopt;
    }
    return PersistedUsageSnapshot{std::move(*snapshot), Date{*lastUpdated}, *plan};
}

}  // namespace gaugely
