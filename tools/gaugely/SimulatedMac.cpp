#include "tools/gaugely/SimulatedMac.h"

#include <cstdio>

#include "Meterlane/Notifications/UUIDString.h"
#include "tools/gaugely/HostTimeFormatter.h"

namespace gaugely::tool {

namespace {

// The one release the simulated feed offers once published.
FoundUpdate simulatedRelease() {
    const std::string base = "https://updates.example.com/updates/gaugely/releases/1.0.4/";
    return FoundUpdate{{"4", "1.0.4", false, base, base + "build-4/Gaugely-1.0.4.zip"},
                       "<ul><li>Refreshes finish sooner.</li><li>The popover shows when the "
                       "next refresh comes.</li></ul>",
                       false,
                       Date::fromUnixTime(1790196000)};  // 2026-09-23 20:40 UTC
}

}  // namespace

SimulatedMac::SimulatedMac(Date start, CodexPlan codexPlan, Preferences& defaults,
                           SuiteOpener openSuite, bool countedUUIDs)
    : time(start),
      codex(time, workspace, input, codexPlan),
      defaults_(defaults),
      openSuite_(std::move(openSuite)) {
    workspace.addApplication({"com.apple.finder", finderPid, ActivationPolicy::regular});
    codex.bringToFront();
    input.setLastInputSecondsAgo(60);
    notifications.setAuthorizationStatus(NotificationAuthorizationStatus::authorized);
    if (countedUUIDs) {
        makeUUID_ = [this] {
            char text[40];
            std::snprintf(text, sizeof text, "%08X-0000-4000-8000-000000000000", ++uuids_);
            return std::string(text);
        };
    } else {
        makeUUID_ = &randomUUIDString;
    }
    updates.onRelaunch = [this](const UpdateCandidate& installed) {
        version_ = installed.version;
        build_ = installed.build;
        if (relaunchRequested) {
            relaunchRequested();
        }
    };
}

SimulatedMac::~SimulatedMac() = default;

AppAssembly& SimulatedMac::launch() {
    if (willLaunch) {
        willLaunch();
    }
    app_.reset();
    bundle_ = std::make_unique<MemoryBundleInformation>(
        MemoryBundleInformation::production(feedHost, version_, build_, std::string(appPath)));
    AppPorts ports{ReaderEnvironment{codex, input, workspace, time, time, log, defaults_,
                                     notifications, makeUUID_, &accessibilityWorker},
                   *bundle_,
                   updates,
                   hostTimeFormatter(),
                   loginItems,
                   alerts,
                   openSuite_,
                   feedHost,
                   "",
                   codexFiles,
                   usageHistory};
    ports.refreshGateObserver = [this](RefreshGateAnswer answer) {
        if (refreshGateAnswered) {
            refreshGateAnswered(answer);
        }
    };
    // No window of the app is drawn here: the screen is read from the app's view data.
    AppWindows windows{{[](const SettingsViewModel&) {}, [] {}, [](const std::string&) {}},
                       [] {},
                       [] {},
                       [] {},
                       [](std::string) {}};
    app_ = std::make_unique<AppAssembly>(std::move(ports), std::move(windows));
    if (didLaunch) {
        didLaunch(*app_);
    }
    return *app_;
}

void SimulatedMac::publishRelease() {
    updates.feed = {simulatedRelease()};
    if (const auto suite = openUpdaterSuite()) {
        suite->remove(ProductionUpdaterConfiguration::noticeKey);
        suite->remove(ProductionUpdaterConfiguration::receiptKey);
    }
}

std::unique_ptr<Preferences> SimulatedMac::openUpdaterSuite() const {
    return openSuite_(ProductionUpdaterRuntime::defaultsSuiteName);
}

}  // namespace gaugely::tool
