#pragma once

// The update framework port over Sparkle 2: an SPUUpdater with a user driver that installs only
// the approved build and a delegate that hands every event to the updater model. It translates;
// every decision (which item, which reply, which window, whether a cycle failed) is the core's.
// Main thread only, as Sparkle calls it.

#include <memory>
#include <string>

#include "SharedUpdateSupport/UpdateFramework.h"

namespace gaugely {

class SparkleUpdateFramework final : public UpdateFramework {
  public:
    // Updates the running application bundle.
    SparkleUpdateFramework();
    ~SparkleUpdateFramework() override;
    SparkleUpdateFramework(const SparkleUpdateFramework&) = delete;
    SparkleUpdateFramework& operator=(const SparkleUpdateFramework&) = delete;

    void start(UpdateFrameworkDelegate& delegate) override;
    void probe() override;
    void installApprovedBuild(const std::string& build) override;
    bool sessionBusy() const override;

  private:
    struct Objects;
    std::unique_ptr<Objects> objects_;
};

}  // namespace gaugely
