// The end of a refresh run: reading until two readings agree, committing, and putting Codex's
// menu back the way the run found it.
#include <cmath>

#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

namespace {

constexpr double restorationWait = 0.05;

// How many of the profile menu's titles carry a Pro percentage on their own.
int proPercentageTitleCount(const std::vector<std::string>& titles) {
    int count = 0;
    for (const std::string& title : titles) {
        const std::vector<std::string> one{title};
        if (ProProfileUsageMenuParser::parse(one, [] { return std::vector<std::string>{}; })) {
            ++count;
        }
    }
    return count;
}

}  // namespace

void UsageReader::readStableUsage(const RunningApplication& codex, int attempt,
                                  bool directProfile) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    const AXElement application = applicationElement(codex);
    const AXElement menu = directProfile ? search_.profileMenuElement(application)
                                         : search_.usageRemainingMenu(application);
    std::optional<UsageSnapshot> reading;
    if (!menu) {
        recordRefreshStage("menu became readable or timed out", "not yet readable");
    } else {
        recordRefreshStage("menu became readable or timed out");
        if (directProfile) {
            std::vector<std::string> titles;
            for (const AXElement& item : search_.menuItems(menu)) {
                if (auto title = search_.title(item)) {
                    titles.push_back(std::move(*title));
                }
            }
            const bool usageRow = proPercentageTitleCount(titles) > 0 ||
                                  static_cast<bool>(search_.proUsageProfileMenuItem(menu));
            recordRefreshStage("usage row found/not found", usageRow ? "found" : "not found");
            if (proPercentageTitleCount(titles) >= 2) {
                // Several titles with a value: none of them is trusted, and waiting will not help.
                recordRefreshStage("percentage parsed/not parsed", "not parsed");
                endRunThroughRestoration(codex, "no unambiguous supported usage value");
                return;
            }
            if (const auto values = proProfileUsageValues(menu)) {
                UsageSnapshot snapshot;
                snapshot.weekly = values->percentage;
                reading = snapshot;
            }
            recordRefreshStage("percentage parsed/not parsed", reading ? "parsed" : "not parsed");
            recordRefreshStage("reset data parsed/not parsed",
                               "not applicable for direct Pro percentage");
        } else {
            recordRefreshStage("usage row found/not found", "found");
            reading = usageSnapshotFromUsageRemainingMenu(menu);
            const QuotaSchema schema = currentSchema();
            const bool percentages = reading && quotaPercentages(*reading, schema).size() ==
                                                    requiredWindows(schema).size();
            recordRefreshStage("percentage parsed/not parsed",
                               percentages ? "parsed" : "not parsed");
            const bool complete = reading && isCompleteUsageSnapshot(*reading, schema);
            recordRefreshStage("reset data parsed/not parsed", complete ? "parsed" : "not parsed");
        }
    }
    if (reading && !isCompleteUsageSnapshot(*reading, currentSchema())) {
        reading.reset();
    }

    const RefreshReadOutcome outcome = snapshotStability_.advance(
        reading, env_.clock.monotonicSeconds(), attempt, lastPollAttempt,
        [this](const UsageSnapshot& stable) { return commitCompleteUsageSnapshot(stable); });
    switch (outcome) {
        case RefreshReadOutcome::committed:
            recordRefreshStage("snapshot committed");
            restoreOwnedCodexMenuAfterRead(codex, std::nullopt, !directProfile);
            return;
        case RefreshReadOutcome::waiting:
            recordRefreshStage("stable-read confirmation", "waiting for a second matching value");
            scheduleAutomation(pollDelay(attempt).value_or(0.25),
                               [this, codex, attempt, directProfile] {
                                   readStableUsage(codex, attempt + 1, directProfile);
                               });
            return;
        case RefreshReadOutcome::failed:
            break;
    }
    std::string message;
    if (!menu) {
        message = "Refresh failed — Codex Usage row was not available.";
    } else if (activeSnapshotPlan_ == codexPlan() &&
               isCompleteUsageSnapshot(snapshot_, currentSchema())) {
        message = "Refresh failed — previous data kept";
    } else {
        message = "Refresh failed — usage could not be read.";
    }
    endRunThroughRestoration(codex, message);
}

bool UsageReader::commitCompleteUsageSnapshot(const UsageSnapshot& snapshot) {
    if (!isCompleteUsageSnapshot(snapshot, currentSchema())) {
        return false;
    }
    recordRefreshStage("snapshot validated and committed");
    publish(snapshot_, snapshot);
    publish(activeSnapshotPlan_, std::optional<CodexPlan>(codexPlan()));
    const Date committedAt = env_.clock.now();
    publish(lastUpdated_, std::optional<Date>(committedAt));
    planSynchronization_.markFreshSnapshotCommitted();
    setStatusMessage(std::nullopt);
    snapshotCommitted(committedAt);
    return true;
}

