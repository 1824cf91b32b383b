#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// The main queue and both clocks of the simulated world. Nothing happens until the test (or a
// driver) says so: work runs in order of due time, then in the order it was scheduled, and time
// jumps straight to each item's due time, so a whole refresh with all its waits runs in
// microseconds and the same way every time.
//
// Both clocks move together and only forward (except `setNow`, a wall-clock jump). Due times are
// on the monotonic clock, as the platform's main-queue timers are.
//
// A driver that wants to replay the world at a human pace can sleep until `nextDueTime()` and
// then call `runNext()`; nothing here assumes the caller is a test.
class VirtualTime final : public MainQueue, public Clock {
  public:
    // 2026-11-21 09:00:00 UTC; a fixed start keeps logged dates stable from run to run.
    static constexpr Date defaultStart{816944400.0};
    static constexpr double defaultMonotonicStart = 1000.0;

    explicit VirtualTime(Date start = defaultStart, double monotonicStart = defaultMonotonicStart);
    ~VirtualTime() override;
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    // MainQueue. A negative delay counts as none; an interval that is not positive makes the
    // timer fire once. Posted work is an item like any other, with no handle.
    TaskHandle asyncAfter(double seconds, std::function<void()> work) override;
    void post(std::function<void()> work) override;
    TaskHandle scheduleRepeating(double firstFire, double interval, double leeway,
                                 std::function<void()> work) override;
    // Runs at the current time, in order with the queue's items, but as the run loop's own work.
    TaskHandle performOnRunLoop(std::function<void()> work) override;

    // Clock.
    Date now() override;
    double monotonicSeconds() override;

    // Moves the wall clock to `date` (a user's clock change, a time-zone trip); the monotonic
    // clock and the queue are untouched.
    void setNow(Date date);

    // Runs the earliest pending item, first moving time forward to its due time. False when
    // nothing is pending.
    bool runNext();

    // Runs items in order until none is left but repeating timers (which would run forever), or
    // `maxSteps` items have run; a repeating timer due before a one-shot item still fires on the
    // way. Returns the number of items run.
    std::size_t runUntilIdle(std::size_t maxSteps = 100000);

    // Runs everything due within the next `seconds`, in order, then leaves time at exactly
    // now + seconds.
    void advance(double seconds);

    // Runs items in order until `predicate` holds (checked before each item and at the end) or
    // `timeoutSeconds` have passed; time then stands at the moment the predicate first held, or
    // at the timeout. Returns whether the predicate held.
    bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);

    // Time passes while the main thread is busy (a blocking round trip): both clocks move, and
    // nothing runs; items that fall due meanwhile run at the next step, late, as on the platform.
    void block(double seconds);

    // A modal session (an alert waiting for the user) lasting `seconds`, run by whatever is
    // running now. Its nested run loop serves the main queue only when it was started by the run
    // loop's own work: started from inside a queue item it serves nothing, and time passes as in
    // `block`.
    void runModalSession(double seconds);

    // Items waiting to run, repeating timers included.
    std::size_t pendingCount() const;
    // Items waiting to run that are not repeating timers.
    std::size_t pendingOneShotCount() const;
    // The monotonic due time of the earliest pending item.
    std::optional<double> nextDueTime() const;
    // Items run so far (each firing of a repeating timer counts).
    std::size_t executedCount() const { return executed_; }

  private:
    struct Entry;
    struct Queue;
    class Handle;

    std::shared_ptr<Entry> schedule(double due, double interval, std::function<void()> work,
                                    bool fromRunLoop = false);
    TaskHandle handle(std::shared_ptr<Entry> entry);

    std::shared_ptr<Queue> queue_;
    double monotonic_;
    double wallOffset_;  // now() = wallOffset_ + monotonic_
    std::size_t executed_ = 0;
    // Queue items (not run-loop work) running now, nested ones included.
    int queueItemsRunning_ = 0;
};

}  // namespace gaugely
