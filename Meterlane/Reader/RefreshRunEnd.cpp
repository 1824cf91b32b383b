// How a refresh run ends: putting back the menu it opened (and only that one), the classification
// of its outcome, and the real-input guard that stops an automatic run the moment the user acts.
#include <algorithm>
#include <cmath>

#include "LowUsageNotificationSupport/RefreshRunGuard.h"
#include "Meterlane/Reader/RefreshRun.h"

namespace gaugely {

namespace {

constexpr double restorationWait = 0.05;
constexpr double requiredIdleSeconds = 10.0;

}  // namespace

void RefreshRun::restoreOwnedCodexMenuAfterRead(const std::optional<RunningApplication>& codex,
                                                std::optional<RefreshEndCause> cause,
                                                bool requiresUsageExpansion) {
    if (!uiState_.profileMenuOpenedByMonitor || !codex) {
        const auto leaveAsFound = [this, cause](bool menuOpen) {
            cleanupResult_ = menuOpen ? RefreshCleanupResult::preservedUserOwnedMenu
                                      : RefreshCleanupResult::notRequired;
            recordRefreshStage("cleanup required/not required", "not required");
            completeRefreshAfterRead(cause);
        };
        if (!codex) {
            leaveAsFound(false);
            return;
        }
        readTree(
            *codex,
            [](CodexTreeSearch& tree, const AXElement& application) {
                return static_cast<bool>(tree.profileMenuElement(application));
            },
            leaveAsFound);
        return;
    }
    recordRefreshStage("cleanup required/not required", "required for refresh-owned menu");
    // One Escape closes Codex's whole menu, expanded usage section included; the verification
    // below reports whatever is left.
    (void)requiresUsageExpansion;
    readTree(
        *codex,
        [mode = lookupMode_, opened = uiState_.openedMenu](CodexTreeSearch& tree,
                                                           const AXElement& application) {
            const AXElement menuNow =
                ProfileMenuLookup(tree, mode).profileMenu(application, opened);
            return menuNow && menuNow == opened;
        },
        [this, app = *codex, cause](bool menuStillOurs) {
            dismissOwnedMenu(app, cause, menuStillOurs);
        });
}

void RefreshRun::dismissOwnedMenu(const RunningApplication& codex,
                                  std::optional<RefreshEndCause> cause, bool menuStillOurs) {
    // Read here, at the step that sends the key: input that came while the look ran counts.
    const bool inputQuiet = !realInputMonitor_ || !realInputMonitor_->realInputDetected();
    const bool mayDismiss = RefreshRunGuard::mayDismiss(
        uiState_.profileMenuPresenceAtStart != RefreshMenuPresence::closed, true, menuStillOurs,
        search_.isCodexFrontmost(), inputQuiet);
    if (!mayDismiss) {
        cleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", rawValue(cleanupResult_));
        completeRefreshAfterRead(cause);
        return;
    }
    if (!sendSyntheticKeyPress(keycode::escape)) {
        recordRefreshStage("cleanup result", "Escape could not be sent");
        cleanupResult_ = RefreshCleanupResult::failed;
        completeRefreshAfterRead(cause);
        return;
    }
    scheduleAutomation(restorationWait,
                       [this, codex, cause] { verifyOwnedCodexMenuRestoration(codex, cause); });
}

void RefreshRun::verifyOwnedCodexMenuRestoration(const RunningApplication& codex,
                                                 std::optional<RefreshEndCause> cause) {
    // A complete walk: whether the menu really closed is not taken from what the run remembers.
    readTree(
        codex,
        [](CodexTreeSearch& tree, const AXElement& application) {
            return tree.profileMenuInspection(application).presence;
        },
        [this, cause](RefreshMenuPresence presence) { restorationVerified(cause, presence); });
}

void RefreshRun::restorationVerified(std::optional<RefreshEndCause> cause,
                                     RefreshMenuPresence presence) {
    if (presence == RefreshMenuPresence::closed) {
        cleanupResult_ = RefreshCleanupResult::closed;
        recordRefreshStage("cleanup result", rawValue(cleanupResult_));
        recordRefreshTiming("Profile menu confirmed closed");
        logCleanup("Refresh cleanup completed; owned Codex profile menu restored to closed state");
    } else if (presence == RefreshMenuPresence::open) {
        cleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", "owned menu remained visible");
        logCleanup("Refresh cleanup attempted; owned Codex profile menu remained visible");
    } else {
        cleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", rawValue(cleanupResult_));
        logCleanup("Refresh cleanup attempted; final menu state uncertain");
    }
    if (timing_.menuOpenedAt) {
        const double dwell = ports_.clock.monotonicSeconds() - *timing_.menuOpenedAt;
        logCleanup("Refresh menu dwell: " +
                   std::to_string(std::isfinite(dwell) ? static_cast<long>(dwell * 1000.0) : 0L) +
                   " ms");
    }
    completeRefreshAfterRead(cause);
}

void RefreshRun::completeRefreshAfterRead(std::optional<RefreshEndCause> cause) {
    if (cause) {
        finish(outcome(*cause), ReaderStatus::runEnded(*cause));
        return;
    }
    if (cleanupResult_ == RefreshCleanupResult::uncertain ||
        cleanupResult_ == RefreshCleanupResult::failed) {
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::menuStateUnconfirmed));
        finish(RefreshRunOutcome::cleanupUncertain(), std::nullopt);
        return;
    }
    finish(RefreshRunOutcome::committed(), std::nullopt);
}

