// The reader's side of a refresh: accepting or refusing a request, the commit of a confirmed
// snapshot, and the bookkeeping when a run ends. The run itself, countdown included, is a
// RefreshRun.
#include <algorithm>

#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

void UsageReader::cancelRefreshForPlanChange() {
    if (activeRun_) {
        activeRun_->abandon();
    }
}

void UsageReader::keepAutomaticRefreshDue() {
    scheduler_.setAutomaticRefreshSchedule(env_.clock.now(), true);
}

void UsageReader::runEnded(std::optional<ReaderStatus> status) {
    lastCleanupResult_ = activeRun_->refreshCleanupResult();
    // The run is usually still on the stack: it goes once the queue has unwound.
    endedRuns_.push_back(std::move(activeRun_));
    // No run is in progress any more.
    notifyObservers();
    if (status) {
        setStatus(status);
    }
    afterRun_ = env_.mainQueue.async([this] {
        endedRuns_.clear();
        // A log reading that waited for the run lands now that the run has unwound, never
        // inside it.
        if (!activeRun_ && codexLogReadingsWaiting_) {
            commitCodexLogReadings();
        }
    });
}

RefreshCleanupResult UsageReader::refreshCleanupResult() const {
    return activeRun_ ? activeRun_->refreshCleanupResult() : lastCleanupResult_;
}

void UsageReader::beginReadCountdown(bool isAutomatic) {
    const RefreshRunKind kind = isAutomatic ? RefreshRunKind::automatic : RefreshRunKind::manual;
    if (updateRefreshGate_) {
        recordRejectedRefresh(kind,
                              RefreshRunOutcome::deferred("update installation is in progress"));
        return;
    }
    if (activeRun_) {
        recordRejectedRefresh(kind, RefreshRunOutcome::deferred("another refresh is in progress"));
        return;
    }
    if (!planSelectionState_.canStartUsageAutomation()) {
        setStatus(ReaderStatus::of(ReaderStatus::Kind::noPlanSelected));
        recordRejectedRefresh(kind, RefreshRunOutcome::failed("no Codex plan selected"));
        return;
    }
    if (!refreshPermission(true)) {
        setStatus(ReaderStatus::of(ReaderStatus::Kind::accessibilityPermissionRequired));
        if (isAutomatic) {
            scheduler_.setAutomaticRefreshSchedule(env_.clock.now(), true);
        }
        // An automatic request stays due, so it is only put off; a manual one has failed.
        recordRejectedRefresh(
            kind, isAutomatic ? RefreshRunOutcome::deferred("Accessibility permission unavailable")
                              : RefreshRunOutcome::failed("Accessibility permission unavailable"));
        return;
    }

    AccessibilityWorker& worker =
        env_.accessibilityWorker ? *env_.accessibilityWorker : inlineAccessibilityWorker_;
    activeRun_ = std::make_unique<RefreshRun>(
        static_cast<RefreshRunHost&>(*this),
        RefreshRunPorts{worker, env_.input, env_.workspace, env_.mainQueue, env_.clock, env_.log},
        search_, kind, elementLookupMode_, profileMenuMemory_);
    activeRun_->start();
    // A run is in progress.
    notifyObservers();
    activeRun_->proceed();
}

bool UsageReader::commitCompleteUsageSnapshot(const UsageSnapshot& snapshot) {
    if (!isCompleteUsageSnapshot(snapshot, currentSchema())) {
        return false;
    }
    const Date committedAt = env_.clock.now();
    // The history is not published on its own: it is recorded before the reading is, so
    // observers see the two together.
    std::map<QuotaWindow, double> remaining;
    for (const auto& [window, percent] : quotaPercentages(snapshot, currentSchema())) {
        remaining[window] = percent;
    }
    recordUsageHistory(remaining, {}, committedAt);
    publish(codexLogPassedResets_, std::map<QuotaWindow, Date>());
    publish(snapshot_, snapshot);
    publish(activeSnapshotPlan_, std::optional<CodexPlan>(codexPlan()));
    publish(lastUpdated_, std::optional<Date>(committedAt));
    planSynchronization_.markFreshSnapshotCommitted();
    setStatus(std::nullopt);
    storeSnapshotSource(UsageSource::codexMenu);
    snapshotCommitted(committedAt, UsageSource::codexMenu);
    return true;
}

std::string UsageReader::newTraceIdentifier() {
    std::string uuid = env_.makeUUID ? env_.makeUUID() : randomUUIDString();
    return uuid.substr(0, std::min<size_t>(8, uuid.size()));
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

}  // namespace gaugely
