// Automatic refresh: one persisted deadline, checked on a 15-second tick. A due refresh starts only
// while Codex (or our settings window) is in front and the user has been idle; otherwise it waits
// and says why. The scheduler owns its tick, its two notification registrations, the deadline and
// the pending flag (which the reader publishes); each registration and the tick go with it.
#include "Meterlane/Reader/AutomaticRefreshScheduler.h"
#include "Meterlane/Platform/StoredValue.h"

#include "LowUsageNotificationSupport/AutomaticRefreshForegroundPolicy.h"
#include "Meterlane/Reader/RefreshTrace.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr double schedulerCadence = 15;
constexpr double schedulerLeeway = 1;
constexpr double requiredIdleBeforeCountdown = 10;

}  // namespace

AutomaticRefreshScheduler::AutomaticRefreshScheduler(AutomaticRefreshHost& host,
                                                     AutomaticRefreshPorts ports,
                                                     CodexElementSearch& search)
    : host_(host), ports_(ports), search_(search) {}

double AutomaticRefreshScheduler::refreshInterval() const {
    return timeInterval(host_.chosenRefreshFrequency());
}

void AutomaticRefreshScheduler::logSchedule(const std::string& line) {
    ports_.log.write(logSubsystem, automaticRefreshLogCategory, LogLevel::info, line);
}

void AutomaticRefreshScheduler::setAutomaticRefreshSchedule(Date date, bool pending) {
    publish(nextAutomaticRefreshDate_, std::optional<Date>(date));
    publish(automaticRefreshIsPending_, pending);
    ports_.preferences.setDate(defaultsKey::nextAutomaticRefreshDate, date);
}

void AutomaticRefreshScheduler::clearAutomaticRefreshSchedule() {
    publish(nextAutomaticRefreshDate_, std::optional<Date>());
    publish(automaticRefreshIsPending_, false);
    ports_.preferences.remove(defaultsKey::nextAutomaticRefreshDate);
}

void AutomaticRefreshScheduler::scheduleNextAutomaticRefresh(Date from) {
    if (host_.planIsChosen() && host_.automaticRefreshIsOn()) {
        setAutomaticRefreshSchedule(from.addingTimeInterval(refreshInterval()), false);
        logSchedule("Automatic refresh scheduled in " +
                    std::to_string(static_cast<long>(refreshInterval())) + " seconds");
        return;
    }
    clearAutomaticRefreshSchedule();
}

void AutomaticRefreshScheduler::restorePersistedAutomaticRefreshDate() {
    nextAutomaticRefreshDate_ =
        stored::date(ports_.preferences, defaultsKey::nextAutomaticRefreshDate).value;
}

void AutomaticRefreshScheduler::recoverAutomaticRefreshSchedule() {
    if (!host_.planIsChosen() || !host_.automaticRefreshIsOn()) {
        clearAutomaticRefreshSchedule();
        return;
    }
    const Date now = ports_.clock.now();
    Date deadline = now.addingTimeInterval(refreshInterval());
    if (nextAutomaticRefreshDate_) {
        deadline = *nextAutomaticRefreshDate_;
    } else if (const std::optional<Date> lastUpdated = host_.lastReadingDate()) {
        deadline = lastUpdated->addingTimeInterval(refreshInterval());
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

void AutomaticRefreshScheduler::startAutomaticRefresh() {
    if (automaticRefreshTimer_) {
        return;
    }
    if (host_.automaticRefreshIsOn() && host_.planIsChosen()) {
        recoverAutomaticRefreshSchedule();
    }
    automaticRefreshTimer_ = ports_.mainQueue.scheduleRepeating(
        schedulerCadence, schedulerCadence, schedulerLeeway, [this] {
            logSchedule("Automatic refresh scheduler tick");
            evaluateAutomaticRefresh();
        });
    logSchedule("Automatic refresh scheduler started; cadence is 15 seconds");
    evaluateAutomaticRefresh();
}

void AutomaticRefreshScheduler::recordPreflightDeferredAutomatic(const std::string& reason) {
    const std::string identifier = host_.newTraceIdentifier();
    host_.recordOutcome(RefreshRunOutcome::deferred(reason));
    logSchedule("Refresh [" + identifier +
                "] automatic: refresh requested; eligibility deferred — " + reason);
}

void AutomaticRefreshScheduler::evaluateAutomaticRefresh() {
    if (host_.updateIsInstalling() || !host_.planIsChosen()) {
        return;
    }
    if (!host_.automaticRefreshIsOn()) {
        clearAutomaticRefreshSchedule();
        return;
    }
    if (!nextAutomaticRefreshDate_) {
        return;
    }
    const Date now = ports_.clock.now();
    if (now < *nextAutomaticRefreshDate_) {
        return;
    }
    logSchedule("Automatic refresh is due");
    if (host_.logsAreCurrent()) {
        // The logs already say what the menu would; reading it would only interrupt the user.
        scheduleNextAutomaticRefresh(now);
        logSchedule("Automatic refresh skipped \u2014 Codex's logs are current");
        return;
    }
    publish(automaticRefreshIsPending_, true);

    if (!host_.accessibilityIsTrusted()) {
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::accessibilityPermissionRequired));
        logSchedule("Automatic refresh deferred because Accessibility permission is unavailable");
        recordPreflightDeferredAutomatic("Accessibility permission unavailable");
        return;
    }
    if (host_.isCountingDown()) {
        logSchedule("Automatic refresh deferred because a countdown is already active");
        recordPreflightDeferredAutomatic("another automatic countdown is active");
        return;
    }
    if (host_.refreshIsRunning()) {
        logSchedule("Automatic refresh deferred because another refresh is in progress");
        recordPreflightDeferredAutomatic("another refresh is in progress");
        return;
    }
    if (!search_.findCodexApplication()) {
        host_.setCodexFound(false);
        // A missing Codex is not worth a retry every tick: the deadline moves on by one interval.
        scheduleNextAutomaticRefresh(now);
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::codexNotRunning));
        logSchedule("Automatic refresh deferred because Codex is not running");
        recordPreflightDeferredAutomatic("Codex is not running");
        return;
    }
    host_.setCodexFound(true);
    if (!AutomaticRefreshForegroundPolicy::mayBeginCountdown(
            search_.isCodexFrontmost(), ports_.workspace.settingsWindowIsKey())) {
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::codexNotInFront));
        logSchedule(
            "Automatic refresh deferred because neither Codex nor Gaugely Settings is frontmost");
        recordPreflightDeferredAutomatic("foreground safety condition not satisfied");
        return;
    }
    if (ports_.input.secondsSinceLastInputEvent() < requiredIdleBeforeCountdown) {
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::userActive));
        logSchedule("Automatic refresh deferred because the user is active");
        recordPreflightDeferredAutomatic("user activity before countdown");
        return;
    }
    // The next deadline runs from the start of this attempt, not from its end.
    scheduleNextAutomaticRefresh(now);
    logSchedule("Automatic refresh attempt beginning");
    host_.beginAutomaticRefresh();
}

void AutomaticRefreshScheduler::observeWorkspaceWake() {
    workspaceWakeObserver_ = ports_.workspace.observeDidWake([this] {
        logSchedule("Workspace wake detected; recovering automatic refresh schedule");
        recoverAutomaticRefreshSchedule();
        evaluateAutomaticRefresh();
    });
}

void AutomaticRefreshScheduler::observeApplicationActivation() {
    applicationActiveObserver_ = ports_.workspace.observeDidBecomeActive([this] {
        // A permission granted in System Settings shows the moment the user comes back.
        host_.accessibilityIsTrusted();
    });
}

}  // namespace gaugely
