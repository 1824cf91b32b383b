#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/UsageStatusPriority.h"

namespace gaugely {

inline constexpr std::string_view staleDataStatusText = "Data may be outdated";
inline constexpr std::string_view activeRefreshStatusText = "Refreshing Codex usage...";
inline constexpr std::string_view accessibilityPermissionStatusText =
    "Accessibility permission required";

// "<plan title> usage reading is not yet validated."
std::string unvalidatedPlanMessage(CodexPlan plan);

// Decides the one status line the popover and the menu show.
struct UsageStatusPresentationPolicy {
    // The most important concern, checked from the top down: what blocks reading at all outranks
    // what happens during a run, which outranks hints about data already shown.
    static constexpr UsageStatusPriority highestPriority(
        bool hasExplicitPlanSelection, QuotaReaderSupport readerSupport, bool accessibilityGranted,
        bool hasValidSnapshot, bool isRefreshInProgress, bool hasRecoveryMessage, bool isStale) {
        if (!hasExplicitPlanSelection) {
            return UsageStatusPriority::noSelectedPlan;
        }
        if (readerSupport != QuotaReaderSupport::validated) {
            return UsageStatusPriority::unsupportedPlan;
        }
        if (!accessibilityGranted) {
            return UsageStatusPriority::accessibilityPermission;
        }
        if (!hasValidSnapshot) {
            return UsageStatusPriority::noUsageData;
        }
        if (isRefreshInProgress) {
            return UsageStatusPriority::activeRefresh;
        }
        if (hasRecoveryMessage) {
            return UsageStatusPriority::refreshRecovery;
        }
        if (isStale) {
            return UsageStatusPriority::staleData;
        }
        return UsageStatusPriority::normal;
    }
};

// The status line for a priority. No usage data and no selected plan give none: the popover shows
// its own empty state or plan chooser for them instead.
std::optional<std::string> userFacingStatusMessage(
    UsageStatusPriority priority, CodexPlan plan,
    const std::optional<std::string>& recoveryMessage);

// Turns a raw run or deferral message into a short hint the user can act on; a message that is
// not recognised gives none, so internal wording never reaches the screen.
std::optional<std::string> recoveryMessage(const std::optional<std::string>& message,
                                           bool hasValidValues);

}  // namespace gaugely
