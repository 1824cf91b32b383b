#pragma once

#include <functional>

#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// The Workspace port over NSWorkspace and NSRunningApplication. Notifications are delivered on the
// main queue.
class MacWorkspace final : public Workspace {
  public:
    // The settings window belongs to the app, which says how to ask about it; until then the
    // answer is false.
    void setSettingsWindowIsKeyProvider(std::function<bool()> provider) {
        settingsWindowIsKeyProvider_ = std::move(provider);
    }

    std::vector<RunningApplication> runningApplications() override;
    std::optional<RunningApplication> frontmostApplication() override;
    // From NSRunningApplication's bundle URL, read through CFBundle.
    std::unique_ptr<BundleInformation> applicationBundle(ProcessID pid) override;
    // Cooperatively from macOS 14 on (this app yields its activation to the target, then asks
    // for the target on its own behalf); at once, ignoring other applications, on macOS 13.
    bool activate(ProcessID pid, ActivationStyle style) override;
    int operatingSystemMajorVersion() override;
    bool settingsWindowIsKey() override;
    void openURL(const std::string& url) override;
    std::unique_ptr<Subscription> observeDidWake(std::function<void()> handler) override;
    std::unique_ptr<Subscription> observeDidBecomeActive(std::function<void()> handler) override;

  private:
    std::function<bool()> settingsWindowIsKeyProvider_;
};

}  // namespace gaugely
