// The refresh run: one reading of Codex's usage, from the request to the menu's clean-up. Every
// step is a main-queue work item; waits are scheduled polls, never sleeps.
#include <algorithm>
#include <cmath>

#include "LowUsageNotificationSupport/Text.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

namespace {

constexpr double activationWait = 0.4;
constexpr int countdownSeconds = 10;
constexpr double requiredIdleSeconds = 10.0;

}  // namespace

std::optional<double> UsageReader::pollDelay(int attempt) {
    if (attempt >= lastPollAttempt) {
        return std::nullopt;
    }
    if (attempt <= 2) {
        return 0.05;
    }
    if (attempt <= 6) {
        return 0.1;
    }
    return 0.25;
}

void UsageReader::scheduleAutomation(double after, std::function<void()> step) {
    const uint64_t generation = refreshRun_.generation;
    std::weak_ptr<UsageReader*> alive = alive_;
    pendingStep_ = env_.mainQueue.asyncAfter(after, [alive, generation, step = std::move(step)] {
        const auto reader = alive.lock();
        if (!reader || *reader == nullptr || !(*reader)->refreshRun_.accepts(generation)) {
            return;
        }
        (*reader)->search_.forgetReads();
        step();
    });
}

void UsageReader::scheduleCountdown(double after, uint64_t generation) {
    std::weak_ptr<UsageReader*> alive = alive_;
    const int second = static_cast<int>(after);
    countdownWorkItems_.push_back(env_.mainQueue.asyncAfter(after, [alive, generation, second] {
        const auto reader = alive.lock();
        if (!reader || *reader == nullptr) {
            return;
        }
        UsageReader& self = **reader;
        if (self.countdownGeneration_ != generation) {
            return;
        }
        self.search_.forgetReads();
        if (second >= countdownSeconds) {
            self.clickProfileControlDynamically();
            return;
        }
        if (!self.automaticCountdownMayContinue()) {
            return;
        }
        const int left = countdownSeconds - second;
        self.publish(self.countdown_, std::optional<int>(left));
        self.setStatusMessage("Inspecting account control in " + std::to_string(left) + "...");
    }));
}

void UsageReader::cancelPendingCountdownWorkItems() {
    ++countdownGeneration_;
    for (const auto& item : countdownWorkItems_) {
        item->cancel();
    }
    countdownWorkItems_.clear();
}

void UsageReader::cancelRefreshForPlanChange() {
    publish(countdown_, std::optional<int>());
    cancelPendingCountdownWorkItems();
    activeRefreshIsAutomatic_ = false;
    stopRealInputMonitor();
    clearRunState();
    publish(automationInProgress_, false);
}

void UsageReader::beginReadCountdown(bool isAutomatic) {
    const RefreshRunKind kind = isAutomatic ? RefreshRunKind::automatic : RefreshRunKind::manual;
    if (updateRefreshGate_) {
        recordRejectedRefresh(kind,
                              RefreshRunOutcome::deferred("update installation is in progress"));
        return;
    }
    if (automationInProgress_) {
        recordRejectedRefresh(kind, RefreshRunOutcome::deferred("another refresh is in progress"));
        return;
    }
    if (!planSelectionState_.canStartUsageAutomation()) {
        setStatusMessage("Choose your Codex plan in Settings before refreshing.");
        recordRejectedRefresh(kind, RefreshRunOutcome::failed("no Codex plan selected"));
        return;
    }
    if (!refreshPermission(true)) {
        setStatusMessage("Accessibility permission required");
        if (isAutomatic) {
            setAutomaticRefreshSchedule(env_.clock.now(), true);
        }
        // An automatic request stays due, so it is only put off; a manual one has failed.
        recordRejectedRefresh(
            kind, isAutomatic ? RefreshRunOutcome::deferred("Accessibility permission unavailable")
                              : RefreshRunOutcome::failed("Accessibility permission unavailable"));
        return;
    }

    cancelPendingCountdownWorkItems();
    refreshRun_.begin();
    activeRefreshIsAutomatic_ = isAutomatic;
    refreshCleanupResult_ = RefreshCleanupResult::notRequired;
    snapshotStability_ = {};
    search_.forgetReads();

    RefreshUIState uiState;
    uiState.host = search_.findCodexApplication();
    if (uiState.host) {
        uiState.profileMenuPresenceAtStart =
            search_.profileMenuInspection(applicationElement(*uiState.host)).presence;
    }
    refreshUIState_ = uiState;
    refreshTiming_ = RefreshTiming{env_.clock.monotonicSeconds(), std::nullopt};
    beginRefreshTrace(kind, uiState.profileMenuPresenceAtStart);
    recordRefreshTiming("refresh requested");
    publish(automationInProgress_, true);

    if (isAutomatic) {
        publish(countdown_, std::optional<int>(countdownSeconds));
        setStatusMessage("Inspecting account control in 10...");
        const uint64_t generation = countdownGeneration_;
        for (int second = 1; second <= countdownSeconds; ++second) {
            scheduleCountdown(second, generation);
        }
        env_.log.write(logSubsystem, automaticRefreshLogCategory, LogLevel::info,
                       "Automatic refresh countdown started");
        return;
    }
    setStatusMessage("Refreshing Codex usage...");
    clickProfileControlDynamically();
}

