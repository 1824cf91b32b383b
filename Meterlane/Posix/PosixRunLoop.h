#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

class StopSignals;

// The command-line tool's main queue in real time: one thread runs timers and the callbacks of
// readable descriptors (inotify, a pipe) from `run()` until `stop()` or a stop signal. It
// sleeps in poll() between them, never spins.
//
// Dropping a task's handle cancels it; posted work has none. Items due at the same moment run in
// the order they were scheduled. Everything here, callbacks included, is for the loop's own
// thread.
class PosixRunLoop final : public MainQueue, public Clock {
  public:
    PosixRunLoop();
    ~PosixRunLoop() override;
    PosixRunLoop(const PosixRunLoop&) = delete;
    PosixRunLoop& operator=(const PosixRunLoop&) = delete;

    TaskHandle asyncAfter(double seconds, std::function<void()> work) override;
    void post(std::function<void()> work) override;
    TaskHandle scheduleRepeating(double firstFire, double interval, double leeway,
                                 std::function<void()> work) override;

    // Seconds since 2001 from the system clock; monotonic seconds from the steady clock.
    Date now() override;
    double monotonicSeconds() override;

    // `readable` runs each time `fd` has something to read, until the returned token goes. The
    // callback must read what is there, or it is called again at once.
    [[nodiscard]] std::unique_ptr<Subscription> addDescriptor(int fd,
                                                              std::function<void()> readable);

    // Runs until `stop()` is called or, with `signals`, until a stop signal arrives. Returns at
    // once when there is nothing left that could ever run (no timers, no descriptors).
    void run(const StopSignals* signals = nullptr);
    void stop() { stopRequested_ = true; }

  private:
    struct Timer;
    struct Descriptor {
        int fd = -1;
        std::function<void()> readable;
    };
    class TimerHandle;
    class DescriptorToken;

    std::shared_ptr<Timer> schedule(double due, double interval, std::function<void()> work);
    static TaskHandle handle(const std::shared_ptr<Timer>& timer);
    // Runs the timers due now; the seconds until the next one, or a negative number for none.
    double runDueTimers();
    void waitForDescriptors(double timeout, int wakeDescriptor);

    // Shared with the handles, so a handle that outlives the loop does nothing.
    struct State;
    std::shared_ptr<State> state_;
    bool stopRequested_ = false;
};

}  // namespace gaugely
