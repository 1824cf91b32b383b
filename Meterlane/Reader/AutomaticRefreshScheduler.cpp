// Automatic refresh: one persisted deadline, checked on a 15-second tick. A due refresh starts only
// while Codex (or our settings window) is in front and the user has been idle; otherwise it waits
// and says why. The scheduler owns its tick and its two notification registrations; the deadline
// and the pending flag are the reader's published state, changed only here.
#include "Meterlane/Reader/AutomaticRefreshScheduler.h"
#include "Meterlane/Platform/StoredValue.h"

#include "LowUsageNotificationSupport/AutomaticRefreshForegroundPolicy.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr double schedulerCadence = 15;
constexpr double schedulerLeeway = 1;
constexpr double requiredIdleBeforeCountdown = 10;

}  // namespace

AutomaticRefreshScheduler::AutomaticRefreshScheduler(UsageReader& reader)
    : reader_(reader), alive_(std::make_shared<AutomaticRefreshScheduler*>(this)) {}

AutomaticRefreshScheduler::~AutomaticRefreshScheduler() {
    *alive_ = nullptr;
}

double AutomaticRefreshScheduler::refreshInterval() const {
    return timeInterval(reader_.refreshFrequency_);
}

void AutomaticRefreshScheduler::logSchedule(const std::string& line) {
    reader_.env_.log.write(logSubsystem, automaticRefreshLogCategory, LogLevel::info, line);
}

void AutomaticRefreshScheduler::setAutomaticRefreshSchedule(Date date, bool pending) {
    reader_.publish(reader_.nextAutomaticRefreshDate_, std::optional<Date>(date));
    reader_.publish(reader_.automaticRefreshIsPending_, pending);
    reader_.env_.preferences.setDate(defaultsKey::nextAutomaticRefreshDate, date);
}

void AutomaticRefreshScheduler::clearAutomaticRefreshSchedule() {
    reader_.publish(reader_.nextAutomaticRefreshDate_, std::optional<Date>());
    reader_.publish(reader_.automaticRefreshIsPending_, false);
    reader_.env_.preferences.remove(defaultsKey::nextAutomaticRefreshDate);
}

void AutomaticRefreshScheduler::scheduleNextAutomaticRefresh(Date from) {
    if (reader_.hasExplicitPlanSelection() && reader_.automaticRefreshEnabled_) {
        setAutomaticRefreshSchedule(from.addingTimeInterval(refreshInterval()), false);
        logSchedule("Automatic refresh scheduled in " +
                    std::to_string(static_cast<long>(refreshInterval())) + " seconds");
        return;
    }
    clearAutomaticRefreshSchedule();
}

void AutomaticRefreshScheduler::restorePersistedAutomaticRefreshDate() {
    reader_.nextAutomaticRefreshDate_ =
        stored::date(reader_.env_.preferences, defaultsKey::nextAutomaticRefreshDate).value;
}

