// A refresh run's way into Codex's menu: bringing Codex to the front, finding and clicking the
// profile control, and waiting for the menu the click opened.
#include "Meterlane/Reader/RefreshRun.h"

namespace gaugely {

namespace {

constexpr double activationWait = 0.4;

}  // namespace

void RefreshRun::clickProfileControlDynamically() {
    setCountdown(std::nullopt);
    if (!automaticCountdownMayContinue()) {
        return;
    }
    if (!host_.accessibilityIsTrusted()) {
        endThroughRestoration(std::nullopt, RefreshEndCause::accessibilityPermissionMissing);
        return;
    }
    const std::optional<RunningApplication> codex = search_.findCodexApplication();
    host_.setCodexFound(codex.has_value());
    if (!codex) {
        endThroughRestoration(std::nullopt, RefreshEndCause::codexNotRunning);
        return;
    }
    uiState_.host = codex;
    host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::locatingProfileControl));
    Workspace& workspace = ports_.workspace;
    // A refused request is not the end: the next step finds Codex still behind and says so.
    (void)workspace.activate(
        codex->processIdentifier,
        ApplicationActivationPolicy::style(workspace.operatingSystemMajorVersion()));
    scheduleAutomation(activationWait,
                       [this, app = *codex] { hitTestAndClickProfileControl(app); });
}

bool RefreshRun::clickTargetAccepted(CodexTreeSearch& search, const AXElement& application,
                                     const AXElement& control, const Rect& controlFrame,
                                     Point point) {
    const AXElementAtPositionResult hit = search.elementAtPosition(application, point);
    if (hit.error != ax::success || !hit.element) {
        return false;
    }
    if (search.isSameOrDescendant(hit.element, control)) {
        return true;
    }
    // Something drawn inside the control (its icon, say) may take the hit.
    const auto hitFrame = search.frame(hit.element);
    return hitFrame && !hitFrame->isEmpty() && controlFrame.contains(*hitFrame) &&
           hitFrame->contains(point) && controlFrame.contains(point);
}

RefreshRun::TargetLook RefreshRun::lookAtTarget(CodexTreeSearch& search,
                                                const AXElement& application, QuotaSchema schema,
                                                bool startUncertain, bool directProfile) {
    TargetLook look;
    look.inspection = search.profileMenuInspection(application);
    if (look.inspection.traversal != RefreshTraversalResult::complete) {
        return look;
    }
    if (look.inspection.presence == RefreshMenuPresence::open) {
        if (search.usageRemainingIsExpanded(application, schema)) {
            // The run never opened this menu; the modes look for it the same way.
            look.usage =
                lookAtUsage(search, application, ElementLookupMode::literal, {}, directProfile);
        }
        return look;
    }
    if (look.inspection.presence == RefreshMenuPresence::uncertain || startUncertain) {
        return look;
    }
    look.control = search.profileMenuControl(application);
    if (!look.control) {
        return look;
    }
    look.controlFrame = search.frame(look.control);
    if (!look.controlFrame || look.controlFrame->isEmpty()) {
        return look;
    }
    const Rect& frame = *look.controlFrame;
    look.point = {frame.origin.x + frame.size.width * 0.5,
                  frame.origin.y + frame.size.height * 0.5};
    look.hitAccepted = clickTargetAccepted(search, application, look.control, frame, look.point);
    return look;
}

void RefreshRun::hitTestAndClickProfileControl(const RunningApplication& codex) {
    if (!automaticCountdownMayContinue()) {
        return;
    }
    if (!search_.isCodexFrontmost()) {
        endThroughRestoration(codex, RefreshEndCause::codexDidNotBecomeActive);
        return;
    }
    recordRefreshStage("target app resolved");
    const bool startUncertain =
        uiState_.profileMenuPresenceAtStart == RefreshMenuPresence::uncertain;
    readTree(
        codex,
        [schema = schema(), startUncertain, direct = readsDirectProfileUsage()](
            CodexTreeSearch& tree, const AXElement& application) {
            return lookAtTarget(tree, application, schema, startUncertain, direct);
        },
        [this, codex](TargetLook look) { clickAfterTargetLook(codex, look); });
}

