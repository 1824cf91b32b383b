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
    afterRun_ = runQueue_.async([this] {
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
    if (!acceptRefreshRequest(kind)) {
        return;
    }
    {
        // Told on its own: a run that ends at its first step has still been seen to begin.
        auto changes = changeSet();
        AccessibilityWorker& worker =
            env_.accessibilityWorker ? *env_.accessibilityWorker : inlineAccessibilityWorker_;
        activeRun_ = std::make_unique<RefreshRun>(
            static_cast<RefreshRunHost&>(*this),
            RefreshRunPorts{worker, env_.input, env_.workspace, runQueue_, env_.clock, env_.log},
            search_, kind, elementLookupMode_, profileMenuMemory_);
        activeRun_->start();
        // A run is in progress.
        notifyObservers();
    }
    auto changes = changeSet();
    activeRun_->proceed();
}

bool UsageReader::acceptRefreshRequest(RefreshRunKind kind) {
    const bool isAutomatic = kind == RefreshRunKind::automatic;
    auto changes = changeSet();
    if (updateRefreshGate_) {
        recordRejectedRefresh(kind,
                              RefreshRunOutcome::deferred("update installation is in progress"));
        return false;
    }
    if (activeRun_) {
        recordRejectedRefresh(kind, RefreshRunOutcome::deferred("another refresh is in progress"));
        return false;
    }
    if (!planSelectionState().canStartUsageAutomation()) {
        setStatus(ReaderStatus::of(ReaderStatus::Kind::noPlanSelected));
        recordRejectedRefresh(kind, RefreshRunOutcome::failed("no Codex plan selected"));
        return false;
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
        return false;
    }
    return true;
}

bool UsageReader::commitReading(const UsageSnapshot& snapshot) {
    auto changes = changeSet();
    if (!ledger_.commit(UsageReading::fromMenu(codexPlan(), snapshot), UsageSource::codexMenu,
                        env_.clock.now())) {
        return false;
    }
    setStatus(std::nullopt);
    return true;
}

void UsageReader::readingCommitted(const UsageReading& reading, UsageSource source, Date at) {
    if (source == UsageSource::codexMenu) {
        scheduler_.scheduleNextAutomaticRefresh(at);
        return;
    }
    // A log reading leaves the deadline alone: when it comes due, the scheduler skips it while
    // the logs are current.
    env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                   "Reading of " + formattedLogTime(at) + " from " +
                       std::string(sourceTitle(source)) + " validated and committed for " +
                       std::string(rawValue(reading.plan)));
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
