#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"

#include <array>
#include <utility>

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

std::string unvalidatedPlanMessage(CodexPlan plan) {
    std::string message(title(plan));
    message += " usage reading is not yet validated.";
    return message;
}

std::optional<std::string> userFacingStatusMessage(
    UsageStatusPriority priority, CodexPlan plan,
    const std::optional<std::string>& recoveryMessage) {
    switch (priority) {
        case UsageStatusPriority::normal:
        case UsageStatusPriority::noUsageData:
        case UsageStatusPriority::noSelectedPlan:
            return std::nullopt;
        case UsageStatusPriority::staleData:
            return std::string(staleDataStatusText);
        case UsageStatusPriority::refreshRecovery:
            return recoveryMessage;
        case UsageStatusPriority::activeRefresh:
            return std::string(activeRefreshStatusText);
        case UsageStatusPriority::accessibilityPermission:
            return std::string(accessibilityPermissionStatusText);
        case UsageStatusPriority::unsupportedPlan:
            return unvalidatedPlanMessage(plan);
    }
    return std::nullopt;
}

namespace {

enum class Recovery { openCodex, closeProfileMenu, waitForIdle, menuStateUnconfirmed, failed };

// First hit wins. "menu state could not be confirmed" must precede the generic "could not", and
// "profile menu" must catch every menu-related deferral before the generic deferral wording.
constexpr std::array<std::pair<std::string_view, Recovery>, 14> recoveryTable{{
    {"open codex", Recovery::openCodex},
    {"codex is not running", Recovery::openCodex},
    {"profile menu", Recovery::closeProfileMenu},
    {"usage remaining did not receive keyboard focus", Recovery::closeProfileMenu},
    {"deferred while you are active", Recovery::waitForIdle},
    {"input monitoring", Recovery::waitForIdle},
    {"no longer frontmost", Recovery::waitForIdle},
    {"return to codex", Recovery::waitForIdle},
    {"try again when codex is idle", Recovery::waitForIdle},
    {"menu state could not be confirmed", Recovery::menuStateUnconfirmed},
    {"refresh failed", Recovery::failed},
    {"could not", Recovery::failed},
    {"did not appear", Recovery::failed},
    {"did not expand", Recovery::failed},
}};

std::string recoveryText(Recovery recovery, bool hasValidValues) {
    switch (recovery) {
        case Recovery::openCodex:
            return "Open Codex to refresh usage";
        case Recovery::closeProfileMenu:
            return "Close the Codex profile menu and try Refresh again";
        case Recovery::waitForIdle:
            return "Refresh deferred \u2014 try again when Codex is idle";
        case Recovery::menuStateUnconfirmed:
            return "Usage refreshed \u2014 Codex menu state could not be confirmed";
        case Recovery::failed:
            return hasValidValues ? "Couldn't refresh Codex usage \u2014 showing last valid data"
                                  : "Couldn't read Codex usage \u2014 open Codex and try Refresh";
    }
    return {};
}

}  // namespace

std::optional<std::string> recoveryMessage(const std::optional<std::string>& message,
                                           bool hasValidValues) {
    if (!message) {
        return std::nullopt;
    }
    const std::string lowered = text::lowercased(*message);
    for (const auto& [needle, recovery] : recoveryTable) {
        if (text::contains(lowered, needle)) {
            return recoveryText(recovery, hasValidValues);
        }
    }
    return std::nullopt;
}

}  // namespace gaugely
