#pragma once

#include <map>
#include <optional>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// Where a stored reading came from: Codex's profile menu or its session logs.
enum class UsageSource { codexMenu, codexLogs };

template <>
struct EnumTraits<UsageSource> {
    static constexpr std::array<std::pair<UsageSource, std::string_view>, 2> cases{{
        {UsageSource::codexMenu, "codexMenu"},
        {UsageSource::codexLogs, "codexLogs"},
    }};
};

// "Codex's menu" or "Codex's logs", as the trace and `gaugely state` say it.
constexpr std::string_view sourceTitle(UsageSource source) {
    return source == UsageSource::codexLogs ? "Codex's logs" : "Codex's menu";
}

// The source of each plan's stored reading, kept beside the readings rather than inside them so
// the readings' format stays as it was. Stored as {"sources": {"<plan>": "<source>"}}; entries
// this version cannot read are kept as they were.
struct UsageSnapshotSources {
    std::map<CodexPlan, UsageSource> sources;
    Json preservedEntries = Json::object();

    // A reading without an entry was read from the menu: it predates the logs.
    UsageSource source(CodexPlan plan) const;
    void store(CodexPlan plan, UsageSource source);

    Json toJson() const;
    static std::optional<UsageSnapshotSources> fromJson(const Json& json);

    bool operator==(const UsageSnapshotSources&) const = default;
};

}  // namespace gaugely