void UsageReader::restoreOwnedCodexMenuAfterRead(const std::optional<RunningApplication>& codex,
                                                 std::optional<std::string> statusMessage,
                                                 bool requiresUsageExpansion) {
    const bool owned = refreshUIState_ && refreshUIState_->profileMenuOpenedByMonitor;
    if (!owned || !codex) {
        search_.forgetReads();
        const bool menuOpen =
            codex && static_cast<bool>(search_.profileMenuElement(applicationElement(*codex)));
        refreshCleanupResult_ = menuOpen ? RefreshCleanupResult::preservedUserOwnedMenu
                                         : RefreshCleanupResult::notRequired;
        recordRefreshStage("cleanup required/not required", "not required");
        completeRefreshAfterRead(std::move(statusMessage));
        return;
    }
    recordRefreshStage("cleanup required/not required", "required for refresh-owned menu");
    // One Escape closes Codex's whole menu, expanded usage section included; the verification
    // below reports whatever is left.
    (void)requiresUsageExpansion;
    search_.forgetReads();
    const AXElement application = applicationElement(*codex);
    const AXElement menuNow = search_.profileMenuElement(application);
    const bool inputQuiet = !realInputMonitor_ || !realInputMonitor_->realInputDetected();
    const bool mayDismiss = RefreshRunGuard::mayDismiss(
        refreshUIState_->profileMenuPresenceAtStart != RefreshMenuPresence::closed, true,
        menuNow && menuNow == refreshUIState_->openedMenu, search_.isCodexFrontmost(), inputQuiet);
    if (!mayDismiss) {
        refreshCleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", rawValue(refreshCleanupResult_));
        completeRefreshAfterRead(std::move(statusMessage));
        return;
    }
    if (!sendEscapeKey(keycode::escape)) {
        recordRefreshStage("cleanup result", "Escape could not be sent");
        refreshCleanupResult_ = RefreshCleanupResult::failed;
        completeRefreshAfterRead(std::move(statusMessage));
        return;
    }
    scheduleAutomation(restorationWait, [this, app = *codex, statusMessage] {
        verifyOwnedCodexMenuRestoration(app, statusMessage);
    });
}

void UsageReader::verifyOwnedCodexMenuRestoration(const RunningApplication& codex,
                                                  std::optional<std::string> statusMessage) {
    const RefreshMenuInspection inspection =
        search_.profileMenuInspection(applicationElement(codex));
    if (inspection.presence == RefreshMenuPresence::closed) {
        refreshCleanupResult_ = RefreshCleanupResult::closed;
        recordRefreshStage("cleanup result", rawValue(refreshCleanupResult_));
        recordRefreshTiming("Profile menu confirmed closed");
        env_.log.write(
            logSubsystem, refreshLogCategory, LogLevel::info,
            "Refresh cleanup completed; owned Codex profile menu restored to closed state");
    } else if (inspection.presence == RefreshMenuPresence::open) {
        refreshCleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", "owned menu remained visible");
        env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                       "Refresh cleanup attempted; owned Codex profile menu remained visible");
    } else {
        refreshCleanupResult_ = RefreshCleanupResult::uncertain;
        recordRefreshStage("cleanup result", rawValue(refreshCleanupResult_));
        env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                       "Refresh cleanup attempted; final menu state uncertain");
    }
    if (refreshTiming_ && refreshTiming_->menuOpenedAt) {
        const double dwell = env_.clock.monotonicSeconds() - *refreshTiming_->menuOpenedAt;
        env_.log.write(
            logSubsystem, refreshLogCategory, LogLevel::info,
            "Refresh menu dwell: " +
                std::to_string(std::isfinite(dwell) ? static_cast<long>(dwell * 1000.0) : 0L) +
                " ms");
    }
    completeRefreshAfterRead(std::move(statusMessage));
}

void UsageReader::completeRefreshAfterRead(std::optional<std::string> statusMessage) {
    RefreshRunOutcome outcome = RefreshRunOutcome::committed();
    if (!statusMessage) {
        if (refreshCleanupResult_ == RefreshCleanupResult::uncertain ||
            refreshCleanupResult_ == RefreshCleanupResult::failed) {
            setStatusMessage("Usage refreshed — Codex menu state could not be confirmed.");
            outcome = RefreshRunOutcome::cleanupUncertain();
        }
    } else {
        outcome = text::contains(text::lowercased(*statusMessage), "deferred")
                      ? RefreshRunOutcome::deferred(*statusMessage)
                      : RefreshRunOutcome::failed(*statusMessage);
        setStatusMessage(*statusMessage);
    }
    finishRefreshTrace(outcome);
    publish(countdown_, std::optional<int>());
    activeRefreshIsAutomatic_ = false;
    stopRealInputMonitor();
    clearRunState();
    publish(automationInProgress_, false);
}

}  // namespace gaugely
