#include "Meterlane/Reader/UsageReader.h"

#include <algorithm>
#include <cmath>

namespace gaugely {

UsageReader::UsageReader(ReaderEnvironment environment)
    : env_(std::move(environment)),
      search_(env_.accessibility, env_.workspace),
      lowUsageNotificationState_(env_.preferences),
      quotaResetNotificationState_(env_.preferences),
      notificationDispatcher_(UsageNotificationDispatcher::create(
          env_.notificationCenter, env_.mainQueue,
          env_.makeUUID ? UUIDSource(env_.makeUUID) : UUIDSource(&randomUUIDString))),
      alive_(std::make_shared<UsageReader*>(this)) {
    restoreRefreshSettings();
    refreshPermission(false);
    codexFound_ = search_.findCodexApplication().has_value();
    restorePersistedSnapshots();
    migrateLegacyPlanSelectionIfNeeded();
    presentCachedSnapshot(codexPlan());
    restorePersistedAutomaticRefreshDate();
    startAutomaticRefresh();
    observeWorkspaceWake();
    observeApplicationActivation();
}

UsageReader::~UsageReader() {
    // Work items still on the queue hold only a weak reference and will find the reader gone.
    *alive_ = nullptr;
    for (const auto& item : countdownWorkItems_) {
        item->cancel();
    }
    if (pendingStep_) {
        pendingStep_->cancel();
    }
    if (automaticRefreshTimer_) {
        automaticRefreshTimer_->cancel();
    }
}

UsageReader::ObserverID UsageReader::addObserver(std::function<void()> handler) {
    const ObserverID id = nextObserverID_++;
    observers_.emplace_back(id, std::move(handler));
    return id;
}

void UsageReader::removeObserver(ObserverID id) {
    std::erase_if(observers_, [id](const auto& entry) { return entry.first == id; });
}

void UsageReader::notifyObservers() {
    // A copy, so an observer may add or remove observers while being told.
    const auto observers = observers_;
    for (const auto& [id, handler] : observers) {
        handler();
    }
}

void UsageReader::setStatusMessage(std::optional<std::string> message) {
    publish(statusMessage_, std::move(message));
}

bool UsageReader::refreshPermission(bool requestPrompt) {
    const bool trusted = env_.accessibility.isProcessTrusted(requestPrompt);
    publish(accessibilityGranted_, trusted);
    return trusted;
}

AXElement UsageReader::applicationElement(const RunningApplication& codex) {
    return env_.accessibility.applicationElement(codex.processIdentifier);
}

QuotaSchema UsageReader::currentSchema() const {
    return PlanQuotaConfiguration::configuration(codexPlan()).schema;
}

// ---- Synthetic input and the real-input guard ----

bool UsageReader::sendSyntheticLeftClick(Point point) {
    for (const InputEventType type :
         {InputEventType::mouseMoved, InputEventType::leftMouseDown, InputEventType::leftMouseUp}) {
        if (!env_.input.postMouseEvent(type, point, syntheticEventMarker)) {
            return false;
        }
    }
    return true;
}

bool UsageReader::sendEscapeKey(uint16_t keyCode) {
    return env_.input.postKeyPress(keyCode, syntheticEventMarker);
}

void UsageReader::stopRealInputMonitor() {
    if (realInputMonitor_) {
        realInputMonitor_->stop();
        realInputMonitor_.reset();
    }
}

bool UsageReader::beginRealInputMonitoringForSyntheticSequence() {
    stopRealInputMonitor();
    auto monitor = std::make_unique<RealInputMonitor>(env_.input);
    if (monitor->start()) {
        realInputMonitor_ = std::move(monitor);
        return true;
    }
    if (activeRefreshIsAutomatic_) {
        deferAutomaticSyntheticInteraction(
            "Automatic refresh deferred — input monitoring is unavailable.");
        return false;
    }
    // A manual run was asked for by the user at the keyboard: it goes on unguarded.
    return true;
}

void UsageReader::deferForAutomaticRefreshSwitchedOff() {
    recordRefreshStage("eligibility and safety evaluation", "automatic refresh was turned off");
    finishRefreshTrace(RefreshRunOutcome::deferred("Automatic Refresh was turned off"));
    stopAutomaticRefreshIfNeeded();
    clearRunState();
}

bool UsageReader::automaticSyntheticInputMayContinue() {
    if (!activeRefreshIsAutomatic_) {
        return true;
    }
    if (!automaticRefreshEnabled_) {
        deferForAutomaticRefreshSwitchedOff();
        return false;
    }
    if (!search_.isCodexFrontmost()) {
        deferAutomaticSyntheticInteraction(
            "Automatic refresh deferred — Codex is no longer frontmost.");
        return false;
    }
    if (!realInputMonitor_) {
        deferAutomaticSyntheticInteraction(
            "Automatic refresh deferred — input monitoring is unavailable.");
        return false;
    }
    if (realInputMonitor_->realInputDetected()) {
        deferAutomaticSyntheticInteraction("Automatic refresh deferred while you are active.");
        return false;
    }
    return true;
}

void UsageReader::deferAutomaticSyntheticInteraction(const std::string& message) {
    recordRefreshStage("eligibility and safety evaluation", "deferred: " + message);
    // Once the user is at the keyboard or Codex has left the front, not even Escape is sent: a
    // menu the run opened is left for the user.
    refreshCleanupResult_ = refreshUIState_ && refreshUIState_->profileMenuOpenedByMonitor
                                ? RefreshCleanupResult::preservedUserOwnedMenu
                                : RefreshCleanupResult::notRequired;
    recordRefreshStage("cleanup result", rawValue(refreshCleanupResult_));
    finishRefreshTrace(RefreshRunOutcome::deferred(message));
    publish(countdown_, std::optional<int>());
    cancelPendingCountdownWorkItems();
    activeRefreshIsAutomatic_ = false;
    setAutomaticRefreshSchedule(env_.clock.now(), true);
    stopRealInputMonitor();
    clearRunState();
    publish(automationInProgress_, false);
    setStatusMessage(message);
}

// ---- Trace ----

std::string UsageReader::newTraceIdentifier() {
    std::string uuid = env_.makeUUID ? env_.makeUUID() : randomUUIDString();
    return uuid.substr(0, std::min<size_t>(8, uuid.size()));
}

long UsageReader::elapsedMilliseconds() const {
    if (!refreshTrace_) {
        return 0;
    }
    const double interval = env_.clock.monotonicSeconds() - refreshTrace_->requestedAt;
    return std::isfinite(interval) ? static_cast<long>(interval * 1000.0) : 0;
}

void UsageReader::beginRefreshTrace(RefreshRunKind kind, RefreshMenuPresence initialMenu) {
    refreshTrace_ = RefreshTrace{newTraceIdentifier(), kind, env_.clock.monotonicSeconds(), {}};
    recordRefreshStage("refresh requested");
    recordRefreshStage("eligibility and safety evaluation passed",
                       "menu presence: " + std::string(rawValue(initialMenu)));
}

void UsageReader::recordRefreshStage(std::string_view stage,
                                     std::optional<std::string_view> detail) {
    if (!refreshTrace_) {
        return;
    }
    std::string entry(stage);
    if (detail) {
        entry += " — ";
        entry += *detail;
    }
    // A polling step passes the same stage on every attempt; the trail keeps the first of each,
    // so it stays one screen long and a new detail still shows.
    auto& recorded = refreshTrace_->recordedStages;
    if (std::find(recorded.begin(), recorded.end(), entry) != recorded.end()) {
        return;
    }
    env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                   "Refresh [" + refreshTrace_->identifier + "] " +
                       std::string(rawValue(refreshTrace_->kind)) + ": " + entry + " at " +
                       std::to_string(elapsedMilliseconds()) + " ms");
    recorded.push_back(std::move(entry));
}

