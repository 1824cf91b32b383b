#pragma once

#include <functional>
#include <memory>

#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// A port's side of one scheduled piece of work: withdrawing it is idempotent and safe after it
// has run. Only task handles call it.
class Cancellable {
  public:
    virtual ~Cancellable() = default;
    virtual void cancel() = 0;
};

// Holds one scheduled piece of work for as long as its owner wants it: destroying the handle, or
// moving another into it, cancels the work, so scheduled work never outlives the object it
// belongs to and may use that object freely. Dropping the handle of work that is running (from
// inside the work itself, say) is allowed: that call finishes, and nothing of it runs again.
class [[nodiscard]] TaskHandle {
  public:
    TaskHandle() = default;
    explicit TaskHandle(std::shared_ptr<Cancellable> task) : task_(std::move(task)) {}
    TaskHandle(TaskHandle&& other) noexcept = default;
    TaskHandle& operator=(TaskHandle&& other) noexcept {
        if (this != &other) {
            cancel();
            task_ = std::move(other.task_);
        }
        return *this;
    }
    TaskHandle(const TaskHandle&) = delete;
    TaskHandle& operator=(const TaskHandle&) = delete;
    ~TaskHandle() { cancel(); }

    // Withdraws the work if it has not run yet; the handle is empty afterwards.
    void cancel() noexcept {
        if (const std::shared_ptr<Cancellable> task = std::move(task_)) {
            task->cancel();
        }
    }

    // True from scheduling until the handle is cancelled, dropped or moved from.
    explicit operator bool() const { return task_ != nullptr; }

  private:
    std::shared_ptr<Cancellable> task_;
};

// The main queue: everything in the core runs on it. Waits are scheduled steps, never sleeps.
class MainQueue {
  public:
    virtual ~MainQueue() = default;

    // Runs `work` after `seconds` (a negative delay counts as none), as long as the handle lives.
    [[nodiscard]] virtual TaskHandle asyncAfter(double seconds, std::function<void()> work) = 0;
    [[nodiscard]] TaskHandle async(std::function<void()> work) {
        return asyncAfter(0, std::move(work));
    }

    // Hands `work` to the queue to run once at its next turn, whatever becomes of the caller: the
    // hop of a completion that arrives from elsewhere (on the Mac, from any thread), or a step
    // whose work finds out for itself, through a weak reference, whether what it serves still
    // exists.
    virtual void post(std::function<void()> work) = 0;

    // Runs `work` on the main thread at the run loop's next turn, after the current layout pass,
    // started by the run loop itself rather than as an item of the main queue. Work that opens a
    // modal session (an alert) must start this way: the session's nested run loop serves the main
    // queue only when no queue item is running, so an alert started from a queue item would stop
    // every timer, wait and completion until it closed. A queue without a run loop of its own
    // (the command-line tool's) has no modal sessions, and runs the work as its next item.
    [[nodiscard]] virtual TaskHandle performOnRunLoop(std::function<void()> work) {
        return async(std::move(work));
    }

    // First fire after `firstFire` seconds, then every `interval`; `leeway` lets the system
    // coalesce wake-ups. Runs until its handle goes.
    [[nodiscard]] virtual TaskHandle scheduleRepeating(double firstFire, double interval,
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