bool UsageReader::automaticCountdownMayContinue() {
    if (!activeRefreshIsAutomatic_) {
        return true;
    }
    if (!automaticRefreshEnabled_) {
        deferForAutomaticRefreshSwitchedOff();
        return false;
    }
    if (!search_.isCodexFrontmost() && !env_.workspace.settingsWindowIsKey()) {
        deferAutomaticSyntheticInteraction(
            "Automatic refresh deferred — Codex is no longer frontmost.");
        return false;
    }
    if (env_.input.secondsSinceLastInputEvent() < requiredIdleSeconds) {
        deferAutomaticSyntheticInteraction("Automatic refresh deferred while you are active.");
        return false;
    }
    return true;
}

void UsageReader::endRunThroughRestoration(const std::optional<RunningApplication>& codex,
                                           const std::string& message) {
    recordRefreshStage("read failure", message);
    restoreOwnedCodexMenuAfterRead(codex, message, false);
}

void UsageReader::clickProfileControlDynamically() {
    publish(countdown_, std::optional<int>());
    if (!automaticCountdownMayContinue()) {
        return;
    }
    if (!refreshPermission(false)) {
        endRunThroughRestoration(std::nullopt, "Accessibility permission is required.");
        return;
    }
    const std::optional<RunningApplication> codex = search_.findCodexApplication();
    publish(codexFound_, codex.has_value());
    if (!codex) {
        endRunThroughRestoration(std::nullopt, "Open Codex and try again.");
        return;
    }
    if (refreshUIState_) {
        refreshUIState_->host = codex;
    }
    setStatusMessage("Locating Codex profile control...");
    env_.workspace.activate(codex->processIdentifier, activateIgnoringOtherApps);
    scheduleAutomation(activationWait,
                       [this, app = *codex] { hitTestAndClickProfileControl(app); });
}

void UsageReader::hitTestAndClickProfileControl(const RunningApplication& codex) {
    if (!automaticCountdownMayContinue()) {
        return;
    }
    if (!search_.isCodexFrontmost()) {
        endRunThroughRestoration(codex, "Codex did not become active.");
        return;
    }
    recordRefreshStage("target app resolved");
    const AXElement application = applicationElement(codex);
    const RefreshMenuInspection inspection = search_.profileMenuInspection(application);
    recordRefreshStage("target menu inspection",
                       "presence " + std::string(rawValue(inspection.presence)) + "; traversal " +
                           std::string(rawValue(inspection.traversal)));
    if (inspection.traversal != RefreshTraversalResult::complete) {
        recordRefreshStage("read failure", "Accessibility traversal incomplete");
        endRunThroughRestoration(codex,
                                 "Refresh deferred — Codex profile menu state is uncertain.");
        return;
    }
    if (inspection.presence == RefreshMenuPresence::open) {
        // The user's own menu: read it if it already shows usage, never type into it.
        if (!beginRealInputMonitoringForSyntheticSequence()) {
            return;
        }
        if (search_.usageRemainingIsExpanded(application, currentSchema())) {
            recordRefreshTiming("Usage remaining already expanded");
            readStableUsage(codex, 0,
                            profileUsageReadStrategy(codexPlan()) ==
                                ProfileUsageReadStrategy::readDirectProfileUsagePercentage);
        } else {
            deferRefreshForOpenProfileMenu();
        }
        return;
    }
    // A run that could not tell at its start whether the user had a menu open never types, even
    // if the menu looks closed now: it cannot know the menu it would close is its own.
    const bool uncertainAtStart = refreshUIState_ && refreshUIState_->profileMenuPresenceAtStart ==
                                                         RefreshMenuPresence::uncertain;
    if (inspection.presence == RefreshMenuPresence::uncertain || uncertainAtStart) {
        endRunThroughRestoration(codex,
                                 "Refresh deferred — Codex profile menu state is uncertain.");
        return;
    }

    const AXElement control = search_.profileMenuControl(application);
    if (!control) {
        endRunThroughRestoration(codex, "Could not find the Codex profile control.");
        return;
    }
    recordRefreshStage("profile control found");

    const std::optional<Rect> controlFrame = search_.frame(control);
    if (!controlFrame || controlFrame->isEmpty()) {
        endRunThroughRestoration(codex,
                                 "Codex profile control has invalid bounds — click skipped.");
        return;
    }
    const Point point{controlFrame->origin.x + controlFrame->size.width * 0.5,
                      controlFrame->origin.y + controlFrame->size.height * 0.5};
    const AXElementAtPositionResult hit = env_.accessibility.elementAtPosition(application, point);
    bool accepted = false;
    if (hit.error == ax::success && hit.element) {
        if (search_.isSameOrDescendant(hit.element, control)) {
            accepted = true;
        } else if (const auto hitFrame = search_.frame(hit.element)) {
            // Something drawn inside the control (its icon, say) may take the hit.
            accepted = !hitFrame->isEmpty() && controlFrame->contains(*hitFrame) &&
                       hitFrame->contains(point) && controlFrame->contains(point);
        }
    }
    if (!accepted) {
        endRunThroughRestoration(codex, "Profile hit-test did not match — click skipped.");
        return;
    }

    if (!beginRealInputMonitoringForSyntheticSequence()) {
        return;
    }
    // A fresh look right before the click: the user may have opened the menu meanwhile.
    search_.forgetReads();
    if (!permitsToggle(search_.profileMenuInspection(application).presence)) {
        endRunThroughRestoration(codex, "Refresh deferred — Codex profile menu state changed.");
        return;
    }
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (!sendSyntheticLeftClick(point)) {
        endRunThroughRestoration(codex, "Could not create synthetic click — click skipped.");
        return;
    }
    recordRefreshStage("profile control open action attempted");
    recordRefreshTiming("Profile click issued");
    verifySyntheticClickProfileMenu(codex, 0);
}