void UsageReader::recordRefreshTiming(std::string_view mark) {
    if (!refreshTrace_) {
        return;
    }
    env_.log.write(logSubsystem, refreshLogCategory, LogLevel::debug,
                   "Refresh timing: " + std::string(mark) + " at " +
                       std::to_string(elapsedMilliseconds()) + " ms");
}

void UsageReader::finishRefreshTrace(const RefreshRunOutcome& outcome) {
    if (refreshTrace_) {
        env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                       "Refresh [" + refreshTrace_->identifier + "] " +
                           std::string(rawValue(refreshTrace_->kind)) + ": final outcome " +
                           outcome.logText(refreshCleanupResult_) + " at " +
                           std::to_string(elapsedMilliseconds()) + " ms");
    }
    publish(lastRefreshOutcome_, std::optional<RefreshRunOutcome>(outcome));
    refreshTrace_.reset();
}

void UsageReader::recordRejectedRefresh(RefreshRunKind kind, const RefreshRunOutcome& outcome) {
    publish(lastRefreshOutcome_, std::optional<RefreshRunOutcome>(outcome));
    const bool valid = outcome.kind == RefreshRunOutcome::Kind::deferred ||
                       outcome.kind == RefreshRunOutcome::Kind::failed;
    env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                   "Refresh [" + newTraceIdentifier() + "] " + std::string(rawValue(kind)) +
                       ": refresh requested; final outcome " +
                       (valid ? outcome.logText(RefreshCleanupResult::notRequired)
                              : std::string("invalid rejected outcome")));
}

void UsageReader::clearRunState() {
    refreshUIState_.reset();
    refreshTiming_.reset();
    refreshTrace_.reset();
    if (pendingStep_) {
        pendingStep_->cancel();
        pendingStep_.reset();
    }
    refreshRun_.end();
}

}  // namespace gaugely
