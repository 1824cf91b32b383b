#pragma once

#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// The MainQueue port over the main dispatch queue. Work items and timers are cancelled on the main
// queue, like everything else that touches them; only `post` may be called from any thread.
class MacMainQueue final : public MainQueue {
  public:
    TaskHandle asyncAfter(double seconds, std::function<void()> work) override;
    void post(std::function<void()> work) override;
    TaskHandle scheduleRepeating(double firstFire, double interval, double leeway,
                                 std::function<void()> work) override;
    // A block the main run loop performs in its default mode, outside any dispatch work item.
    TaskHandle performOnRunLoop(std::function<void()> work) override;
};

}  // namespace gaugely
