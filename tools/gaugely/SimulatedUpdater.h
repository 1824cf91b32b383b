#pragma once

// The updater of the simulated Mac: the production runtime and its updater model over a fake
// update framework whose feed offers Gaugely 1.0.4 (4) on the reserved host updates.example.com,
// the updater's defaults suite beside the reader's file, and the refresh-gate hooks to the reader.
// What the updater and the framework do is written to the world's log ("updater",
// "update-framework").

#include <memory>
#include <string>

#include "Meterlane/Platform/Log.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeUpdateFramework.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"

namespace gaugely::tool {

inline constexpr std::string_view simulatedFeedHost = "updates.example.com";
inline constexpr std::string_view simulatedAppPath = "/Applications/Gaugely.app";

class SimulatedUpdater {
  public:
    using SuiteOpener = std::function<std::unique_ptr<Preferences>(std::string_view suiteName)>;

    SimulatedUpdater(VirtualTime& time, FakeWorkspace& workspace, Log& log, UsageReader& reader,
                     SuiteOpener openSuite, const TimeFormatter& formatter);

    // Starts (or, after an installation, starts again) the app as this version and build: a new
    // runtime that opens the suite again, as a new process would.
    UpdaterModel& launch(std::string version, std::string build);
    // Removes the notice and the receipt from the suite, as on a Mac that never checked.
    void forgetRecords();

    UpdaterModel& model() { return runtime_->model(); }
    // What the menu bar label adds while an update waits for the user: the red badge, drawn as a
    // dot, with its accessibility label.
    std::string badgeText() const {
        return runtime_ && runtime_->model().hasUnhandledUpdate() ? " \u25CF Update Available" : "";
    }
    FakeUpdateFramework& framework() { return framework_; }
    // Logs the receipt the suite holds, if any.
    void sayReceipt(const std::string& what);

  private:
    struct Shown {
        std::optional<std::string> message;
        std::optional<std::string> availableVersion;
        bool suppressesOnboarding = false;
        bool operator==(const Shown&) const = default;
    };
    void say(std::string_view category, const std::string& line);
    void modelChanged();

    VirtualTime& time_;
    FakeWorkspace& workspace_;
    Log& log_;
    UsageReader& reader_;
    SuiteOpener openSuite_;
    const TimeFormatter& formatter_;
    FakeUpdateFramework framework_;
    std::unique_ptr<MemoryBundleInformation> bundle_;
    std::unique_ptr<ProductionUpdaterRuntime> runtime_;
    Shown shown_;
};

}  // namespace gaugely::tool
