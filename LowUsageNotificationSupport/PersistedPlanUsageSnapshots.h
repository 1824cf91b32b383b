#pragma once

#include <map>
#include <optional>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"

namespace gaugely {

// The last valid reading of each plan, so switching plans never shows another plan's numbers and
// switching back restores the old ones. Stored as {"snapshots": {"<plan raw value>": record}}.
//
// An entry this version cannot read (a plan added by a newer version, or a damaged record) is kept
// verbatim in `preservedEntries` and written back unchanged. One bad entry therefore neither
// discards the readable plans nor gets erased when another plan's reading is saved.
struct PersistedPlanUsageSnapshots {
    std::map<CodexPlan, PersistedUsageSnapshot> snapshots;
    // Unreadable entries by their original key, in the order they were found.
    Json preservedEntries = Json::object();

    // The record stored under the plan's raw value, or none.
    std::optional<PersistedUsageSnapshot> snapshot(CodexPlan plan) const;

    // Replaces whatever is stored under the plan's raw value, readable or not.
    void store(CodexPlan plan, PersistedUsageSnapshot record);

    Json toJson() const;
    // None when the text is not an object whose "snapshots" is an object; entries are judged one by
    // one.
    static std::optional<PersistedPlanUsageSnapshots> fromJson(const Json& json);

    bool operator==(const PersistedPlanUsageSnapshots&) const = default;
};

}  // namespace gaugely
