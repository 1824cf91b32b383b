#pragma once

// The app on a POSIX host, as `gaugely usage` runs it: the same `AppAssembly` the Mac's entry
// point builds, over this host's ports. The run loop is the main queue and the clock; the files
// are the ones `FileLocations` names (the state as the defaults, the usage history); Codex's
// folder is read through the POSIX file system; notifications go to the notifier handed in (the
// terminal, or the desktop's service through the Linux notifier). Codex's window is never read
// and no input is watched: the accessibility port finds no Codex and the input port is idle. No
// update framework exists here, so the bundle carries no update keys and the updater stays off;
// its suite is kept in memory and never written. Main queue only.

#include <functional>
#include <memory>
#include <string>

#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Posix/FilePreferences.h"
#include "Meterlane/Posix/PosixFileSystem.h"
#include "Meterlane/Posix/PosixRunLoop.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/ScriptedAlertPresenter.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "Meterlane/Startup/AppAssembly.h"
#include "SharedUpdateSupport/UnavailableUpdateFramework.h"
#include "tools/gaugely/FileLocations.h"

namespace gaugely::tool {

class PosixHost {
  public:
    // `homeFolder` stands for "~" in Codex's folder.
    PosixHost(PosixRunLoop& loop, const StateFiles& files, std::string homeFolder,
              UserNotificationCenter& notifications);
    ~PosixHost();
    PosixHost(const PosixHost&) = delete;
    PosixHost& operator=(const PosixHost&) = delete;

    // What the app will restore from, before it starts.
    Preferences& state() { return state_; }
    DocumentStore& history() { return history_; }

    // Builds the app; `hostSettings` are applied before it first reads Codex's logs. A process
    // that looks once and exits keeps how far it read for the next (`keepsProgress`).
    AppAssembly& launch(std::function<void(UsageReader&)> hostSettings, bool keepsProgress);
    UsageReader& reader() { return app_->reader(); }

  private:
    PosixRunLoop& loop_;
    std::string homeFolder_;
    UserNotificationCenter& notifications_;
    FilePreferences state_;
    FileDocumentStore history_;
    PosixFileSystem files_{&loop_};
    MemoryLog log_;
    SimulatedAccessibility accessibility_;
    FakeWorkspace workspace_{loop_};
    // Nothing is ever typed as far as the app knows.
    VirtualTime inputClock_;
    FakeInput input_{inputClock_};
    MemoryBundleInformation bundle_{std::nullopt, ""};
    UnavailableUpdateFramework updates_{loop_};
    FakeLoginItemService loginItems_;
    // The onboarding is never started here, so no alert is ever shown.
    ScriptedAlertPresenter alerts_;
    // Last, so it goes first: it holds every port above.
    std::unique_ptr<AppAssembly> app_;
};

}  // namespace gaugely::tool
