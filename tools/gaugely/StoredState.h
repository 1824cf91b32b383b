#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "Meterlane/Platform/Preferences.h"

namespace gaugely::tool {

// One stored value as found: absent, present but not readable by this version, or its value.
template <class T>
struct Stored {
    std::optional<T> value;
    bool unreadable = false;

    bool isAbsent() const { return !value && !unreadable; }
};

// Everything the reader keeps in its defaults, read as the reader would read it but without the
// reader, so nothing is migrated, rescheduled or written back.
struct StoredState {
    Stored<CodexPlan> plan;
    Stored<bool> automaticRefreshEnabled;
    Stored<RefreshFrequency> refreshFrequency;
    Stored<MenuBarDisplay> menuBarDisplay;
    Stored<LowUsageAlertSettings> lowUsageAlertSettings;
    Stored<ResetNotificationSettings> resetNotificationSettings;
    Stored<PersistedPlanUsageSnapshots> planSnapshots;
    Stored<PersistedUsageSnapshot> legacySnapshot;
    Stored<Date> nextAutomaticRefreshDate;
    Stored<LowUsageThresholdState> lowUsageNotificationState;
    Stored<QuotaResetState> quotaResetNotificationState;
    Stored<bool> explicitPlanSelectionMigration;

    static StoredState read(Preferences& defaults);

    // No key of the reader's is stored.
    bool isEmpty() const;
    // The keys whose values could not be read (the reader keeps its defaults for them).
    std::vector<std::string_view> unreadableKeys() const;
};

// "2026-11-21 10:00:03 CET": a date and time in the local time zone.
std::string localDateTimeText(Date date);

// "5h 72% (reset 3:45 PM) · Weekly 40% (reset Sep 12)": the windows the plan shows.
std::string snapshotText(const UsageSnapshot& snapshot, CodexPlan plan);

// One line on what a launch finds in the store, for `gaugely simulate`: "Nothing saved in FILE
// yet: starting fresh." or "Restored from FILE: plan Plus; ...".
std::string restoredStateLine(const StoredState& state, std::string_view file, Date now);

}  // namespace gaugely::tool
