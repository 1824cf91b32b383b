#pragma once

#include <memory>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/ReaderStatus.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "Meterlane/Platform/Input.h"
#include "Meterlane/Platform/Log.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/Workspace.h"
#include "Meterlane/Reader/CodexElementSearch.h"

namespace gaugely {

// What the scheduler may read of the reader that owns it, and ask of it.
class AutomaticRefreshHost {
  public:
    // What the schedule follows.
    virtual bool planIsChosen() const = 0;
    virtual bool automaticRefreshIsOn() const = 0;
    virtual RefreshFrequency chosenRefreshFrequency() const = 0;
    // When the reading on display was taken; none before the first.
    virtual std::optional<Date> lastReadingDate() const = 0;

    // What keeps a due refresh from beginning.
    virtual bool updateIsInstalling() const = 0;
    virtual bool isCountingDown() const = 0;
    virtual bool refreshIsRunning() const = 0;
    // The logs already say what reading the menu would.
    virtual bool logsAreCurrent() const = 0;

    // Asks the platform again whether Gaugely is trusted for Accessibility, without a prompt.
    virtual bool accessibilityIsTrusted() = 0;
    virtual void setCodexFound(bool found) = 0;
    virtual void showStatus(std::optional<ReaderStatus> status) = 0;
    virtual std::string newTraceIdentifier() = 0;
    virtual void recordOutcome(const RefreshRunOutcome& outcome) = 0;
    // The deadline or the pending flag changed.
    virtual void scheduleChanged() = 0;
    // The reader's one entry point, for an automatic run.
    virtual void beginAutomaticRefresh() = 0;

  protected:
    virtual ~AutomaticRefreshHost() = default;
};

// The platform the scheduler keeps time, asks and writes with.
struct AutomaticRefreshPorts {
    Input& input;
    Workspace& workspace;
    MainQueue& mainQueue;
    Clock& clock;
    Log& log;
    Preferences& preferences;
};

// Decides when an automatic refresh may start: a persisted deadline checked on a 15-second tick,
// at start-up and after wake, with the deferrals that keep a refresh from fighting the user.
// Owned by the reader, which publishes the schedule it keeps; it starts a run only through the
// reader's one entry point. Main thread only.
class AutomaticRefreshScheduler {
  public:
    AutomaticRefreshScheduler(AutomaticRefreshHost& host, AutomaticRefreshPorts ports,
                              CodexElementSearch& search);
    AutomaticRefreshScheduler(const AutomaticRefreshScheduler&) = delete;
    AutomaticRefreshScheduler& operator=(const AutomaticRefreshScheduler&) = delete;

    std::optional<Date> nextAutomaticRefreshDate() const { return nextAutomaticRefreshDate_; }
    bool automaticRefreshIsPending() const { return automaticRefreshIsPending_; }

    void startAutomaticRefresh();
    void evaluateAutomaticRefresh();
    void scheduleNextAutomaticRefresh(Date from);
    void setAutomaticRefreshSchedule(Date date, bool pending);
    void clearAutomaticRefreshSchedule();
    void restorePersistedAutomaticRefreshDate();
    void observeWorkspaceWake();
    void observeApplicationActivation();
    void logSchedule(const std::string& line);
    double refreshInterval() const;

  private:
    void recoverAutomaticRefreshSchedule();
    void recordPreflightDeferredAutomatic(const std::string& reason);
    template <class T>
    void publish(T& field, T value) {
        if (field != value) {
            field = std::move(value);
            host_.scheduleChanged();
        }
    }

    AutomaticRefreshHost& host_;
    AutomaticRefreshPorts ports_;
    CodexElementSearch& search_;
    std::optional<Date> nextAutomaticRefreshDate_;
    bool automaticRefreshIsPending_ = false;
    std::unique_ptr<Subscription> workspaceWakeObserver_;
    std::unique_ptr<Subscription> applicationActiveObserver_;
    // Declared last, so the tick goes first.
    TaskHandle automaticRefreshTimer_;
};

}  // namespace gaugely
