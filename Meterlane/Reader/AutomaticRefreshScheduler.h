#pragma once

#include <memory>
#include <string>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

class UsageReader;

// Decides when an automatic refresh may start: a persisted deadline checked on a 15-second tick,
// at start-up and after wake, with the deferrals that keep a refresh from fighting the user.
// Owned by the reader, whose published schedule it keeps; it starts a run only through the
// reader's one entry point. Main thread only.
class AutomaticRefreshScheduler {
  public:
    explicit AutomaticRefreshScheduler(UsageReader& reader);
    ~AutomaticRefreshScheduler();
    AutomaticRefreshScheduler(const AutomaticRefreshScheduler&) = delete;
    AutomaticRefreshScheduler& operator=(const AutomaticRefreshScheduler&) = delete;

    void startAutomaticRefresh();
    void evaluateAutomaticRefresh();
    void scheduleNextAutomaticRefresh(Date from);
    void setAutomaticRefreshSchedule(Date date, bool pending);
    void clearAutomaticRefreshSchedule();
    void restorePersistedAutomaticRefreshDate();
    void recoverAutomaticRefreshSchedule();
    void observeWorkspaceWake();
    void observeApplicationActivation();
    void recordPreflightDeferredAutomatic(const std::string& reason);
    void logSchedule(const std::string& line);
    double refreshInterval() const;

  private:
    UsageReader& reader_;
    TaskHandle automaticRefreshTimer_;
    std::unique_ptr<Subscription> workspaceWakeObserver_;
    std::unique_ptr<Subscription> applicationActiveObserver_;
    // Lets the tick and the observers notice that the scheduler is gone.
    std::shared_ptr<AutomaticRefreshScheduler*> alive_;
};

}  // namespace gaugely
