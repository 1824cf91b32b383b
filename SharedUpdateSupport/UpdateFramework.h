#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Date.h"
#include "SharedUpdateSupport/UpdateCandidate.h"

namespace gaugely {

// The feed item the framework settled on, with what the offer is made of.
struct FoundUpdate {
    UpdateCandidate candidate;
    // The item's description as the feed gives it: HTML unless the feed marks it plain text.
    std::string descriptionHTML;
    bool descriptionIsPlainText = false;
    std::optional<Date> date;
};

// The updater model's side of the framework. Every call arrives on the main queue.
class UpdateFrameworkDelegate {
  public:
    virtual ~UpdateFrameworkDelegate() = default;

    virtual std::string feedURL() = 0;
    // The item to offer among the feed's items, by index; none means "no update".
    virtual std::optional<std::size_t> chooseItem(const std::vector<UpdateCandidate>& items) = 0;
    virtual void didFindUpdate(const FoundUpdate& update) = 0;
    virtual void didNotFindUpdate() = 0;
    // The framework is about to replace and relaunch the app.
    virtual void willRelaunch() = 0;
    // A check or installation cycle ended; `failed` is false for "no update".
    virtual void didFinishCycle(bool failed) = 0;
};

// The update framework (Sparkle on a Mac, a fake in tests and the simulator). It never checks,
// downloads or installs on its own.
class UpdateFramework {
  public:
    virtual ~UpdateFramework() = default;

    // Called once, by an enabled updater; the delegate outlives the framework's use of it.
    virtual void start(UpdateFrameworkDelegate& delegate) = 0;
    // Asks the feed without downloading anything.
    virtual void probe() = 0;
    // A cycle that downloads and installs `build` and nothing else; the user approved it.
    virtual void installApprovedBuild(const std::string& build) = 0;
    // Whether a cycle is under way.
    [[nodiscard]] virtual bool sessionBusy() const = 0;
};

}  // namespace gaugely
