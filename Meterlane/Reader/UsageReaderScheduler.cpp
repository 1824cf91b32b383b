// Automatic refresh: one persisted deadline, checked on a 15-second tick. A due refresh starts only
// while Codex (or our settings window) is in front and the user has been idle; otherwise it waits
// and says why.
#include "LowUsageNotificationSupport/AutomaticRefreshForegroundPolicy.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr double schedulerCadence = 15;
constexpr double schedulerLeeway = 1;
constexpr double requiredIdleBeforeCountdown = 10;

}  // namespace

double UsageReader::refreshInterval() const {
    return timeInterval(refreshFrequency_);
}

void UsageReader::logSchedule(const std::string& line) {
    env_.log.write(logSubsystem, automaticRefreshLogCategory, LogLevel::info, line);
}

void UsageReader::setAutomaticRefreshSchedule(Date date, bool pending) {
    publish(nextAutomaticRefreshDate_, std::optional<Date>(date));
    publish(automaticRefreshIsPending_, pending);
    env_.preferences.setDate(defaultsKey::nextAutomaticRefreshDate, date);
}

void UsageReader::clearAutomaticRefreshSchedule() {
    publish(nextAutomaticRefreshDate_, std::optional<Date>());
    publish(automaticRefreshIsPending_, false);
    env_.preferences.remove(defaultsKey::nextAutomaticRefreshDate);
}

void UsageReader::scheduleNextAutomaticRefresh(Date from) {
    if (hasExplicitPlanSelection() && automaticRefreshEnabled_) {
        setAutomaticRefreshSchedule(from.addingTimeInterval(refreshInterval()), false);
        logSchedule("Automatic refresh scheduled in " +
                    std::to_string(static_cast<long>(refreshInterval())) + " seconds");
        return;
    }
    clearAutomaticRefreshSchedule();
}

void UsageReader::restorePersistedAutomaticRefreshDate() {
    nextAutomaticRefreshDate_ = env_.preferences.dateValue(defaultsKey::nextAutomaticRefreshDate);
}

void UsageReader::recoverAutomaticRefreshSchedule() {
    if (!hasExplicitPlanSelection() || !automaticRefreshEnabled_) {
        clearAutomaticRefreshSchedule();
        return;
    }
    const Date now = env_.clock.now();
    Date deadline = now.addingTimeInterval(refreshInterval());
    if (nextAutomaticRefreshDate_) {
        deadline = *nextAutomaticRefreshDate_;
    } else if (lastUpdated_) {
        deadline = lastUpdated_->addingTimeInterval(refreshInterval());
    }
    if (deadline > now) {
        setAutomaticRefreshSchedule(deadline, false);
        logSchedule("Automatic refresh schedule restored with a future deadline");
        return;
    }
    // An overdue deadline is pulled up to now rather than kept in the past.
    setAutomaticRefreshSchedule(now, true);
    logSchedule("Automatic refresh schedule restored as overdue and pending");
}

void UsageReader::startAutomaticRefresh() {
    if (automaticRefreshTimer_) {
        return;
    }
    if (automaticRefreshEnabled_ && hasExplicitPlanSelection()) {
        recoverAutomaticRefreshSchedule();
    }
    std::weak_ptr<UsageReader*> alive = alive_;
    automaticRefreshTimer_ = env_.mainQueue.scheduleRepeating(
        schedulerCadence, schedulerCadence, schedulerLeeway, [alive] {
            const auto reader = alive.lock();
            if (!reader || *reader == nullptr) {
                return;
            }
            (*reader)->logSchedule("Automatic refresh scheduler tick");
            (*reader)->evaluateAutomaticRefresh();
        });
    logSchedule("Automatic refresh scheduler started; cadence is 15 seconds");
    evaluateAutomaticRefresh();
}

void UsageReader::recordPreflightDeferredAutomatic(const std::string& reason) {
    const std::string identifier = newTraceIdentifier();
    publish(lastRefreshOutcome_,
            std::optional<RefreshRunOutcome>(RefreshRunOutcome::deferred(reason)));
    logSchedule("Refresh [" + identifier +
                "] automatic: refresh requested; eligibility deferred — " + reason);
}

