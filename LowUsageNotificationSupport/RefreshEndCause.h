#pragma once

#include <array>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"

namespace gaugely {

// Why a refresh run ended without committing: each cause knows the text the user sees (and the
// trace records) and whether the run was only put off or has failed. Behaviour follows the
// cause, never a search of its text.
enum class RefreshEndCause {
    accessibilityPermissionMissing,
    codexNotRunning,
    codexDidNotBecomeActive,
    menuStateUncertain,
    profileControlNotFound,
    profileControlInvalidBounds,
    profileHitTestMismatch,
    menuStateChanged,
    clickNotPosted,
    menuDidNotAppear,
    focusKeysNotSent,
    usagePositionUnknown,
    usageNotFocused,
    returnNotSent,
    usageNotExpanded,
    usageRowUnavailable,
    usageUnreadable,
    usageUnreadablePreviousDataKept,
    ambiguousUsageValue,
    automaticMenuOpen,
    manualMenuOpen,
    automaticCodexNotFrontmost,
    automaticUserActive,
    automaticInputMonitoringUnavailable,
    automaticRefreshTurnedOff,
    updateInstallationInProgress,
};

template <>
struct EnumTraits<RefreshEndCause> {
    static constexpr std::array<std::pair<RefreshEndCause, std::string_view>, 26> cases{{
        {RefreshEndCause::accessibilityPermissionMissing, "accessibilityPermissionMissing"},
        {RefreshEndCause::codexNotRunning, "codexNotRunning"},
        {RefreshEndCause::codexDidNotBecomeActive, "codexDidNotBecomeActive"},
        {RefreshEndCause::menuStateUncertain, "menuStateUncertain"},
        {RefreshEndCause::profileControlNotFound, "profileControlNotFound"},
        {RefreshEndCause::profileControlInvalidBounds, "profileControlInvalidBounds"},
        {RefreshEndCause::profileHitTestMismatch, "profileHitTestMismatch"},
        {RefreshEndCause::menuStateChanged, "menuStateChanged"},
        {RefreshEndCause::clickNotPosted, "clickNotPosted"},
        {RefreshEndCause::menuDidNotAppear, "menuDidNotAppear"},
        {RefreshEndCause::focusKeysNotSent, "focusKeysNotSent"},
        {RefreshEndCause::usagePositionUnknown, "usagePositionUnknown"},
        {RefreshEndCause::usageNotFocused, "usageNotFocused"},
        {RefreshEndCause::returnNotSent, "returnNotSent"},
        {RefreshEndCause::usageNotExpanded, "usageNotExpanded"},
        {RefreshEndCause::usageRowUnavailable, "usageRowUnavailable"},
        {RefreshEndCause::usageUnreadable, "usageUnreadable"},
        {RefreshEndCause::usageUnreadablePreviousDataKept, "usageUnreadablePreviousDataKept"},
        {RefreshEndCause::ambiguousUsageValue, "ambiguousUsageValue"},
        {RefreshEndCause::automaticMenuOpen, "automaticMenuOpen"},
        {RefreshEndCause::manualMenuOpen, "manualMenuOpen"},
        {RefreshEndCause::automaticCodexNotFrontmost, "automaticCodexNotFrontmost"},
        {RefreshEndCause::automaticUserActive, "automaticUserActive"},
        {RefreshEndCause::automaticInputMonitoringUnavailable,
         "automaticInputMonitoringUnavailable"},
        {RefreshEndCause::automaticRefreshTurnedOff, "automaticRefreshTurnedOff"},
        {RefreshEndCause::updateInstallationInProgress, "updateInstallationInProgress"},
    }};
};

// The text the user sees and the trace records.
std::string_view userVisibleText(RefreshEndCause cause);
// True when the run was only put off (it will be tried again), false when it failed.
bool isDeferral(RefreshEndCause cause);
// The run's outcome for this cause.
RefreshRunOutcome outcome(RefreshEndCause cause);

}  // namespace gaugely
