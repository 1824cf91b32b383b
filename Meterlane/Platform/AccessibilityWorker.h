#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// Holds one accessibility job for as long as its owner wants the result, as a task handle holds
// main-queue work: dropping it cancels the job. A job not yet started never starts; a job running
// finishes quickly (its remaining round trips fail at once) and its result is dropped; a result
// waiting on the main queue is never delivered. Main queue only.
using AccessibilityJobHandle = TaskHandle;

// One job as a worker holds it. `run` executes on the worker and touches only the port it is
// given and the values it carries; `deliver` executes on the main queue and is created, run and
// destroyed there only, so it may hold main-queue state. `cancelled` is the one thing both sides
// read.
struct AccessibilityJob {
    std::function<void(Accessibility&)> run;
    std::function<void()> deliver;
    std::atomic<bool> cancelled{false};
};

// The one serial accessibility worker: every accessibility round trip is a blocking message to
// the target application, so none runs on the main thread. Jobs run one at a time, in the order
// they were submitted; each result comes back to the main queue as a work item of its own, in the
// same order.
class AccessibilityWorker {
  public:
    virtual ~AccessibilityWorker() = default;

    // Runs `job(Accessibility&)` on the worker, then `completion(result)` on the main queue,
    // unless the handle is gone by then. Capture copies in `job`, never references to state of
    // the main queue.
    template <class Job, class Completion>
    AccessibilityJobHandle submit(Job job, Completion completion) {
        using Result = std::decay_t<std::invoke_result_t<Job&, Accessibility&>>;
        auto result = std::make_shared<std::optional<Result>>();
        auto held = std::make_shared<AccessibilityJob>();
        held->run = [job = std::move(job), result](Accessibility& port) mutable {
            result->emplace(job(port));
        };
        held->deliver = [completion = std::move(completion), result]() mutable {
            if (*result) {
                completion(std::move(**result));
            }
        };
        return enqueue(std::move(held));
    }

  protected:
    virtual AccessibilityJobHandle enqueue(std::shared_ptr<AccessibilityJob> job) = 0;
};

// The port as a job sees it. Once the job is cancelled every round trip fails at once with
// `cannotComplete` (a failed read, which every search already handles), so a cancelled walk ends
// in a few steps instead of finishing its thousands of messages. Every application element handed
// out carries the messaging timeout, and the process default is set before the first round trip,
// so a hung target costs a bounded wait. `beforeRoundTrip` lets a simulated worker charge the
// round trip's latency to its own clock.
class WorkerAccessibility final : public Accessibility {
  public:
    WorkerAccessibility(Accessibility& port, const AccessibilityJob& job,
                        double messagingTimeoutSeconds, std::function<void()> beforeRoundTrip = {})
        : port_(port),
          job_(job),
          timeout_(messagingTimeoutSeconds),
          beforeRoundTrip_(std::move(beforeRoundTrip)) {}

    AXElement applicationElement(ProcessID pid) override {
        AXElement application = port_.applicationElement(pid);
        if (application) {
            (void)port_.setMessagingTimeout(application, timeout_);
        }
        return application;
    }
    AXElement systemWideElement() override { return port_.systemWideElement(); }
    int32_t setMessagingTimeout(const AXElement& element, double seconds) override {
        return port_.setMessagingTimeout(element, seconds);
    }
    AXAttributeResult copyAttributeValue(const AXElement& element,
                                         std::string_view attribute) override {
        if (!admit()) {
            return {ax::cannotComplete, {}};
        }
        return port_.copyAttributeValue(element, attribute);
    }
    std::vector<AXAttributeResult> copyMultipleAttributeValues(
        const AXElement& element, std::span<const std::string_view> attributes) override {
        if (!admit()) {
            return std::vector<AXAttributeResult>(attributes.size(),
                                                  AXAttributeResult{ax::cannotComplete, {}});
        }
        return port_.copyMultipleAttributeValues(element, attributes);
    }
    std::optional<std::vector<std::string>> copyActionNames(const AXElement& element) override {
        if (!admit()) {
            return std::nullopt;
        }
        return port_.copyActionNames(element);
    }
    AXElementAtPositionResult elementAtPosition(const AXElement& application,
                                                Point point) override {
        if (!admit()) {
            return {ax::cannotComplete, {}};
        }
        return port_.elementAtPosition(application, point);
    }
    bool isProcessTrusted(bool prompt) override { return port_.isProcessTrusted(prompt); }

  private:
    // Whether the round trip may go ahead, after its latency has been charged.
    bool admit() {
        if (job_.cancelled.load(std::memory_order_acquire)) {
            return false;
        }
        if (!processTimeoutSet_) {
            processTimeoutSet_ = true;
            (void)port_.setMessagingTimeout(port_.systemWideElement(), timeout_);
        }
        if (beforeRoundTrip_) {
            beforeRoundTrip_();
        }
        // Cancelled while the message was on its way: its answer is of no use.
        return !job_.cancelled.load(std::memory_order_acquire);
    }

    Accessibility& port_;
    const AccessibilityJob& job_;
    double timeout_;
    std::function<void()> beforeRoundTrip_;
    bool processTimeoutSet_ = false;
};

// A worker for tools that keep every round trip on the main thread: each job runs at once, inside
// the step that hands it over, and its result still comes back as a main-queue work item of its
// own, so the run's steps are the same as with a real worker.
class InlineAccessibilityWorker final : public AccessibilityWorker {
  public:
    InlineAccessibilityWorker(Accessibility& port, MainQueue& mainQueue)
        : port_(port), mainQueue_(mainQueue) {}

  protected:
    AccessibilityJobHandle enqueue(std::shared_ptr<AccessibilityJob> job) override {
        job->run(port_);
        job->run = nullptr;
        return mainQueue_.async([job] {
            if (const std::function<void()> deliver = std::move(job->deliver)) {
                job->deliver = nullptr;
                deliver();
            }
        });
    }

  private:
    Accessibility& port_;
    MainQueue& mainQueue_;
};

}  // namespace gaugely
