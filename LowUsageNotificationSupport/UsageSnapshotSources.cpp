#include "LowUsageNotificationSupport/UsageSnapshotSources.h"

namespace gaugely {

UsageSource UsageSnapshotSources::source(CodexPlan plan) const {
    const auto found = sources.find(plan);
    return found == sources.end() ? UsageSource::codexMenu : found->second;
}

void UsageSnapshotSources::store(CodexPlan plan, UsageSource source) {
    sources[plan] = source;
    preservedEntries.erase(std::string(rawValue(plan)));
}

Json UsageSnapshotSources::toJson() const {
    Json entries = preservedEntries;
    for (const auto& [plan, source] : sources) {
        entries[std::string(rawValue(plan))] = std::string(rawValue(source));
    }
    Json json = Json::object();
    json["sources"] = std::move(entries);
    return json;
}

std::optional<UsageSnapshotSources> UsageSnapshotSources::fromJson(const Json& json) {
    if (!json.is_object() || !json.contains("sources") || !json["sources"].is_object()) {
        return std::nullopt;
    }
    UsageSnapshotSources result;
    for (const auto& [key, value] : json["sources"].items()) {
        const auto plan = fromRawValue<CodexPlan>(key);
        const auto source =
            value.is_string() ? fromRawValue<UsageSource>(value.get<std::string>()) : std::nullopt;
        if (plan && source) {
            result.sources[*plan] = *source;
        } else {
            result.preservedEntries[key] = value;
        }
    }
    return result;
}

}  // namespace gaugely