void UsageReader::deferRefreshForOpenProfileMenu() {
    const std::string message = activeRefreshIsAutomatic_
                                    ? "Automatic refresh deferred — Codex profile menu is open."
                                    : "Refresh deferred — close Codex profile menu and try again.";
    refreshCleanupResult_ = RefreshCleanupResult::preservedUserOwnedMenu;
    finishRefreshTrace(RefreshRunOutcome::deferred(message));
    publish(countdown_, std::optional<int>());
    activeRefreshIsAutomatic_ = false;
    stopRealInputMonitor();
    clearRunState();
    publish(automationInProgress_, false);
    setStatusMessage(message);
}

void UsageReader::markProfileMenuOpenedByMonitor(const AXElement& menu) {
    if (refreshUIState_) {
        refreshUIState_->profileMenuOpenedByMonitor = true;
        refreshUIState_->openedMenu = menu;
    }
    if (refreshTiming_) {
        refreshTiming_->menuOpenedAt = env_.clock.monotonicSeconds();
    }
    recordRefreshStage("profile menu became readable");
}

void UsageReader::verifySyntheticClickProfileMenu(const RunningApplication& codex, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    const AXElement menu = search_.profileMenuElement(applicationElement(codex));
    if (menu) {
        markProfileMenuOpenedByMonitor(menu);
        recordRefreshTiming("Profile menu first detected as open");
        if (profileUsageReadStrategy(codexPlan()) ==
            ProfileUsageReadStrategy::readDirectProfileUsagePercentage) {
            readStableUsage(codex, 0, true);
        } else {
            beginUsageKeyboardFocusExperiment(codex, 0);
        }
        return;
    }
    if (const auto delay = pollDelay(attempt)) {
        scheduleAutomation(*delay, [this, codex, attempt] {
            verifySyntheticClickProfileMenu(codex, attempt + 1);
        });
        return;
    }
    endRunThroughRestoration(codex, "Profile menu did not appear after synthetic click.");
}

void UsageReader::beginUsageKeyboardFocusExperiment(const RunningApplication& codex, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    retryUsageKeyboardReadiness(codex, attempt);
}

