#pragma once

namespace gaugely {

// Whether the first-run Accessibility guidance may be shown: only to an untrusted process, and
// once per run of the program (it is never persisted, so it may come again after a restart).
struct AccessibilityPermissionGuidanceState {
    bool isTrusted = false;
    bool wasDismissedThisSession = false;

    constexpr bool isGuidanceEligible() const { return !isTrusted && !wasDismissedThisSession; }
    constexpr bool canStartAccessibilityAutomation() const { return isTrusted; }

    constexpr void updateTrust(bool trusted) { isTrusted = trusted; }
    constexpr void dismissForCurrentSession() { wasDismissedThisSession = true; }

    constexpr bool operator==(const AccessibilityPermissionGuidanceState&) const = default;
};

// Permission granted in System Settings reaches a running app only when it asks again.
struct AccessibilityPermissionRecoveryPolicy {
    static constexpr bool shouldScheduleDelayedRecheck(bool initialTrust) { return !initialTrust; }
};

}  // namespace gaugely