void UsageReader::evaluateAutomaticRefresh() {
    if (updateRefreshGate_ || !hasExplicitPlanSelection()) {
        return;
    }
    if (!automaticRefreshEnabled_) {
        clearAutomaticRefreshSchedule();
        return;
    }
    if (!nextAutomaticRefreshDate_) {
        return;
    }
    const Date now = env_.clock.now();
    if (now < *nextAutomaticRefreshDate_) {
        return;
    }
    logSchedule("Automatic refresh is due");
    publish(automaticRefreshIsPending_, true);

    if (!refreshPermission(false)) {
        setStatusMessage("Accessibility permission required");
        logSchedule("Automatic refresh deferred because Accessibility permission is unavailable");
        recordPreflightDeferredAutomatic("Accessibility permission unavailable");
        return;
    }
    if (countdown_) {
        logSchedule("Automatic refresh deferred because a countdown is already active");
        recordPreflightDeferredAutomatic("another automatic countdown is active");
        return;
    }
    if (automationInProgress_) {
        logSchedule("Automatic refresh deferred because another refresh is in progress");
        recordPreflightDeferredAutomatic("another refresh is in progress");
        return;
    }
    if (!search_.findCodexApplication()) {
        publish(codexFound_, false);
        // A missing Codex is not worth a retry every tick: the deadline moves on by one interval.
        scheduleNextAutomaticRefresh(now);
        setStatusMessage("Open Codex to refresh usage");
        logSchedule("Automatic refresh deferred because Codex is not running");
        recordPreflightDeferredAutomatic("Codex is not running");
        return;
    }
    publish(codexFound_, true);
    if (!AutomaticRefreshForegroundPolicy::mayBeginCountdown(
            search_.isCodexFrontmost(), env_.workspace.settingsWindowIsKey())) {
        setStatusMessage("Refresh deferred — return to Codex when idle");
        logSchedule(
            "Automatic refresh deferred because neither Codex nor Gaugely Settings is frontmost");
        recordPreflightDeferredAutomatic("foreground safety condition not satisfied");
        return;
    }
    if (env_.input.secondsSinceLastInputEvent() < requiredIdleBeforeCountdown) {
        setStatusMessage("Refresh deferred — try again when Codex is idle");
        logSchedule("Automatic refresh deferred because the user is active");
        recordPreflightDeferredAutomatic("user activity before countdown");
        return;
    }
    // The next deadline runs from the start of this attempt, not from its end.
    scheduleNextAutomaticRefresh(now);
    logSchedule("Automatic refresh attempt beginning");
    beginReadCountdown(true);
}

void UsageReader::setAutomaticRefreshEnabled(bool enabled) {
    if (enabled == automaticRefreshEnabled_) {
        return;
    }
    publish(automaticRefreshEnabled_, enabled);
    env_.preferences.setBool(defaultsKey::automaticRefreshEnabled, enabled);
    if (!enabled) {
        // The run in progress ends in the log as it would at its next countdown tick.
        stopAutomaticRefreshIfNeeded();
        clearAutomaticRefreshSchedule();
        setStatusMessage(std::nullopt);
        logSchedule("Automatic refresh disabled by user");
        return;
    }
    scheduleNextAutomaticRefresh(env_.clock.now());
    setStatusMessage(std::nullopt);
    logSchedule("Automatic refresh enabled by user");
}

void UsageReader::setRefreshFrequency(RefreshFrequency frequency) {
    if (frequency == refreshFrequency_) {
        return;
    }
    publish(refreshFrequency_, frequency);
    env_.preferences.setString(defaultsKey::automaticRefreshFrequency, rawValue(frequency));
    if (automaticRefreshEnabled_) {
        scheduleNextAutomaticRefresh(env_.clock.now());
        logSchedule("Automatic refresh frequency changed to " +
                    std::to_string(static_cast<long>(refreshInterval())) + " seconds");
    }
}

void UsageReader::stopAutomaticRefreshIfNeeded() {
    if (activeRefreshIsAutomatic()) {
        activeRun_->deferForAutomaticRefreshSwitchedOff();
    }
}

void UsageReader::observeWorkspaceWake() {
    std::weak_ptr<UsageReader*> alive = alive_;
    workspaceWakeObserver_ = env_.workspace.observeDidWake([alive] {
        const auto reader = alive.lock();
        if (!reader || *reader == nullptr) {
            return;
        }
        (*reader)->logSchedule("Workspace wake detected; recovering automatic refresh schedule");
        (*reader)->recoverAutomaticRefreshSchedule();
        (*reader)->evaluateAutomaticRefresh();
    });
}

void UsageReader::observeApplicationActivation() {
    std::weak_ptr<UsageReader*> alive = alive_;
    applicationActiveObserver_ = env_.workspace.observeDidBecomeActive([alive] {
        const auto reader = alive.lock();
        if (reader && *reader != nullptr) {
            // A permission granted in System Settings shows the moment the user comes back.
            (*reader)->refreshPermission(false);
        }
    });
}

}  // namespace gaugely
