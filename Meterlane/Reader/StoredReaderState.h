#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "LowUsageNotificationSupport/UsageSnapshotSources.h"
#include "Meterlane/Platform/StoredValue.h"
#include "Meterlane/Reader/ProfileMenuMemory.h"

namespace gaugely {

// The frequency as stored. Earlier versions offered twenty minutes: that reads as thirty (the
// nearest slower choice keeps the wish for infrequent refreshes), and `isEarlierForm` tells the
// reader to write the current form back.
struct StoredRefreshFrequency {
    Stored<RefreshFrequency> frequency;
    bool isEarlierForm = false;
};
[[nodiscard]] StoredRefreshFrequency readStoredRefreshFrequency(Preferences& defaults);

// Everything the reader keeps in the application's defaults, decoded the way the reader decodes it
// at launch and without writing anything: the reader restores from these same decoders, and
// `gaugely state` shows them.
struct StoredReaderState {
    Stored<CodexPlan> plan;
    Stored<bool> automaticRefreshEnabled;
    StoredRefreshFrequency refreshFrequency;
    Stored<MenuBarDisplay> menuBarDisplay;
    Stored<LowUsageAlertSettings> lowUsageAlertSettings;
    Stored<ResetNotificationSettings> resetNotificationSettings;
    Stored<PersistedPlanUsageSnapshots> planSnapshots;
    Stored<PersistedUsageSnapshot> legacySnapshot;
    Stored<Date> nextAutomaticRefreshDate;
    Stored<LowUsageThresholdState> lowUsageNotificationState;
    Stored<QuotaResetState> quotaResetNotificationState;
    Stored<bool> explicitPlanSelectionMigration;
    Stored<bool> readCodexLogsEnabled;
    Stored<std::string> codexLogsFolder;
    Stored<UsageSnapshotSources> snapshotSources;
    Stored<StoredProfileMenuLocation> profileMenuLocation;

    [[nodiscard]] static StoredReaderState read(Preferences& defaults);

    // No key of the reader's is stored.
    bool isEmpty() const;
    // The keys whose values cannot be read (the reader keeps its defaults for them).
    std::vector<std::string_view> unreadableKeys() const;
};

}  // namespace gaugely
