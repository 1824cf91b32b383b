#pragma once

// The update framework port over Sparkle 2: an SPUUpdater with a user driver that installs only
// the approved build and a delegate that hands every event to the updater model. It translates;
// every decision (which item, which reply, which window, whether a cycle failed) is the core's.
// Main thread only, as Sparkle calls it.

#include <memory>
#include <string>

#include "Meterlane/Verification/UpdateFrameworkEvent.h"
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

    // For `make mac-verify`: every callback of Sparkle's is told to the observer as it arrives
    // (a question to the user driver before its reply); none stops the reports.
    void setObserver(UpdateFrameworkObserver* observer);
    // Ends the approval of the build being installed, as dismissing the installation does.
    void withdrawApproval();

  private:
    struct Objects;
    std::unique_ptr<Objects> objects_;
};

}  // namespace gaugely
