#pragma once

// What `gaugely simulate` writes of the app's updater to the simulated Mac's log ("updater",
// "update-framework"): the framework's steps, each answer of the refresh gate, the version each
// start runs, what the user sees of the updater change (an offer, a message, the onboarding held
// back), and the receipt the updater's suite holds when the app quits for an update and starts
// again. It only listens: the app is wired as on a Mac.

#include <optional>
#include <string>
#include <string_view>

#include "tools/gaugely/SimulatedMac.h"

namespace gaugely::tool {

class UpdaterLog {
  public:
    // Listens to `mac` from now on; call `launched` after each start.
    explicit UpdaterLog(SimulatedMac& mac);

    void launched(AppAssembly& app);

  private:
    struct Shown {
        std::optional<std::string> message;
        std::optional<std::string> availableVersion;
        bool suppressesOnboarding = false;
        bool operator==(const Shown&) const = default;
    };
    void say(std::string_view category, const std::string& line);
    void sayReceipt(const std::string& what);
    void modelChanged(const UpdaterModel& model);

    SimulatedMac& mac_;
    int starts_ = 0;
    Shown shown_;
};

}  // namespace gaugely::tool
