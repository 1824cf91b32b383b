#include "Meterlane/macOS/MacAccessibilityWorker.h"

#include <memory>
#include <string>
#include <utility>

#include "ProductFacts.h"

namespace gaugely {

namespace {

struct JobContext {
    std::shared_ptr<AccessibilityJob> job;
    Accessibility* port;
    double timeout;
};

// On the main queue, as the handle's owner is: only the main queue touches `deliver`.
class MacJobCancel final : public Cancellable {
  public:
    explicit MacJobCancel(std::weak_ptr<AccessibilityJob> job) : job_(std::move(job)) {}
    void cancel() override {
        if (const auto job = job_.lock()) {
            job->cancelled.store(true, std::memory_order_release);
            job->deliver = nullptr;
        }
    }

  private:
    std::weak_ptr<AccessibilityJob> job_;
};

// On the main queue. The job's last reference is released here too, so nothing the delivery held
// is ever destroyed on the worker.
void deliverJob(void* context) {
    const std::unique_ptr<std::shared_ptr<AccessibilityJob>> held(
        static_cast<std::shared_ptr<AccessibilityJob>*>(context));
    AccessibilityJob& job = **held;
    if (job.cancelled.load(std::memory_order_acquire) || !job.deliver) {
        return;
    }
    const std::function<void()> deliver = std::move(job.deliver);
    job.deliver = nullptr;
    deliver();
}

// On the worker queue.
void runJob(void* context) {
    const std::unique_ptr<JobContext> held(static_cast<JobContext*>(context));
    AccessibilityJob& job = *held->job;
    if (!job.cancelled.load(std::memory_order_acquire)) {
        WorkerAccessibility port(*held->port, job, held->timeout);
        job.run(port);
    }
    // The job's copies (element handles among them) go here, on the worker.
    job.run = nullptr;
    // Even a cancelled job goes back, to be released on the main queue.
    dispatch_async_f(dispatch_get_main_queue(),
                     new std::shared_ptr<AccessibilityJob>(std::move(held->job)), deliverJob);
}

void doNothing(void*) {}

}  // namespace

MacAccessibilityWorker::MacAccessibilityWorker(Accessibility& port, double messagingTimeoutSeconds)
    : port_(port), timeout_(messagingTimeoutSeconds) {
    const std::string label = std::string(product::bundleIdentifier) + ".accessibility";
    dispatch_queue_attr_t attributes =
        dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, QOS_CLASS_USER_INITIATED, 0);
    queue_ = dispatch_queue_create(label.c_str(), attributes);
}

MacAccessibilityWorker::~MacAccessibilityWorker() {
    // Jobs still queued hold the port: let them run out (skipped or failing at once) first.
    dispatch_sync_f(queue_, nullptr, doNothing);
    dispatch_release(queue_);
}

AccessibilityJobHandle MacAccessibilityWorker::enqueue(std::shared_ptr<AccessibilityJob> job) {
    auto handle = std::make_shared<MacJobCancel>(job);
    dispatch_async_f(queue_, new JobContext{std::move(job), &port_, timeout_}, runJob);
    return AccessibilityJobHandle(std::move(handle));
}

}  // namespace gaugely
