#pragma once

#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// The MainQueue port over the main dispatch queue. Work items and timers are cancelled on the main
// queue, like everything else that touches them.
class MacMainQueue final : public MainQueue {
  public:
    std::shared_ptr<Cancellable> asyncAfter(double seconds, std::function<void()> work) override;
    std::shared_ptr<Cancellable> scheduleRepeating(double firstFire, double interval, double leeway,
                                                   std::function<void()> work) override;
    // A block the main run loop performs in its default mode, outside any dispatch work item.
    std::shared_ptr<Cancellable> performOnRunLoop(std::function<void()> work) override;
};

}  // namespace gaugely
