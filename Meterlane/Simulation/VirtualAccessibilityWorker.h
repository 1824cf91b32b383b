#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <utility>

#include "Meterlane/Platform/AccessibilityWorker.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// The accessibility worker of the simulated world. A job runs on a thread of its own, but only
// ever while the main queue waits for it, so the world stays deterministic: at each round trip the
// job hands control back, the main queue runs whatever falls due while the message is on its way
// (user input, timers, plan changes, other steps: the main thread is never blocked), and the job
// resumes, reading the tree as it is at the moment the answer comes. While nothing falls due on the
// main queue the job runs on without handing over, ahead of the main queue's clock; so work a test
// schedules from outside the queue while a job runs lands after the answers already given (put it
// on the queue before the job starts, or schedule it from a queue item). Each round trip
// costs the simulated accessibility's round-trip time on the worker's clock; the result reaches the
// main queue as a work item at the moment the job ends.
//
// Jobs start at the main queue's next turn after they are submitted (a job submitted and
// cancelled in the same step never starts), then back to back.
class VirtualAccessibilityWorker final : public AccessibilityWorker {
  public:
    VirtualAccessibilityWorker(VirtualTime& time, SimulatedAccessibility& accessibility,
                               double messagingTimeoutSeconds);
    // A job still running is cancelled and run out (its round trips fail at once); nothing it
    // would have delivered runs.
    ~VirtualAccessibilityWorker() override;
    VirtualAccessibilityWorker(const VirtualAccessibilityWorker&) = delete;
    VirtualAccessibilityWorker& operator=(const VirtualAccessibilityWorker&) = delete;

    // Jobs waiting to start.
    std::size_t queuedJobs() const;
    // Whether a job has started and not yet ended.
    bool busy() const { return running_ != nullptr; }
    // Results waiting on the main queue.
    std::size_t pendingDeliveries() const;
    // Nothing queued, running or waiting to be delivered: the worker leaves no work behind.
    bool idle() const { return queuedJobs() == 0 && !busy() && pendingDeliveries() == 0; }

    // The worker's clock: the time it has spent waiting for answers, and the round trips made.
    double busySeconds() const { return busySeconds_; }
    std::size_t roundTrips() const { return roundTrips_; }
    // Jobs that ran (to their end, cancelled or not).
    std::size_t jobsRun() const { return jobsRun_; }

  protected:
    AccessibilityJobHandle enqueue(std::shared_ptr<AccessibilityJob> job) override;

  private:
    struct Shared;
    class JobCancel;
    class JobThread;

    void scheduleStart();
    void startNext();
    // Gives the running job the turn until its next round trip or its end.
    void resume();
    void finish();

    VirtualTime& time_;
    SimulatedAccessibility& ax_;
    double timeout_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<AccessibilityJob> running_;
    std::unique_ptr<JobThread> thread_;
    TaskHandle step_;
    double busySeconds_ = 0;
    std::size_t roundTrips_ = 0;
    std::size_t jobsRun_ = 0;
    // The worker's own time: when the job's latest message is answered.
    double workerNow_ = 0;
};

}  // namespace gaugely