void AutomaticRefreshScheduler::recoverAutomaticRefreshSchedule() {
    if (!reader_.hasExplicitPlanSelection() || !reader_.automaticRefreshEnabled_) {
        clearAutomaticRefreshSchedule();
        return;
    }
    const Date now = reader_.env_.clock.now();
    Date deadline = now.addingTimeInterval(refreshInterval());
    if (reader_.nextAutomaticRefreshDate_) {
        deadline = *reader_.nextAutomaticRefreshDate_;
    } else if (reader_.lastUpdated_) {
        deadline = reader_.lastUpdated_->addingTimeInterval(refreshInterval());
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
    if (reader_.automaticRefreshEnabled_ && reader_.hasExplicitPlanSelection()) {
        recoverAutomaticRefreshSchedule();
    }
    std::weak_ptr<AutomaticRefreshScheduler*> alive = alive_;
    automaticRefreshTimer_ = reader_.env_.mainQueue.scheduleRepeating(
        schedulerCadence, schedulerCadence, schedulerLeeway, [alive] {
            const auto scheduler = alive.lock();
            if (!scheduler || *scheduler == nullptr) {
                return;
            }
            (*scheduler)->logSchedule("Automatic refresh scheduler tick");
            (*scheduler)->evaluateAutomaticRefresh();
        });
    logSchedule("Automatic refresh scheduler started; cadence is 15 seconds");
    evaluateAutomaticRefresh();
}

void AutomaticRefreshScheduler::recordPreflightDeferredAutomatic(const std::string& reason) {
    const std::string identifier = reader_.newTraceIdentifier();
    reader_.publish(reader_.lastRefreshOutcome_,
                    std::optional<RefreshRunOutcome>(RefreshRunOutcome::deferred(reason)));
    logSchedule("Refresh [" + identifier +
                "] automatic: refresh requested; eligibility deferred — " + reason);
}

void AutomaticRefreshScheduler::evaluateAutomaticRefresh() {
    if (reader_.updateRefreshGate_ || !reader_.hasExplicitPlanSelection()) {
        return;
    }
    if (!reader_.automaticRefreshEnabled_) {
        clearAutomaticRefreshSchedule();
        return;
    }
    if (!reader_.nextAutomaticRefreshDate_) {
        return;
    }
    const Date now = reader_.env_.clock.now();
    if (now < *reader_.nextAutomaticRefreshDate_) {
        return;
    }
    logSchedule("Automatic refresh is due");
    if (reader_.codexLogsAreCurrent()) {
        // The logs already say what the menu would; reading it would only interrupt the user.
        scheduleNextAutomaticRefresh(now);
        logSchedule("Automatic refresh skipped \u2014 Codex's logs are current");
        return;
    }
    reader_.publish(reader_.automaticRefreshIsPending_, true);

    if (!reader_.refreshPermission(false)) {
        reader_.setStatusMessage("Accessibility permission required");
        logSchedule("Automatic refresh deferred because Accessibility permission is unavailable");
        recordPreflightDeferredAutomatic("Accessibility permission unavailable");
        return;
    }
    if (reader_.countdown()) {
        logSchedule("Automatic refresh deferred because a countdown is already active");
        recordPreflightDeferredAutomatic("another automatic countdown is active");
        return;
    }
    if (reader_.automationInProgress()) {
        logSchedule("Automatic refresh deferred because another refresh is in progress");
        recordPreflightDeferredAutomatic("another refresh is in progress");
        return;
    }
    if (!reader_.search_.findCodexApplication()) {
        reader_.publish(reader_.codexFound_, false);
        // A missing Codex is not worth a retry every tick: the deadline moves on by one interval.
        scheduleNextAutomaticRefresh(now);
        reader_.setStatusMessage("Open Codex to refresh usage");
        logSchedule("Automatic refresh deferred because Codex is not running");
        recordPreflightDeferredAutomatic("Codex is not running");
        return;
    }
    reader_.publish(reader_.codexFound_, true);
    if (!AutomaticRefreshForegroundPolicy::mayBeginCountdown(
            reader_.search_.isCodexFrontmost(), reader_.env_.workspace.settingsWindowIsKey())) {
        reader_.setStatusMessage("Refresh deferred — return to Codex when idle");
        logSchedule(
            "Automatic refresh deferred because neither Codex nor Gaugely Settings is frontmost");
        recordPreflightDeferredAutomatic("foreground safety condition not satisfied");
        return;
    }
    if (reader_.env_.input.secondsSinceLastInputEvent() < requiredIdleBeforeCountdown) {
        reader_.setStatusMessage("Refresh deferred — try again when Codex is idle");
        logSchedule("Automatic refresh deferred because the user is active");
        recordPreflightDeferredAutomatic("user activity before countdown");
        return;
    }
    // The next deadline runs from the start of this attempt, not from its end.
    scheduleNextAutomaticRefresh(now);
    logSchedule("Automatic refresh attempt beginning");
    reader_.beginReadCountdown(true);
}

void AutomaticRefreshScheduler::observeWorkspaceWake() {
    std::weak_ptr<AutomaticRefreshScheduler*> alive = alive_;
    workspaceWakeObserver_ = reader_.env_.workspace.observeDidWake([alive] {
        const auto scheduler = alive.lock();
        if (!scheduler || *scheduler == nullptr) {
            return;
        }
        (*scheduler)->logSchedule("Workspace wake detected; recovering automatic refresh schedule");
        (*scheduler)->recoverAutomaticRefreshSchedule();
        (*scheduler)->evaluateAutomaticRefresh();
    });
}

void AutomaticRefreshScheduler::observeApplicationActivation() {
    std::weak_ptr<AutomaticRefreshScheduler*> alive = alive_;
    applicationActiveObserver_ = reader_.env_.workspace.observeDidBecomeActive([alive] {
        const auto scheduler = alive.lock();
        if (scheduler && *scheduler != nullptr) {
            // A permission granted in System Settings shows the moment the user comes back.
            (*scheduler)->reader_.refreshPermission(false);
        }
    });
}

}  // namespace gaugely
