#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/TaskGroup.h"
#include "Meterlane/Platform/Workspace.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/ObserverList.h"

namespace gaugely {

// The running applications of the simulated world, which one is in front, and the two
// notifications the reader listens to. Activation takes effect a little later, as on the
// platform, through the main queue.
class FakeWorkspace final : public Workspace {
  public:
    explicit FakeWorkspace(MainQueue& queue) : queue_(queue) {}
    FakeWorkspace(const FakeWorkspace&) = delete;
    FakeWorkspace& operator=(const FakeWorkspace&) = delete;

    std::vector<RunningApplication> runningApplications() override { return applications_; }
    std::optional<RunningApplication> frontmostApplication() override;
    // A copy of the bundle set for a running process.
    std::unique_ptr<BundleInformation> applicationBundle(ProcessID pid) override;
    // Records the request; false for a process that is not running, or a request the system
    // declines. Otherwise the application comes to the front after `activationDelay` if it is
    // still running then. From macOS 14 on, a request that ignores other applications is
    // accepted and has no effect.
    bool activate(ProcessID pid, ActivationStyle style) override;
    int operatingSystemMajorVersion() override { return macOSMajorVersion; }
    bool settingsWindowIsKey() override { return settingsWindowIsKey_; }
    void openURL(const std::string& url) override { openedURLs_.push_back(url); }
    std::unique_ptr<Subscription> observeDidWake(std::function<void()> handler) override;
    std::unique_ptr<Subscription> observeDidBecomeActive(std::function<void()> handler) override;

    // Appended in platform order; an application already listed under the pid is replaced in
    // place.
    void addApplication(const RunningApplication& application);
    // Leaves the list and, when it was in front, the front (nothing is frontmost then).
    void removeApplication(ProcessID pid);
    // The bundle `applicationBundle` answers for the process while it runs; none: no bundle.
    void setApplicationBundle(ProcessID pid, std::optional<MemoryBundleInformation> bundle);
    bool isRunning(ProcessID pid) const;
    // Immediately; none for no frontmost application. An unknown pid is ignored.
    void setFrontmost(std::optional<ProcessID> pid);
    std::optional<ProcessID> frontmostPid() const { return frontmost_; }
    void setSettingsWindowIsKey(bool isKey) { settingsWindowIsKey_ = isKey; }

    void postWake() { wakeObservers_.notify(); }
    void postDidBecomeActive() { activeObservers_.notify(); }

    // How long an activation takes to bring the application forward; none: it never does
    // (another application keeps the front).
    std::optional<double> activationDelay = 0.05;
    int macOSMajorVersion = 13;
    // The system turns cooperative requests down (this app was not in front recently enough).
    bool declinesCooperativeActivation = false;

    struct Activation {
        ProcessID pid = 0;
        ActivationStyle style = ActivationStyle::ignoringOtherApps;
        bool operator==(const Activation&) const = default;
    };
    const std::vector<Activation>& activations() const { return activations_; }
    // A request that will still bring its application to the front.
    bool activationPending() const { return !pendingActivations_.empty(); }
    const std::vector<std::string>& openedURLs() const { return openedURLs_; }

  private:
    MainQueue& queue_;
    std::vector<RunningApplication> applications_;
    std::map<ProcessID, MemoryBundleInformation> bundles_;
    std::optional<ProcessID> frontmost_;
    bool settingsWindowIsKey_ = false;
    std::vector<Activation> activations_;
    std::vector<std::string> openedURLs_;
    ObserverList<> wakeObservers_;
    ObserverList<> activeObservers_;
    // Activations that take effect later; they go with the workspace.
    TaskGroup pendingActivations_{queue_};
};

}  // namespace gaugely
