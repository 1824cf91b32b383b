#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"

#include <string>
#include <utility>

namespace gaugely {

std::optional<PersistedUsageSnapshot> PersistedPlanUsageSnapshots::snapshot(CodexPlan plan) const {
    const auto found = snapshots.find(plan);
    if (found == snapshots.end()) {
        return std::nullopt;
    }
    return found->second;
}

void PersistedPlanUsageSnapshots::store(CodexPlan plan, PersistedUsageSnapshot record) {
    snapshots.insert_or_assign(plan, std::move(record));
    preservedEntries.erase(std::string(rawValue(plan)));
}

Json PersistedPlanUsageSnapshots::toJson() const {
    Json entries = Json::object();
    for (const auto& [plan, record] : snapshots) {
        entries[std::string(rawValue(plan))] = record.toJson();
    }
    for (const auto& [key, value] : preservedEntries.items()) {
        if (!entries.contains(key)) {
            entries[key] = value;
        }
    }
    Json json = Json::object();
    json["snapshots"] = std::move(entries);
    return json;
}

std::optional<PersistedPlanUsageSnapshots> PersistedPlanUsageSnapshots::fromJson(const Json& json) {
    const Json* entries = jsonMember(json, "snapshots");
    if (entries == nullptr || !entries->is_object()) {
        return std::nullopt;
    }
    PersistedPlanUsageSnapshots result;
    for (const auto& [key, value] : entries->items()) {
        const auto plan = fromRawValue<CodexPlan>(key);
        auto record = plan ? PersistedUsageSnapshot::fromJson(value) : std::nullopt;
        if (record && !result.snapshots.contains(*plan)) {
            result.snapshots.emplace(*plan, std::move(*record));
        } else if (!result.preservedEntries.contains(key)) {
            result.preservedEntries[key] = value;
        }
    }
    return result;
}

}  // namespace gaugely
