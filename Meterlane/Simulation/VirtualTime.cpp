#include "Meterlane/Simulation/VirtualTime.h"

#include <algorithm>
#include <map>
#include <utility>

namespace gaugely {

// Keyed by (due time, scheduling sequence), so ties keep the order of scheduling.
using QueueKey = std::pair<double, uint64_t>;

struct VirtualTime::Entry {
    std::function<void()> work;
    double interval = 0;  // > 0 for a repeating timer
    QueueKey key;
    bool cancelled = false;
    bool running = false;
    bool fromRunLoop = false;
};

struct VirtualTime::Queue {
    std::map<QueueKey, std::shared_ptr<Entry>> items;
    uint64_t nextSequence = 0;
    std::size_t oneShots = 0;

    void insert(const std::shared_ptr<Entry>& entry, double due) {
        entry->key = {due, nextSequence++};
        items.emplace(entry->key, entry);
        if (entry->interval <= 0) {
            ++oneShots;
        }
    }

    bool erase(const Entry& entry) {
        if (items.erase(entry.key) == 0) {
            return false;
        }
        if (entry.interval <= 0) {
            --oneShots;
        }
        return true;
    }
};

// The handle holds the queue weakly: cancelling after the queue is gone is harmless.
class VirtualTime::Handle final : public Cancellable {
  public:
    Handle(std::weak_ptr<Queue> queue, std::shared_ptr<Entry> entry)
        : queue_(std::move(queue)), entry_(std::move(entry)) {}

    void cancel() override {
        if (entry_->cancelled) {
            return;
        }
        entry_->cancelled = true;
        if (auto queue = queue_.lock()) {
            queue->erase(*entry_);
        }
        // Work that cancels itself is still running; its closure is released when it returns.
        if (!entry_->running) {
            entry_->work = nullptr;
        }
    }

  private:
    std::weak_ptr<Queue> queue_;
    std::shared_ptr<Entry> entry_;
};

VirtualTime::VirtualTime(Date start, double monotonicStart)
    : queue_(std::make_shared<Queue>()),
      monotonic_(monotonicStart),
      wallOffset_(start.timeIntervalSinceReferenceDate - monotonicStart) {}

VirtualTime::~VirtualTime() = default;

std::shared_ptr<VirtualTime::Entry> VirtualTime::schedule(double due, double interval,
                                                          std::function<void()> work,
                                                          bool fromRunLoop) {
    auto entry = std::make_shared<Entry>();
    entry->work = std::move(work);
    entry->interval = interval;
    entry->fromRunLoop = fromRunLoop;
    queue_->insert(entry, due);
    return entry;
}

TaskHandle VirtualTime::handle(std::shared_ptr<Entry> entry) {
    return TaskHandle(std::make_shared<Handle>(queue_, std::move(entry)));
}

TaskHandle VirtualTime::asyncAfter(double seconds, std::function<void()> work) {
    return handle(schedule(monotonic_ + std::max(0.0, seconds), 0, std::move(work)));
}

void VirtualTime::post(std::function<void()> work) {
    schedule(monotonic_, 0, std::move(work));
}

TaskHandle VirtualTime::scheduleRepeating(double firstFire, double interval, double /*leeway*/,
                                          std::function<void()> work) {
    return handle(
        schedule(monotonic_ + std::max(0.0, firstFire), std::max(0.0, interval), std::move(work)));
}

TaskHandle VirtualTime::performOnRunLoop(std::function<void()> work) {
    return handle(schedule(monotonic_, 0, std::move(work), true));
}

Date VirtualTime::now() {
    return Date{wallOffset_ + monotonic_};
}

double VirtualTime::monotonicSeconds() {
    return monotonic_;
}

void VirtualTime::setNow(Date date) {
    wallOffset_ = date.timeIntervalSinceReferenceDate - monotonic_;
}

bool VirtualTime::runNext() {
    // Held for the step, so the entry can be put back even if work swaps things around us.
    auto queue = queue_;
    if (queue->items.empty()) {
        return false;
    }
    auto entry = queue->items.begin()->second;
    queue->erase(*entry);
    monotonic_ = std::max(monotonic_, entry->key.first);

    entry->running = true;
    const int queueItem = entry->fromRunLoop ? 0 : 1;
    queueItemsRunning_ += queueItem;
    if (entry->work) {
        entry->work();
    }
    queueItemsRunning_ -= queueItem;
    entry->running = false;
    ++executed_;

    if (entry->cancelled) {
        entry->work = nullptr;
    } else if (entry->interval > 0) {
        // Timers keep their cadence: the next firing is a whole interval after the planned one.
        queue->insert(entry, entry->key.first + entry->interval);
    } else {
        entry->work = nullptr;
    }
    return true;
}

std::size_t VirtualTime::runUntilIdle(std::size_t maxSteps) {
    std::size_t steps = 0;
    while (steps < maxSteps && queue_->oneShots > 0) {
        runNext();
        ++steps;
    }
    return steps;
}

void VirtualTime::advance(double seconds) {
    const double target = monotonic_ + std::max(0.0, seconds);
    while (!queue_->items.empty() && queue_->items.begin()->first.first <= target) {
        runNext();
    }
    monotonic_ = std::max(monotonic_, target);
}

bool VirtualTime::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
    const double deadline = monotonic_ + std::max(0.0, timeoutSeconds);
    while (!predicate()) {
        if (queue_->items.empty() || queue_->items.begin()->first.first > deadline) {
            monotonic_ = std::max(monotonic_, deadline);
            return predicate();
        }
        runNext();
    }
    return true;
}

void VirtualTime::block(double seconds) {
    monotonic_ += std::max(0.0, seconds);
}

void VirtualTime::runModalSession(double seconds) {
    if (queueItemsRunning_ > 0) {
        block(seconds);
    } else {
        advance(seconds);
    }
}

std::size_t VirtualTime::pendingCount() const {
    return queue_->items.size();
}

std::size_t VirtualTime::pendingOneShotCount() const {
    return queue_->oneShots;
}

std::optional<double> VirtualTime::nextDueTime() const {
    if (queue_->items.empty()) {
        return std::nullopt;
    }
    return queue_->items.begin()->first.first;
}

}  // namespace gaugely
