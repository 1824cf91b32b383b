#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/ApplicationActivation.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/Subscription.h"

namespace gaugely {

enum class ActivationPolicy { regular, accessory, prohibited };

struct RunningApplication {
    std::optional<std::string> bundleIdentifier;
    ProcessID processIdentifier = 0;
    ActivationPolicy activationPolicy = ActivationPolicy::regular;
    bool operator==(const RunningApplication&) const = default;
};

class Workspace {
  public:
    virtual ~Workspace() = default;

    // In the order the platform lists them.
    virtual std::vector<RunningApplication> runningApplications() = 0;
    virtual std::optional<RunningApplication> frontmostApplication() = 0;
    // The bundle a running application was started from (its version is there); none when the
    // process is gone or was not started from a bundle.
    virtual std::unique_ptr<BundleInformation> applicationBundle(ProcessID pid) = 0;
    // Asks for the application to come to the front in the given way; false when the platform
    // refused at once (the application is gone, or the system declined the request). Coming to
    // the front takes a moment even when the answer is true.
    virtual bool activate(ProcessID pid, ActivationStyle style) = 0;
    // The major version of the running macOS (13 for Ventura), which decides the activation style.
    virtual int operatingSystemMajorVersion() = 0;

    // Whether this program's own settings window is the key window.
    virtual bool settingsWindowIsKey() = 0;

    virtual void openURL(const std::string& url) = 0;

    // Delivered on the main thread.
    virtual std::unique_ptr<Subscription> observeDidWake(std::function<void()> handler) = 0;
    virtual std::unique_ptr<Subscription> observeDidBecomeActive(std::function<void()> handler) = 0;
};

}  // namespace gaugely