// ---- The real-input guard ----

bool RefreshRun::sendSyntheticLeftClick(Point point) {
    for (const InputEventType type :
         {InputEventType::mouseMoved, InputEventType::leftMouseDown, InputEventType::leftMouseUp}) {
        if (!ports_.input.postMouseEvent(type, point, syntheticEventMarker)) {
            return false;
        }
    }
    return true;
}

bool RefreshRun::sendSyntheticKeyPress(uint16_t keyCode) {
    return ports_.input.postKeyPress(keyCode, syntheticEventMarker);
}

void RefreshRun::stopRealInputMonitor() {
    if (realInputMonitor_) {
        realInputMonitor_->stop();
        realInputMonitor_.reset();
    }
}

bool RefreshRun::beginRealInputMonitoringForSyntheticSequence() {
    stopRealInputMonitor();
    auto monitor = std::make_unique<RealInputMonitor>(ports_.input);
    const bool started = monitor->start();
    host_.inputMonitoringAvailable(started);
    if (started) {
        realInputMonitor_ = std::move(monitor);
        return true;
    }
    if (isAutomatic()) {
        deferAutomaticSyntheticInteraction(RefreshEndCause::automaticInputMonitoringUnavailable);
        return false;
    }
    // A manual run was asked for by the user at the keyboard: it goes on unguarded.
    return true;
}

bool RefreshRun::automaticRunStillWanted(bool settingsWindowCounts) {
    if (!host_.automaticRefreshIsOn()) {
        deferForAutomaticRefreshSwitchedOff();
        return false;
    }
    const bool inFront = search_.isCodexFrontmost() ||
                         (settingsWindowCounts && ports_.workspace.settingsWindowIsKey());
    if (!inFront) {
        deferAutomaticSyntheticInteraction(RefreshEndCause::automaticCodexNotFrontmost);
        return false;
    }
    return true;
}

bool RefreshRun::automaticCountdownMayContinue() {
    if (!isAutomatic()) {
        return true;
    }
    // The countdown may run while our own settings window is in front; typing may not.
    if (!automaticRunStillWanted(true)) {
        return false;
    }
    // Idle for the last ten seconds, and since the request: input that came while a job ran
    // counts, however long the job took.
    const double sinceRequest = ports_.clock.monotonicSeconds() - timing_.requestedAt;
    if (ports_.input.secondsSinceLastInputEvent() < std::max(requiredIdleSeconds, sinceRequest)) {
        deferAutomaticSyntheticInteraction(RefreshEndCause::automaticUserActive);
        return false;
    }
    return true;
}

bool RefreshRun::automaticSyntheticInputMayContinue() {
    if (!isAutomatic()) {
        return true;
    }
    if (!automaticRunStillWanted(false)) {
        return false;
    }
    if (!realInputMonitor_) {
        deferAutomaticSyntheticInteraction(RefreshEndCause::automaticInputMonitoringUnavailable);
        return false;
    }
    if (realInputMonitor_->realInputDetected()) {
        deferAutomaticSyntheticInteraction(RefreshEndCause::automaticUserActive);
        return false;
    }
    return true;
}

void RefreshRun::deferForAutomaticRefreshSwitchedOff() {
    recordRefreshStage("eligibility and safety evaluation", "automatic refresh was turned off");
    finish(outcome(RefreshEndCause::automaticRefreshTurnedOff), std::nullopt);
}

void RefreshRun::deferForUpdateInstallation() {
    recordRefreshStage(
        "eligibility and safety evaluation",
        "deferred: " + std::string(userVisibleText(RefreshEndCause::updateInstallationInProgress)));
    finish(outcome(RefreshEndCause::updateInstallationInProgress), std::nullopt);
}

void RefreshRun::deferAutomaticSyntheticInteraction(RefreshEndCause cause) {
    const std::string message(userVisibleText(cause));
    recordRefreshStage("eligibility and safety evaluation", "deferred: " + message);
    // Once the user is at the keyboard or Codex has left the front, not even Escape is sent: a
    // menu the run opened is left for the user.
    cleanupResult_ = uiState_.profileMenuOpenedByMonitor
                         ? RefreshCleanupResult::preservedUserOwnedMenu
                         : RefreshCleanupResult::notRequired;
    recordRefreshStage("cleanup result", rawValue(cleanupResult_));
    // The refresh stays due: the scheduler tries again at its next tick.
    host_.keepAutomaticRefreshDue();
    finish(outcome(cause), ReaderStatus::runEnded(cause));
}

}  // namespace gaugely
