#pragma once

#include <dispatch/dispatch.h>

#include "Meterlane/Platform/AccessibilityWorker.h"
#include "Meterlane/Reader/CodexElementSearch.h"

namespace gaugely {

// The accessibility worker over one serial dispatch queue at user-initiated quality of service:
// jobs run there one at a time, in order, and each result is handed to the main dispatch queue.
// A cancelled job is skipped when its turn comes (the queue drains it without a round trip), and a
// result is checked again on the main queue before it is delivered.
//
// `port` must be used from this worker only once jobs go through it: its calls then all happen on
// one thread, one at a time.
class MacAccessibilityWorker final : public AccessibilityWorker {
  public:
    explicit MacAccessibilityWorker(
        Accessibility& port,
        double messagingTimeoutSeconds = CodexElementSearch::messagingTimeoutSeconds);
    // Waits for the job in flight, if any: its remaining round trips fail at once once its handle
    // is gone, so the wait is at most one message (bounded by the messaging timeout).
    ~MacAccessibilityWorker() override;
    MacAccessibilityWorker(const MacAccessibilityWorker&) = delete;
    MacAccessibilityWorker& operator=(const MacAccessibilityWorker&) = delete;

  protected:
    AccessibilityJobHandle enqueue(std::shared_ptr<AccessibilityJob> job) override;

  private:
    Accessibility& port_;
    double timeout_;
    dispatch_queue_t queue_;
};

}  // namespace gaugely
