#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/Accessibility.h"

namespace gaugely {

enum class ActivationPolicy { regular, accessory, prohibited };

struct RunningApplication {
    std::optional<std::string> bundleIdentifier;
    ProcessID processIdentifier = 0;
    ActivationPolicy activationPolicy = ActivationPolicy::regular;
    bool operator==(const RunningApplication&) const = default;
};

// Bits of the platform's application activation options.
inline constexpr unsigned activateIgnoringOtherApps = 2;

// Keeps a notification registration alive; destroying it unregisters.
class Subscription {
  public:
    virtual ~Subscription() = default;
};

class Workspace {
  public:
    virtual ~Workspace() = default;

    // In the order the platform lists them.
    virtual std::vector<RunningApplication> runningApplications() = 0;
    virtual std::optional<RunningApplication> frontmostApplication() = 0;
    virtual bool activate(ProcessID pid, unsigned options) = 0;

    // Whether this program's own settings window is the key window.
    virtual bool settingsWindowIsKey() = 0;

    virtual void openURL(const std::string& url) = 0;

    // Delivered on the main thread.
    virtual std::unique_ptr<Subscription> observeDidWake(std::function<void()> handler) = 0;
    virtual std::unique_ptr<Subscription> observeDidBecomeActive(std::function<void()> handler) = 0;
};

}  // namespace gaugely
