#pragma once

#include <string>

#include "Meterlane/Platform/MainQueue.h"
#include "SharedUpdateSupport/UpdateFramework.h"

namespace gaugely {

// The update framework of a build made without one (a cross-checked or development build with a
// feed host but no Sparkle): every check and installation it is asked for ends at once as a
// failed cycle, on the next turn of the main queue, as a framework that could not reach its feed
// would. The updater model therefore clears "Checking…", says the check failed (silently for a
// background check), keeps its daily checks going, and releases the refresh gate after an
// approved installation. It never reports an update. Main queue only.
class UnavailableUpdateFramework final : public UpdateFramework {
  public:
    explicit UnavailableUpdateFramework(MainQueue& queue) : queue_(queue) {}

    void start(UpdateFrameworkDelegate& delegate) override { delegate_ = &delegate; }
    void probe() override { failCycle(); }
    void installApprovedBuild(const std::string& build) override {
        (void)build;
        failCycle();
    }
    bool sessionBusy() const override { return busy_; }

  private:
    void failCycle() {
        if (delegate_ == nullptr || busy_) {
            return;
        }
        busy_ = true;
        pending_ = queue_.async([this] {
            busy_ = false;
            delegate_->didFinishCycle(true);
        });
    }

    MainQueue& queue_;
    UpdateFrameworkDelegate* delegate_ = nullptr;
    bool busy_ = false;
    // Goes with the framework, so the answer never reaches a delegate of one that is gone.
    TaskHandle pending_;
};

}  // namespace gaugely
