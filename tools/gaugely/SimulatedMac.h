#pragma once

// A Mac as `gaugely simulate` plays it, with Gaugely on it: Finder and Codex running with Codex
// in front, the user idle, notifications allowed, and Gaugely 1.0.3 (3) installed as a production
// build whose feed, on the reserved host updates.example.com, offers nothing newer until
// `publishRelease`. The app is the `AppAssembly` the Mac's entry point builds, over these
// simulated ports and the given defaults; an installation's relaunch builds a new one over the
// same defaults, as a new process would. Main queue (virtual time) only.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeUpdateFramework.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/ScriptedAlertPresenter.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "Meterlane/Startup/AppAssembly.h"

namespace gaugely::tool {

class SimulatedMac {
  public:
    static constexpr ProcessID finderPid = 301;
    static constexpr std::string_view feedHost = "updates.example.com";
    static constexpr std::string_view appPath = "/Applications/Gaugely.app";
    static constexpr std::string_view installedVersion = "1.0.3";
    static constexpr std::string_view installedBuild = "3";
    using SuiteOpener = std::function<std::unique_ptr<Preferences>(std::string_view suiteName)>;

    // `openSuite` opens the updater's defaults suite. `countedUUIDs`: identifiers from a counter
    // rather than at random, so runs repeat exactly.
    SimulatedMac(Date start, CodexPlan codexPlan, Preferences& defaults, SuiteOpener openSuite,
                 bool countedUUIDs);
    ~SimulatedMac();
    SimulatedMac(const SimulatedMac&) = delete;
    SimulatedMac& operator=(const SimulatedMac&) = delete;

    // Starts the app installed (the first time) or the build an installation put in its place;
    // a running one quits first.
    AppAssembly& launch();
    AppAssembly& app() { return *app_; }
    UsageReader& reader() { return app_->reader(); }

    // The feed offers Gaugely 1.0.4 (4) to a Mac that has never checked for updates: the
    // updater's suite holds no notice and no receipt.
    void publishRelease();
    // The updater's suite as a new process opens it.
    std::unique_ptr<Preferences> openUpdaterSuite() const;

    // Around each start of the app: before the old one quits, and once the new one is built
    // (before its first turn of the main queue).
    std::function<void()> willLaunch;
    std::function<void(AppAssembly&)> didLaunch;
    // Codex's logs and the usage history, when the Mac has them; read from the next start.
    FileSystem* codexFiles = nullptr;
    DocumentStore* usageHistory = nullptr;
    // Each answer the refresh gate gives the updater.
    std::function<void(RefreshGateAnswer)> refreshGateAnswered;
    // An installation quit the app to be relaunched as the build it installed; whoever plays
    // macOS starts it (`launch`).
    std::function<void()> relaunchRequested;

    VirtualTime time;
    MemoryLog log;
    FakeWorkspace workspace{time};
    FakeInput input{time};
    SimulatedCodex codex;
    // The reader's accessibility calls run here, their time on the worker's clock.
    VirtualAccessibilityWorker accessibilityWorker{time, codex,
                                                   CodexElementSearch::messagingTimeoutSeconds};
    FakeUserNotificationCenter notifications{time};
    FakeUpdateFramework updates{time};
    FakeLoginItemService loginItems;
    ScriptedAlertPresenter alerts;

  private:
    Preferences& defaults_;
    SuiteOpener openSuite_;
    int uuids_ = 0;
    std::function<std::string()> makeUUID_;
    std::string version_{installedVersion};
    std::string build_{installedBuild};
    std::unique_ptr<MemoryBundleInformation> bundle_;
    // Last, so it goes first: it holds every port above.
    std::unique_ptr<AppAssembly> app_;
};

}  // namespace gaugely::tool
