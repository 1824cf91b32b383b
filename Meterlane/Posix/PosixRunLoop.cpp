#include "Meterlane/Posix/PosixRunLoop.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <vector>

#include "Meterlane/Posix/StopSignals.h"

namespace gaugely {

struct PosixRunLoop::Timer {
    std::function<void()> work;
    double interval = 0;
    bool cancelled = false;
};

struct PosixRunLoop::State {
    // By due time, then by the order of scheduling.
    std::multimap<std::pair<double, uint64_t>, std::shared_ptr<Timer>> timers;
    uint64_t sequence = 0;
    std::map<uint64_t, Descriptor> descriptors;
    uint64_t nextDescriptor = 0;
};

class PosixRunLoop::TimerHandle final : public Cancellable {
  public:
    explicit TimerHandle(std::weak_ptr<Timer> timer) : timer_(std::move(timer)) {}
    void cancel() override {
        if (const auto timer = timer_.lock()) {
            timer->cancelled = true;
            timer->work = nullptr;
        }
    }

  private:
    std::weak_ptr<Timer> timer_;
};

class PosixRunLoop::DescriptorToken final : public Subscription {
  public:
    DescriptorToken(std::weak_ptr<State> state, uint64_t id) : state_(std::move(state)), id_(id) {}
    ~DescriptorToken() override {
        if (const auto state = state_.lock()) {
            state->descriptors.erase(id_);
        }
    }

  private:
    std::weak_ptr<State> state_;
    uint64_t id_;
};

PosixRunLoop::PosixRunLoop() : state_(std::make_shared<State>()) {}

PosixRunLoop::~PosixRunLoop() = default;

TaskHandle PosixRunLoop::asyncAfter(double seconds, std::function<void()> work) {
    return handle(schedule(monotonicSeconds() + std::max(seconds, 0.0), 0, std::move(work)));
}

void PosixRunLoop::post(std::function<void()> work) {
    schedule(monotonicSeconds(), 0, std::move(work));
}

TaskHandle PosixRunLoop::scheduleRepeating(double firstFire, double interval, double /*leeway*/,
                                           std::function<void()> work) {
    return handle(
        schedule(monotonicSeconds() + std::max(firstFire, 0.0), interval, std::move(work)));
}

std::shared_ptr<PosixRunLoop::Timer> PosixRunLoop::schedule(double due, double interval,
                                                            std::function<void()> work) {
    auto timer = std::make_shared<Timer>();
    timer->work = std::move(work);
    timer->interval = interval > 0 ? interval : 0;
    state_->timers.emplace(std::make_pair(due, state_->sequence++), timer);
    return timer;
}

TaskHandle PosixRunLoop::handle(const std::shared_ptr<Timer>& timer) {
    return TaskHandle(std::make_shared<TimerHandle>(timer));
}

Date PosixRunLoop::now() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return Date::fromUnixTime(std::chrono::duration<double>(sinceEpoch).count());
}

double PosixRunLoop::monotonicSeconds() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(sinceStart).count();
}

std::unique_ptr<Subscription> PosixRunLoop::addDescriptor(int fd, std::function<void()> readable) {
    const uint64_t id = state_->nextDescriptor++;
    state_->descriptors.emplace(id, Descriptor{fd, std::move(readable)});
    return std::make_unique<DescriptorToken>(state_, id);
}

double PosixRunLoop::runDueTimers() {
    const double now = monotonicSeconds();
    auto& timers = state_->timers;
    while (!timers.empty() && !stopRequested_) {
        const auto first = timers.begin();
        if (first->first.first > now) {
            return first->first.first - now;
        }
        const double due = first->first.first;
        const std::shared_ptr<Timer> timer = first->second;
        timers.erase(first);
        if (timer->cancelled) {
            continue;
        }
        if (timer->interval > 0) {
            // A timer that fell behind (the machine slept) fires once, not once per miss.
            double next = due + timer->interval;
            if (next <= now) {
                next = now + timer->interval;
            }
            timers.emplace(std::make_pair(next, state_->sequence++), timer);
        }
        // A copy: the work may cancel its own timer, which drops the stored function.
        const std::function<void()> work = timer->work;
        if (work) {
            work();
        }
    }
    return timers.empty() ? -1 : 0;
}

void PosixRunLoop::waitForDescriptors(double timeout, int wakeDescriptor) {
    std::vector<pollfd> polled;
    std::vector<uint64_t> ids;
    for (const auto& [id, descriptor] : state_->descriptors) {
        polled.push_back(pollfd{descriptor.fd, POLLIN, 0});
        ids.push_back(id);
    }
    if (wakeDescriptor >= 0) {
        polled.push_back(pollfd{wakeDescriptor, POLLIN, 0});
    }
    int milliseconds = -1;
    if (timeout >= 0) {
        // Rounded up, so a timer is never woken for just short of its due time.
        const double rounded = std::ceil(timeout * 1000.0);
        milliseconds = rounded > INT_MAX ? INT_MAX : static_cast<int>(rounded);
    }
    const int ready = ::poll(polled.data(), polled.size(), milliseconds);
    if (ready <= 0) {
        // A timeout, or a signal (EINTR): the loop looks at its timers and flags again.
        return;
    }
    for (std::size_t i = 0; i < ids.size() && !stopRequested_; ++i) {
        if ((polled[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
            continue;
        }
        // An earlier callback may have removed this one.
        const auto found = state_->descriptors.find(ids[i]);
        if (found == state_->descriptors.end()) {
            continue;
        }
        const std::function<void()> readable = found->second.readable;
        readable();
    }
}

void PosixRunLoop::run(const StopSignals* signals) {
    const int wake = signals ? signals->wakeDescriptor() : -1;
    const auto stopping = [&] {
        return stopRequested_ || (signals != nullptr && signals->stopRequested());
    };
    while (!stopping()) {
        const double wait = runDueTimers();
        if (stopping()) {
            break;
        }
        if (wait < 0 && state_->descriptors.empty()) {
            break;
        }
        waitForDescriptors(wait, wake);
    }
    stopRequested_ = false;
}

}  // namespace gaugely
