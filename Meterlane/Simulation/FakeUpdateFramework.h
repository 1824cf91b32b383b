#pragma once

// An update framework for tests and the simulator. It serves a feed held in memory, answers on
// the main queue after the delays a real check and installation take, asks the delegate and the
// approved-install rules the same questions the real framework's adapter does, and tells what it
// does through `onEvent`. A relaunch only marks `relaunched()` and tells `onRelaunch` which build
// was installed: the caller plays the new start.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/TaskGroup.h"
#include "SharedUpdateSupport/UpdateFramework.h"

namespace gaugely {

class FakeUpdateFramework final : public UpdateFramework {
  public:
    enum class InstallOutcome { relaunches, fails, endsWithoutRelaunch };

    explicit FakeUpdateFramework(MainQueue& queue) : queue_(queue) {}

    // The feed's items, in feed order.
    std::vector<FoundUpdate> feed;
    bool feedUnreachable = false;
    InstallOutcome installOutcome = InstallOutcome::relaunches;
    double probeSeconds = 0.8;
    double downloadSeconds = 2.0;
    std::function<void(const std::string&)> onEvent;
    // The app quit to be relaunched as this build; told after the cycle has ended.
    std::function<void(const UpdateCandidate&)> onRelaunch;

    void start(UpdateFrameworkDelegate& delegate) override;
    void probe() override;
    void installApprovedBuild(const std::string& build) override;
    bool sessionBusy() const override { return busy_; }

    bool started() const { return delegate_ != nullptr; }
    int probeCount() const { return probes_; }
    const std::optional<std::string>& approvedBuild() const { return approvedBuild_; }
    bool relaunched() const { return relaunched_; }

  private:
    void tell(const std::string& event) const;
    std::optional<std::size_t> chosenItem();
    void finish(bool failed);
    void continueInstallation();

    MainQueue& queue_;
    UpdateFrameworkDelegate* delegate_ = nullptr;
    bool busy_ = false;
    int probes_ = 0;
    std::optional<std::string> approvedBuild_;
    bool relaunched_ = false;
    // The steps of the cycle under way; they go with the framework.
    TaskGroup cycle_{queue_};
};

}  // namespace gaugely
