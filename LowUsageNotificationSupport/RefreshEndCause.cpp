#include "LowUsageNotificationSupport/RefreshEndCause.h"

#include <string>

namespace gaugely {

namespace {

struct CauseFacts {
    std::string_view text;
    bool deferral;
};

CauseFacts facts(RefreshEndCause cause) {
    switch (cause) {
        case RefreshEndCause::accessibilityPermissionMissing:
            return {"Accessibility permission is required.", false};
        case RefreshEndCause::codexNotRunning:
            return {"Open Codex and try again.", false};
        case RefreshEndCause::codexDidNotBecomeActive:
            return {"Codex did not become active.", false};
        case RefreshEndCause::menuStateUncertain:
            return {"Refresh deferred — Codex profile menu state is uncertain.", true};
        case RefreshEndCause::profileControlNotFound:
            return {"Could not find the Codex profile control.", false};
        case RefreshEndCause::profileControlInvalidBounds:
            return {"Codex profile control has invalid bounds — click skipped.", false};
        case RefreshEndCause::profileHitTestMismatch:
            return {"Profile hit-test did not match — click skipped.", false};
        case RefreshEndCause::menuStateChanged:
            return {"Refresh deferred — Codex profile menu state changed.", true};
        case RefreshEndCause::clickNotPosted:
            return {"Could not create synthetic click — click skipped.", false};
        case RefreshEndCause::menuDidNotAppear:
            return {"Profile menu did not appear after synthetic click.", false};
        case RefreshEndCause::focusKeysNotSent:
            return {"Could not send keyboard focus events.", false};
        case RefreshEndCause::usagePositionUnknown:
            return {"Could not determine Usage remaining's live menu position.", false};
        case RefreshEndCause::usageNotFocused:
            return {"Usage remaining did not receive keyboard focus.", false};
        case RefreshEndCause::returnNotSent:
            return {"Could not send the Return activation key.", false};
        case RefreshEndCause::usageNotExpanded:
            return {"Usage remaining did not expand after Return.", false};
        case RefreshEndCause::usageRowUnavailable:
            return {"Refresh failed — Codex Usage row was not available.", false};
        case RefreshEndCause::usageUnreadable:
            return {"Refresh failed — usage could not be read.", false};
        case RefreshEndCause::usageUnreadablePreviousDataKept:
            return {"Refresh failed — previous data kept", false};
        case RefreshEndCause::ambiguousUsageValue:
            return {"no unambiguous supported usage value", false};
        case RefreshEndCause::automaticMenuOpen:
            return {"Automatic refresh deferred — Codex profile menu is open.", true};
        case RefreshEndCause::manualMenuOpen:
            return {"Refresh deferred — close Codex profile menu and try again.", true};
        case RefreshEndCause::automaticCodexNotFrontmost:
            return {"Automatic refresh deferred — Codex is no longer frontmost.", true};
        case RefreshEndCause::automaticUserActive:
            return {"Automatic refresh deferred while you are active.", true};
        case RefreshEndCause::automaticInputMonitoringUnavailable:
            return {"Automatic refresh deferred — input monitoring is unavailable.", true};
        case RefreshEndCause::automaticRefreshTurnedOff:
            return {"Automatic Refresh was turned off", true};
        case RefreshEndCause::updateInstallationInProgress:
            return {"update installation is in progress", true};
    }
    return {{}, false};
}

}  // namespace

std::string_view userVisibleText(RefreshEndCause cause) {
    return facts(cause).text;
}

bool isDeferral(RefreshEndCause cause) {
    return facts(cause).deferral;
}

RefreshRunOutcome outcome(RefreshEndCause cause) {
    const std::string text(userVisibleText(cause));
    return isDeferral(cause) ? RefreshRunOutcome::deferred(text) : RefreshRunOutcome::failed(text);
}

}  // namespace gaugely
