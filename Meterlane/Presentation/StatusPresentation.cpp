#include "Meterlane/Presentation/StatusPresentation.h"

#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

namespace {

using Kind = ReaderStatus::Kind;

enum class Recovery {
    none,
    openCodex,
    closeProfileMenu,
    waitForIdle,
    menuStateUnconfirmed,
    failed
};

Recovery recovery(RefreshEndCause cause) {
    switch (cause) {
        case RefreshEndCause::codexNotRunning:
            return Recovery::openCodex;
        case RefreshEndCause::menuStateUncertain:
        case RefreshEndCause::menuStateChanged:
        case RefreshEndCause::menuDidNotAppear:
        case RefreshEndCause::usageNotFocused:
        case RefreshEndCause::automaticMenuOpen:
        case RefreshEndCause::manualMenuOpen:
            return Recovery::closeProfileMenu;
        case RefreshEndCause::automaticCodexNotFrontmost:
        case RefreshEndCause::automaticUserActive:
        case RefreshEndCause::automaticInputMonitoringUnavailable:
            return Recovery::waitForIdle;
        case RefreshEndCause::profileControlNotFound:
        case RefreshEndCause::clickNotPosted:
        case RefreshEndCause::focusKeysNotSent:
        case RefreshEndCause::usagePositionUnknown:
        case RefreshEndCause::returnNotSent:
        case RefreshEndCause::usageNotExpanded:
        case RefreshEndCause::usageRowUnavailable:
        case RefreshEndCause::usageUnreadable:
        case RefreshEndCause::usageUnreadablePreviousDataKept:
            return Recovery::failed;
        // These say nothing the user could act on, so they are not shown.
        case RefreshEndCause::accessibilityPermissionMissing:
        case RefreshEndCause::codexDidNotBecomeActive:
        case RefreshEndCause::profileControlInvalidBounds:
        case RefreshEndCause::profileHitTestMismatch:
        case RefreshEndCause::ambiguousUsageValue:
        case RefreshEndCause::automaticRefreshTurnedOff:
        case RefreshEndCause::updateInstallationInProgress:
            return Recovery::none;
    }
    return Recovery::none;
}

Recovery recovery(const ReaderStatus& status) {
    switch (status.kind) {
        case Kind::runEnded:
            return status.endCause ? recovery(*status.endCause) : Recovery::none;
        case Kind::menuStateUnconfirmed:
            return Recovery::menuStateUnconfirmed;
        case Kind::codexNotRunning:
            return Recovery::openCodex;
        case Kind::codexNotInFront:
        case Kind::userActive:
            return Recovery::waitForIdle;
        // A run under way and a refused request have the status line of their own.
        case Kind::countingDown:
        case Kind::refreshing:
        case Kind::locatingProfileControl:
        case Kind::noPlanSelected:
        case Kind::accessibilityPermissionRequired:
            return Recovery::none;
    }
    return Recovery::none;
}

}  // namespace

std::string unvalidatedPlanMessage(CodexPlan plan) {
    std::string message(title(plan));
    message += " usage reading is not yet validated.";
    return message;
}

std::string statusText(const ReaderStatus& status) {
    switch (status.kind) {
        case Kind::countingDown:
            return "Inspecting account control in " + std::to_string(status.secondsLeft) + "...";
        case Kind::refreshing:
            return std::string(activeRefreshStatusText);
        case Kind::locatingProfileControl:
            return "Locating Codex profile control...";
        case Kind::noPlanSelected:
            return "Choose your Codex plan in Settings before refreshing.";
        case Kind::accessibilityPermissionRequired:
            return std::string(accessibilityPermissionStatusText);
        case Kind::runEnded:
            return status.endCause ? std::string(userVisibleText(*status.endCause)) : std::string();
        case Kind::menuStateUnconfirmed:
            return "Usage refreshed \u2014 Codex menu state could not be confirmed.";
        case Kind::codexNotRunning:
            return "Open Codex to refresh usage";
        case Kind::codexNotInFront:
            return "Refresh deferred \u2014 return to Codex when idle";
        case Kind::userActive:
            return "Refresh deferred \u2014 try again when Codex is idle";
    }
    return {};
}

std::optional<std::string> statusText(const std::optional<ReaderStatus>& status) {
    return status ? std::optional<std::string>(statusText(*status)) : std::nullopt;
}

std::optional<std::string> recoveryMessage(const std::optional<ReaderStatus>& status,
                                           bool hasValidValues) {
    switch (status ? recovery(*status) : Recovery::none) {
        case Recovery::none:
            return std::nullopt;
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
    return std::nullopt;
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

std::optional<std::string> userFacingStatusMessage(const UsageReader& reader) {
    const std::optional<std::string> recovery =
        recoveryMessage(reader.status(), reader.hasValidValues());
    const UsageStatusPriority priority = UsageStatusPresentationPolicy::highestPriority(
        reader.hasExplicitPlanSelection(), QuotaReaderSupport::validated,
        reader.accessibilityGranted(), reader.currentDisplayLastUpdated().has_value(),
        reader.automationInProgress(), recovery.has_value(), reader.currentSnapshotMayBeStale());
    return userFacingStatusMessage(priority, reader.codexPlan(), recovery);
}

}  // namespace gaugely
