#pragma once

#include <functional>
#include <memory>

#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// A pending work item or timer; cancelling is idempotent and safe after it has run.
class Cancellable {
  public:
    virtual ~Cancellable() = default;
    virtual void cancel() = 0;
};

// The main queue: everything in the core runs on it. Waits are scheduled steps, never sleeps.
class MainQueue {
  public:
    virtual ~MainQueue() = default;

    virtual std::shared_ptr<Cancellable> asyncAfter(double seconds, std::function<void()> work) = 0;
    std::shared_ptr<Cancellable> async(std::function<void()> work) {
        return asyncAfter(0, std::move(work));
    }

    // Runs `work` on the main thread at the run loop's next turn, after the current layout pass,
    // started by the run loop itself rather than as an item of the main queue. Work that opens a
    // modal session (an alert) must start this way: the session's nested run loop serves the main
    // queue only when no queue item is running, so an alert started from a queue item would stop
    // every timer, wait and completion until it closed. A queue without a run loop of its own
    // (the command-line tool's) has no modal sessions, and runs the work as its next item.
    virtual std::shared_ptr<Cancellable> performOnRunLoop(std::function<void()> work) {
        return async(std::move(work));
    }

    // First fire after `firstFire` seconds, then every `interval`; `leeway` lets the system
    // coalesce wake-ups. Runs until cancelled or destroyed.
    virtual std::shared_ptr<Cancellable> scheduleRepeating(double firstFire, double interval,
                                                           double leeway,
                                                           std::function<void()> work) = 0;
};

class Clock {
  public:
    virtual ~Clock() = default;
    virtual Date now() = 0;
    // Seconds on a clock that never jumps; the trace and the stability rule measure with it.
    virtual double monotonicSeconds() = 0;
};

}  // namespace gaugely
