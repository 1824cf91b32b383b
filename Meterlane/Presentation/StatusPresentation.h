#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/ReaderStatus.h"
#include "LowUsageNotificationSupport/UsageStatusPriority.h"

namespace gaugely {

class UsageReader;

// The words of the reader's status, the hint the user can act on, and the one status line the
// popover and the menu show. Everything here is derived from the typed status; no decision is
// taken by reading a text.

inline constexpr std::string_view staleDataStatusText = "Data may be outdated";
inline constexpr std::string_view activeRefreshStatusText = "Refreshing Codex usage...";
inline constexpr std::string_view accessibilityPermissionStatusText =
    "Accessibility permission required";

// "<plan title> usage reading is not yet validated."
std::string unvalidatedPlanMessage(CodexPlan plan);

// The status as the run or the scheduler says it ("Inspecting account control in 7...").
std::string statusText(const ReaderStatus& status);
std::optional<std::string> statusText(const std::optional<ReaderStatus>& status);

// A short hint the user can act on; none for a status that needs none, which is then not shown.
std::optional<std::string> recoveryMessage(const std::optional<ReaderStatus>& status,
                                           bool hasValidValues);

// The status line for a priority. No usage data and no selected plan give none: the popover shows
// its own empty state or plan chooser for them instead.
std::optional<std::string> userFacingStatusMessage(
    UsageStatusPriority priority, CodexPlan plan,
    const std::optional<std::string>& recoveryMessage);

// The one status line of the popover and the menu for the reader as it stands.
std::optional<std::string> userFacingStatusMessage(const UsageReader& reader);

}  // namespace gaugely