void UsageReader::retryUsageKeyboardReadiness(const RunningApplication& codex, int attempt) {
    if (attempt > 0 && !automaticSyntheticInputMayContinue()) {
        return;
    }
    // The menu our click opened stays the same element while it is open; reading it directly
    // spares a walk of Codex's whole window on every poll.
    AXElement menu = refreshUIState_ ? refreshUIState_->openedMenu : AXElement();
    if (!menu) {
        menu = search_.profileMenuElement(applicationElement(codex));
    }
    const std::vector<AXElement> items = menu ? search_.menuItems(menu) : std::vector<AXElement>{};
    std::optional<size_t> usageIndex;
    if (!items.empty()) {
        recordRefreshTiming("Profile Accessibility menu structure available");
        for (size_t i = 0; i < items.size() && !usageIndex; ++i) {
            for (const std::string& line : search_.orderedMenuText(items[i])) {
                if (text::contains(text::lowercased(line), "usage remaining")) {
                    usageIndex = i;
                    break;
                }
            }
        }
    }
    if (!usageIndex) {
        if (const auto delay = pollDelay(attempt)) {
            scheduleAutomation(*delay, [this, codex, attempt] {
                retryUsageKeyboardReadiness(codex, attempt + 1);
            });
            return;
        }
        endRunThroughRestoration(codex,
                                 "Could not determine Usage remaining's live menu position.");
        return;
    }
    recordRefreshTiming("Usage remaining item discoverable");

    // Keyboard focus skips entries that take no room (separators); an entry whose size cannot be
    // read counts as such, unless no entry's size can be read at all.
    UsageFocusBaseline baseline{menu, items[*usageIndex], search_.frame(items[*usageIndex]), 0};
    std::vector<std::optional<Rect>> frames;
    for (size_t i = 0; i <= *usageIndex; ++i) {
        frames.push_back(i == *usageIndex ? baseline.itemFrame : search_.frame(items[i]));
    }
    const bool anySize = std::any_of(frames.begin(), frames.end(),
                                     [](const auto& frame) { return frame.has_value(); });
    for (size_t i = 0; i <= *usageIndex; ++i) {
        if (i == *usageIndex || !anySize || (frames[i] && frames[i]->size.height > 0)) {
            ++baseline.downPresses;
        }
    }

    for (int press = 0; press < baseline.downPresses; ++press) {
        if (!automaticSyntheticInputMayContinue()) {
            return;
        }
        if (!sendEscapeKey(keycode::downArrow)) {
            endRunThroughRestoration(codex, "Could not send keyboard focus events.");
            return;
        }
    }
    scheduleAutomation(pollDelay(0).value_or(0.05), [this, codex, baseline] {
        activateFocusedUsageItemWithReturn(codex, baseline, 0);
    });
}

void UsageReader::activateFocusedUsageItemWithReturn(const RunningApplication& codex,
                                                     const UsageFocusBaseline& baseline,
                                                     int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (search_.flagAttribute(baseline.item, ax::focused) == true) {
        recordRefreshTiming("Usage remaining item focused");
        if (!sendEscapeKey(keycode::returnKey)) {
            endRunThroughRestoration(codex, "Could not send the Return activation key.");
            return;
        }
        recordRefreshTiming("Return expansion action issued");
        scheduleAutomation(pollDelay(0).value_or(0.05), [this, codex, baseline] {
            verifyUsageKeyboardActivation(codex, baseline, 0);
        });
        return;
    }
    if (const auto delay = pollDelay(attempt)) {
        scheduleAutomation(*delay, [this, codex, baseline, attempt] {
            activateFocusedUsageItemWithReturn(codex, baseline, attempt + 1);
        });
        return;
    }
    endRunThroughRestoration(codex, "Usage remaining did not receive keyboard focus.");
}

void UsageReader::verifyUsageKeyboardActivation(const RunningApplication& codex,
                                                const UsageFocusBaseline& baseline, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (search_.usageRemainingIsExpanded(applicationElement(codex), currentSchema())) {
        recordRefreshTiming("Usage remaining expanded");
        readStableUsage(codex, 0, false);
        return;
    }
    if (const auto delay = pollDelay(attempt)) {
        scheduleAutomation(*delay, [this, codex, baseline, attempt] {
            verifyUsageKeyboardActivation(codex, baseline, attempt + 1);
        });
        return;
    }
    endRunThroughRestoration(codex, "Usage remaining did not expand after Return.");
}

std::optional<UsageSnapshot> UsageReader::usageSnapshotFromUsageRemainingMenu(
    const AXElement& menu) {
    if (!menu) {
        return std::nullopt;
    }
    return gaugely::usageSnapshotFromUsageRemainingMenu(codexPlan(), search_.orderedMenuText(menu));
}

std::optional<ProProfileUsageValues> UsageReader::proProfileUsageValues(const AXElement& menu) {
    std::vector<std::string> titles;
    for (const AXElement& item : search_.menuItems(menu)) {
        if (auto title = search_.title(item)) {
            titles.push_back(std::move(*title));
        }
    }
    return ProProfileUsageMenuParser::parse(titles, [&] {
        // The older layout keeps the value under a "Usage" item.
        const AXElement usageItem = search_.proUsageProfileMenuItem(menu);
        return search_.orderedMenuText(usageItem ? usageItem : menu);
    });
}

}  // namespace gaugely