void RefreshRun::clickAfterTargetLook(const RunningApplication& codex, const TargetLook& look) {
    // The look took its time: the user may have come back to the keyboard meanwhile.
    if (!automaticCountdownMayContinue()) {
        return;
    }
    const RefreshMenuInspection& inspection = look.inspection;
    recordRefreshStage("target menu inspection",
                       "presence " + std::string(rawValue(inspection.presence)) + "; traversal " +
                           std::string(rawValue(inspection.traversal)));
    if (inspection.traversal != RefreshTraversalResult::complete) {
        recordRefreshStage("read failure", "Accessibility traversal incomplete");
        endThroughRestoration(codex, RefreshEndCause::menuStateUncertain);
        return;
    }
    if (inspection.presence == RefreshMenuPresence::open) {
        // The user's own menu: read it if it already shows usage, never type into it.
        if (!beginRealInputMonitoringForSyntheticSequence()) {
            return;
        }
        if (look.usage) {
            recordRefreshTiming("Usage remaining already expanded");
            readStableUsage(codex, 0, readsDirectProfileUsage(), look.usage);
        } else {
            deferRefreshForOpenProfileMenu();
        }
        return;
    }
    // A run that could not tell at its start whether the user had a menu open never types, even
    // if the menu looks closed now: it cannot know the menu it would close is its own.
    if (inspection.presence == RefreshMenuPresence::uncertain ||
        uiState_.profileMenuPresenceAtStart == RefreshMenuPresence::uncertain) {
        endThroughRestoration(codex, RefreshEndCause::menuStateUncertain);
        return;
    }
    if (!look.control) {
        endThroughRestoration(codex, RefreshEndCause::profileControlNotFound);
        return;
    }
    recordRefreshStage("profile control found");
    if (!look.controlFrame || look.controlFrame->isEmpty()) {
        endThroughRestoration(codex, RefreshEndCause::profileControlInvalidBounds);
        return;
    }
    if (!look.hitAccepted) {
        endThroughRestoration(codex, RefreshEndCause::profileHitTestMismatch);
        return;
    }
    profileControl_ = look.control;
    if (!beginRealInputMonitoringForSyntheticSequence()) {
        return;
    }
    // A fresh, complete look right before the click: the user may have opened the menu meanwhile.
    readTree(
        codex,
        [](CodexTreeSearch& tree, const AXElement& application) {
            return tree.profileMenuInspection(application).presence;
        },
        [this, codex, point = look.point](RefreshMenuPresence presence) {
            clickIfMenuStillClosed(codex, point, presence);
        });
}

void RefreshRun::clickIfMenuStillClosed(const RunningApplication& codex, Point point,
                                        RefreshMenuPresence presence) {
    if (!permitsToggle(presence)) {
        endThroughRestoration(codex, RefreshEndCause::menuStateChanged);
        return;
    }
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (!sendSyntheticLeftClick(point)) {
        endThroughRestoration(codex, RefreshEndCause::clickNotPosted);
        return;
    }
    recordRefreshStage("profile control open action attempted");
    recordRefreshTiming("Profile click issued");
    // The first look waits for the click to take effect: a whole walk started at once would run
    // while the menu opens behind it, and miss it.
    scheduleAutomation(pollDelay(0), [this, codex] { verifySyntheticClickProfileMenu(codex, 0); });
}

void RefreshRun::deferRefreshForOpenProfileMenu() {
    const RefreshEndCause cause =
        isAutomatic() ? RefreshEndCause::automaticMenuOpen : RefreshEndCause::manualMenuOpen;
    cleanupResult_ = RefreshCleanupResult::preservedUserOwnedMenu;
    finish(outcome(cause), ReaderStatus::runEnded(cause));
}

void RefreshRun::markProfileMenuOpenedByMonitor(const AXElement& menu) {
    uiState_.profileMenuOpenedByMonitor = true;
    uiState_.openedMenu = menu;
    timing_.menuOpenedAt = ports_.clock.monotonicSeconds();
    recordRefreshStage("profile menu became readable");
}

void RefreshRun::verifySyntheticClickProfileMenu(const RunningApplication& codex, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (waitIsOver(attempt, codex, RefreshEndCause::menuDidNotAppear)) {
        return;
    }
    readTree(
        codex,
        [mode = lookupMode_, known = profileMenuMemory_.way(codex), control = profileControl_,
         attempt,
         direct = readsDirectProfileUsage()](CodexTreeSearch& tree, const AXElement& application) {
            ProfileMenuLookup lookup(tree, mode, known);
            MenuLook look;
            look.menu = lookup.menuAfterClick(application, control, attempt, lastPollAttempt);
            if (!look.menu) {
                return look;
            }
            look.way = lookup.locate(application, look.menu);
            if (direct) {
                look.usage = lookAtUsage(tree, application, mode, look.menu, true);
            } else {
                look.focus = lookAtFocus(tree, application, mode, look.menu);
            }
            return look;
        },
        [this, codex, attempt](MenuLook look) { menuAfterClickFound(codex, look, attempt); });
}

void RefreshRun::menuAfterClickFound(const RunningApplication& codex, const MenuLook& look,
                                     int attempt) {
    if (!look.menu) {
        pollAgain(attempt,
                  [this, codex](int next) { verifySyntheticClickProfileMenu(codex, next); });
        return;
    }
    if (look.way) {
        profileMenuMemory_.learn(codex, look.way->handles, look.way->path);
    }
    markProfileMenuOpenedByMonitor(look.menu);
    recordRefreshTiming("Profile menu first detected as open");
    if (look.usage) {
        readStableUsage(codex, 0, true, look.usage);
    } else {
        beginUsageKeyboardFocusExperiment(codex, 0, look.focus);
    }
}

}  // namespace gaugely
