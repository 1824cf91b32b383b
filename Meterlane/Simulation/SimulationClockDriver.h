#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// The real world's clock as the driver needs it. The host supplies an interruptible sleep (one
// that returns early when the user asks to stop) and the process CPU clock.
struct RealTimeSource {
    // Monotonic seconds of real time.
    std::function<double()> monotonicSeconds;
    // Waits up to this many seconds; may return early, e.g. when a stop was requested.
    std::function<void(double seconds)> sleep;
    // Checked before every work item and after every sleep.
    std::function<bool()> stopRequested;
    // CPU seconds the process has used so far.
    std::function<double()> cpuSeconds;

    // The standard library's clocks and sleep; nothing ever asks to stop.
    static RealTimeSource standard();
};

// What one work item of the virtual queue cost.
struct WorkItemReport {
    // Monotonic virtual time at which it ran.
    double virtualTime = 0;
    // Process CPU time it took.
    double cpuSeconds = 0;
    // Virtual time that passed while it ran: the main thread was blocked that long (in round
    // trips to a slow Codex, in a modal session), and nothing else on the queue could run.
    double blockedSeconds = 0;
};

// Plays the virtual main queue at a human pace: each work item runs when its due time comes on
// the wall clock, scaled by the speed. Between items the driver sleeps until the next due time;
// it never spins. Without a speed nothing waits at all, so a run is as fast and as repeatable as
// a test.
class SimulationClockDriver {
  public:
    // `speed`: virtual seconds per real second (2 plays twice as fast); none: no waiting.
    SimulationClockDriver(VirtualTime& time, std::optional<double> speed,
                          RealTimeSource realTime = RealTimeSource::standard());

    enum class Ending {
        finished,   // the predicate held
        timeLimit,  // the virtual time limit came first
        stopped,    // the real time source asked to stop
    };

    // Runs work items in order until `finished` holds (checked before each item), `seconds` of
    // virtual time have passed from now, or a stop is requested. At the time limit the virtual
    // clock stands exactly at the limit; items due at the limit itself still run.
    Ending run(double seconds, const std::function<bool()>& finished = {});

    // Called after every work item, outside the item's measured time.
    void setAfterEachItem(std::function<void(const WorkItemReport&)> observer) {
        afterEachItem_ = std::move(observer);
    }

    std::optional<double> speed() const { return speed_; }
    std::size_t itemsRun() const { return itemsRun_; }
    double cpuSecondsInItems() const { return cpuSecondsInItems_; }

  private:
    // Sleeps until the virtual moment `due` comes on the wall clock; false when stopped first.
    bool waitUntil(double due);

    VirtualTime& time_;
    std::optional<double> speed_;
    RealTimeSource real_;
    std::function<void(const WorkItemReport&)> afterEachItem_;
    // The pair of moments that ties virtual time to real time; set when `run` starts.
    double virtualAnchor_ = 0;
    double realAnchor_ = 0;
    std::size_t itemsRun_ = 0;
    double cpuSecondsInItems_ = 0;
};

}  // namespace gaugely
