#pragma once

#include <string_view>

// The reader's keys in the application's user-defaults domain. A format change takes a new key
// rather than rewriting an old one.
namespace gaugely::defaultsKey {
inline constexpr std::string_view automaticRefreshEnabled = "automatic-refresh-enabled-v1";
inline constexpr std::string_view automaticRefreshFrequency = "automatic-refresh-frequency-v1";
inline constexpr std::string_view menuBarDisplay = "menu-bar-display-v1";
inline constexpr std::string_view codexPlan = "codex-plan-v1";
inline constexpr std::string_view explicitPlanSelectionMigration =
    "explicit-plan-selection-migration-v1";
inline constexpr std::string_view lowUsageAlertSettings = "low-usage-alert-settings-v1";
inline constexpr std::string_view resetNotificationSettings = "reset-notification-settings-v1";
inline constexpr std::string_view planSpecificUsageSnapshots = "plan-specific-usage-snapshots-v1";
inline constexpr std::string_view lastCompleteUsageSnapshot = "last-complete-usage-snapshot-v1";
inline constexpr std::string_view nextAutomaticRefreshDate = "next-automatic-refresh-date-v1";
inline constexpr std::string_view lowUsageNotificationState = "low-usage-notification-state-v1";
inline constexpr std::string_view quotaResetNotificationState = "quota-reset-notification-state-v1";
inline constexpr std::string_view readCodexLogsEnabled = "read-codex-logs-enabled-v1";
inline constexpr std::string_view codexLogsFolder = "codex-logs-folder-v1";
inline constexpr std::string_view usageSnapshotSources = "usage-snapshot-sources-v1";
// Kept only where the environment asks for it (a command that reads the logs once and exits).
inline constexpr std::string_view codexLogsProgress = "codex-logs-progress-v1";
inline constexpr std::string_view profileMenuLocation = "profile-menu-location-v1";
}  // namespace gaugely::defaultsKey
