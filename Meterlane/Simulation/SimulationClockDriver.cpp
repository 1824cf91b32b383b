#include "Meterlane/Simulation/SimulationClockDriver.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

namespace gaugely {

RealTimeSource RealTimeSource::standard() {
    return RealTimeSource{
        [] {
            return std::chrono::duration<double>(
                       std::chrono::steady_clock::now().time_since_epoch())
                .count();
        },
        [](double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); },
        [] { return false; },
        [] { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; },
    };
}

SimulationClockDriver::SimulationClockDriver(VirtualTime& time, std::optional<double> speed,
                                             RealTimeSource realTime)
    : time_(time), speed_(speed), real_(std::move(realTime)) {
    if (speed_ && !(*speed_ > 0)) {
        speed_.reset();
    }
}

bool SimulationClockDriver::waitUntil(double due) {
    if (!speed_) {
        return !real_.stopRequested();
    }
    const double target = realAnchor_ + (due - virtualAnchor_) / *speed_;
    while (!real_.stopRequested()) {
        const double left = target - real_.monotonicSeconds();
        if (left <= 0) {
            return true;
        }
        real_.sleep(left);
    }
    return false;
}

SimulationClockDriver::Ending SimulationClockDriver::run(double seconds,
                                                         const std::function<bool()>& finished) {
    virtualAnchor_ = time_.monotonicSeconds();
    realAnchor_ = real_.monotonicSeconds();
    const double limit = virtualAnchor_ + seconds;
    while (true) {
        if (real_.stopRequested()) {
            return Ending::stopped;
        }
        if (finished && finished()) {
            return Ending::finished;
        }
        const std::optional<double> next = time_.nextDueTime();
        if (!next || *next > limit) {
            if (!waitUntil(limit)) {
                return Ending::stopped;
            }
            // Nothing is due before the limit, so this only moves the clock.
            time_.advance(std::max(0.0, limit - time_.monotonicSeconds()));
            return Ending::timeLimit;
        }
        if (!waitUntil(*next)) {
            return Ending::stopped;
        }
        // An item that fell due while the one before it blocked runs late, at once.
        const double startsAt = std::max(*next, time_.monotonicSeconds());
        const double before = real_.cpuSeconds();
        time_.runNext();
        const double cost = real_.cpuSeconds() - before;
        ++itemsRun_;
        cpuSecondsInItems_ += cost;
        if (afterEachItem_) {
            afterEachItem_(WorkItemReport{time_.monotonicSeconds(), cost,
                                          time_.monotonicSeconds() - startsAt});
        }
    }
}

}  // namespace gaugely
