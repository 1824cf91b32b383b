// The reader's side of a refresh: accepting or refusing a request, the automatic countdown, the
// commit of a confirmed snapshot, and the bookkeeping when a run ends. The run itself is a
// RefreshRun.
#include <algorithm>

#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

namespace {

constexpr int countdownSeconds = 10;

}  // namespace

void UsageReader::scheduleCountdown(double after, uint64_t generation) {
    std::weak_ptr<UsageReader*> alive = alive_;
    const int second = static_cast<int>(after);
    countdownWorkItems_.push_back(env_.mainQueue.asyncAfter(after, [alive, generation, second] {
        const auto reader = alive.lock();
        if (!reader || *reader == nullptr) {
            return;
        }
        UsageReader& self = **reader;
        if (self.countdownGeneration_ != generation || !self.activeRun_) {
            return;
        }
        self.search_.forgetReads();
        RefreshRun& run = *self.activeRun_;
        if (second >= countdownSeconds) {
            run.clickProfileControlDynamically();
            return;
        }
        if (!run.automaticCountdownMayContinue()) {
            return;
        }
        const int left = countdownSeconds - second;
        self.publish(self.countdown_, std::optional<int>(left));
        self.setStatusMessage("Inspecting account control in " + std::to_string(left) + "...");
    }));
}

void UsageReader::cancelPendingCountdownWorkItems() {
    ++countdownGeneration_;
    countdownWorkItems_.clear();
}

void UsageReader::cancelRefreshForPlanChange() {
    if (activeRun_) {
        activeRun_->abandon();
        return;
    }
    publish(countdown_, std::optional<int>());
    cancelPendingCountdownWorkItems();
}

void UsageReader::refreshRunEnded(std::optional<std::string> statusMessage) {
    publish(countdown_, std::optional<int>());
    cancelPendingCountdownWorkItems();
    refreshRun_.end();
    // The run is usually still on the stack: it is destroyed when the next one begins.
    endedRun_ = std::move(activeRun_);
    publish(automationInProgress_, false);
    if (statusMessage) {
        setStatusMessage(std::move(statusMessage));
    }
    if (codexLogReadingsWaiting_) {
        // After the run has unwound, so the reading never lands inside it.
        env_.mainQueue.post([alive = std::weak_ptr<UsageReader*>(alive_)] {
            const auto reader = alive.lock();
            if (reader && *reader && !(*reader)->activeRun_ &&
                (*reader)->codexLogReadingsWaiting_) {
                (*reader)->commitCodexLogReadings();
            }
        });
    }
}

RefreshCleanupResult UsageReader::refreshCleanupResult() const {
    if (activeRun_) {
        return activeRun_->refreshCleanupResult();
    }
    return endedRun_ ? endedRun_->refreshCleanupResult() : RefreshCleanupResult::notRequired;
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
            scheduler_.setAutomaticRefreshSchedule(env_.clock.now(), true);
        }
        // An automatic request stays due, so it is only put off; a manual one has failed.
        recordRejectedRefresh(
            kind, isAutomatic ? RefreshRunOutcome::deferred("Accessibility permission unavailable")
                              : RefreshRunOutcome::failed("Accessibility permission unavailable"));
        return;
    }

    cancelPendingCountdownWorkItems();
    refreshRun_.begin();
    search_.forgetReads();
    endedRun_.reset();
    activeRun_ = std::make_unique<RefreshRun>(*this, kind, elementLookupMode_, profileMenuMemory_);
    activeRun_->start();
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
    activeRun_->clickProfileControlDynamically();
}

bool UsageReader::commitCompleteUsageSnapshot(const UsageSnapshot& snapshot) {
    if (!isCompleteUsageSnapshot(snapshot, currentSchema())) {
        return false;
    }
    if (activeRun_) {
        activeRun_->recordRefreshStage("snapshot validated and committed");
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
    setStatusMessage(std::nullopt);
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
