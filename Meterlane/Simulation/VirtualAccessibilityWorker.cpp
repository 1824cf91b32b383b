#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace gaugely {

// What the worker and the handles of its jobs share; handles may outlive the worker.
struct VirtualAccessibilityWorker::Shared {
    std::deque<std::shared_ptr<AccessibilityJob>> queued;
    std::map<const AccessibilityJob*, TaskHandle> deliveries;

    void withdraw(AccessibilityJob& job) {
        queued.erase(std::remove_if(queued.begin(), queued.end(),
                                    [&](const auto& held) { return held.get() == &job; }),
                     queued.end());
        // Moved out first: cancelling may release the closure that holds the job.
        if (auto delivery = deliveries.extract(&job)) {
            delivery.mapped().cancel();
        }
    }
};

class VirtualAccessibilityWorker::JobCancel final : public Cancellable {
  public:
    JobCancel(std::weak_ptr<Shared> shared, std::weak_ptr<AccessibilityJob> job)
        : shared_(std::move(shared)), job_(std::move(job)) {}

    void cancel() override {
        const auto job = job_.lock();
        if (!job) {
            return;
        }
        job->cancelled.store(true, std::memory_order_release);
        if (const auto shared = shared_.lock()) {
            shared->withdraw(*job);
        }
        job->deliver = nullptr;
    }

  private:
    std::weak_ptr<Shared> shared_;
    std::weak_ptr<AccessibilityJob> job_;
};

// The job's own thread, and the baton passed between it and the main queue: exactly one of the
// two runs at any time.
class VirtualAccessibilityWorker::JobThread {
  public:
    explicit JobThread(std::function<void()> body)
        : thread_([this, body = std::move(body)] {
              waitForTurn();
              body();
              std::lock_guard lock(mutex_);
              finished_ = true;
              workerTurn_ = false;
              changed_.notify_all();
          }) {}

    ~JobThread() { thread_.join(); }

    // Main side: runs the job until it yields or ends. True when it ended.
    bool runUntilYield() {
        std::unique_lock lock(mutex_);
        workerTurn_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return !workerTurn_; });
        return finished_;
    }

    // Job side: hands the turn back and waits for it.
    void yield() {
        std::unique_lock lock(mutex_);
        workerTurn_ = false;
        changed_.notify_all();
        changed_.wait(lock, [&] { return workerTurn_; });
    }

  private:
    void waitForTurn() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return workerTurn_; });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool workerTurn_ = false;
    bool finished_ = false;
    std::thread thread_;  // last: started once the baton exists
};

VirtualAccessibilityWorker::VirtualAccessibilityWorker(VirtualTime& time,
                                                       SimulatedAccessibility& accessibility,
                                                       double messagingTimeoutSeconds)
    : time_(time),
      ax_(accessibility),
      timeout_(messagingTimeoutSeconds),
      shared_(std::make_shared<Shared>()) {}

VirtualAccessibilityWorker::~VirtualAccessibilityWorker() {
    for (const auto& job : shared_->queued) {
        job->cancelled.store(true, std::memory_order_release);
        job->deliver = nullptr;
    }
    shared_->queued.clear();
    for (auto& [job, delivery] : shared_->deliveries) {
        delivery.cancel();
    }
    shared_->deliveries.clear();
    step_.cancel();
    if (running_ && thread_) {
        running_->cancelled.store(true, std::memory_order_release);
        running_->deliver = nullptr;
        ax_.setChargesMainThread(false);
        while (!thread_->runUntilYield()) {
        }
        ax_.setChargesMainThread(true);
        thread_.reset();
    }
}

std::size_t VirtualAccessibilityWorker::queuedJobs() const {
    return shared_->queued.size();
}

std::size_t VirtualAccessibilityWorker::pendingDeliveries() const {
    return shared_->deliveries.size();
}

AccessibilityJobHandle VirtualAccessibilityWorker::enqueue(std::shared_ptr<AccessibilityJob> job) {
    auto handle = std::make_shared<JobCancel>(shared_, job);
    shared_->queued.push_back(std::move(job));
    if (!running_ && !step_) {
        scheduleStart();
    }
    return AccessibilityJobHandle(std::move(handle));
}

void VirtualAccessibilityWorker::scheduleStart() {
    step_ = time_.async([this] { startNext(); });
}

void VirtualAccessibilityWorker::startNext() {
    step_ = {};
    if (running_ || shared_->queued.empty()) {
        return;
    }
    workerNow_ = time_.monotonicSeconds();
    running_ = std::move(shared_->queued.front());
    shared_->queued.pop_front();
    AccessibilityJob& job = *running_;
    thread_ = std::make_unique<JobThread>([this, &job] {
        WorkerAccessibility port(ax_, job, timeout_, [this] {
            // On the job's thread, while the main queue waits in resume().
            const double latency = ax_.roundTripSeconds();
            ++roundTrips_;
            busySeconds_ += latency;
            workerNow_ += latency;
            // Nothing on the main queue falls due before the answer comes: handing over would
            // change nothing, and a walk makes thousands of round trips.
            const auto due = time_.nextDueTime();
            if (due && *due <= workerNow_) {
                thread_->yield();
            }
        });
        if (!job.cancelled.load(std::memory_order_acquire)) {
            job.run(port);
        }
        // The job's copies go with it, on its own thread.
        job.run = nullptr;
    });
    resume();
}

void VirtualAccessibilityWorker::resume() {
    step_ = {};
    ax_.setChargesMainThread(false);
    const bool ended = thread_->runUntilYield();
    ax_.setChargesMainThread(true);
    // The job is ahead of the main queue by the round trips it made without handing over.
    const double ahead = workerNow_ - time_.monotonicSeconds();
    if (ended) {
        thread_.reset();
        step_ = time_.asyncAfter(ahead, [this] { finish(); });
    } else {
        step_ = time_.asyncAfter(ahead, [this] { resume(); });
    }
}

void VirtualAccessibilityWorker::finish() {
    step_ = {};
    const std::shared_ptr<AccessibilityJob> job = std::move(running_);
    ++jobsRun_;
    if (job->cancelled.load(std::memory_order_acquire)) {
        job->deliver = nullptr;
    } else {
        const AccessibilityJob* key = job.get();
        shared_->deliveries[key] = time_.async([shared = std::weak_ptr<Shared>(shared_), job] {
            if (const auto alive = shared.lock()) {
                alive->deliveries.erase(job.get());
            }
            if (job->cancelled.load(std::memory_order_acquire) || !job->deliver) {
                return;
            }
            const std::function<void()> deliver = std::move(job->deliver);
            job->deliver = nullptr;
            deliver();
        });
    }
    if (!shared_->queued.empty()) {
        scheduleStart();
    }
}

}  // namespace gaugely
