#include "tools/gaugely/SimulatedUpdater.h"

#include "LowUsageNotificationSupport/Text.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"
#include "SharedUpdateSupport/PendingUpdateReceipt.h"
#include "tools/gaugely/Scenario.h"
#include "tools/gaugely/StateText.h"

namespace gaugely::tool {

namespace {

// The one release the simulated feed offers.
FoundUpdate simulatedRelease() {
    const std::string base = "https://updates.example.com/updates/gaugely/releases/1.0.4/";
    return FoundUpdate{{"4", "1.0.4", false, base, base + "build-4/Gaugely-1.0.4.zip"},
                       "<ul><li>Refreshes finish sooner.</li><li>The popover shows when the "
                       "next refresh comes.</li></ul>",
                       false,
                       Date::fromUnixTime(1790196000)};  // 2026-09-23 20:40 UTC
}

}  // namespace

SimulatedUpdater::SimulatedUpdater(VirtualTime& time, FakeWorkspace& workspace, Log& log,
                                   UsageReader& reader, SuiteOpener openSuite,
                                   const TimeFormatter& formatter)
    : time_(time),
      workspace_(workspace),
      log_(log),
      reader_(reader),
      openSuite_(std::move(openSuite)),
      formatter_(formatter),
      framework_(time) {
    framework_.feed = {simulatedRelease()};
    framework_.onEvent = [this](const std::string& event) {
        say("update-framework", event);
        if (event == "the app quits to be relaunched") {
            sayReceipt("receipt written");
        }
    };
}

void SimulatedUpdater::sayReceipt(const std::string& what) {
    const auto data = runtime_->defaults().dataValue(ProductionUpdaterConfiguration::receiptKey);
    const auto receipt = data ? decodeJson<PendingUpdateReceipt>(*data) : std::nullopt;
    say("updater", receipt ? what + ": build " + receipt->sourceBuild + " \u2192 " +
                                 receipt->targetBuild + " at " + receipt->bundlePath +
                                 ", written " + localDateTimeText(receipt->created)
                           : what + ": none");
}

void SimulatedUpdater::say(std::string_view category, const std::string& line) {
    log_.write(logSubsystem, category, LogLevel::info, line);
}

UpdaterModel& SimulatedUpdater::launch(std::string version, std::string build) {
    runtime_.reset();
    bundle_ = std::make_unique<MemoryBundleInformation>(MemoryBundleInformation::production(
        simulatedFeedHost, version, build, std::string(simulatedAppPath)));
    runtime_ = std::make_unique<ProductionUpdaterRuntime>(UpdaterHost{
        *bundle_, framework_, time_, time_, workspace_, formatter_, openSuite_, simulatedFeedHost});
    // The hooks report what the gate answered, then answer as the reader did.
    const UpdateRefreshGateHooks hooks = reader_.updateRefreshGateHooks();
    runtime_->installRefreshGateHooks(
        {[this, hooks] {
             const bool closed = hooks.prepareForInstallation();
             say("updater", closed ? "refresh gate closed: no refresh may start until the "
                                     "installation ends"
                                   : "refresh gate refused: a refresh is reading Codex");
             return closed;
         },
         [this, hooks] {
             hooks.resumeAfterInstallation();
             say("updater", "refresh gate opened");
         }});
    UpdaterModel& model = runtime_->model();
    say("updater", "Gaugely " + version + " (" + build + "): " + model.currentVersionDisplay());
    shown_ = {};
    modelChanged();
    model.addObserver([this] { modelChanged(); });
    return model;
}

void SimulatedUpdater::forgetRecords() {
    if (const auto suite = openSuite_(ProductionUpdaterRuntime::defaultsSuiteName)) {
        suite->remove(ProductionUpdaterConfiguration::noticeKey);
        suite->remove(ProductionUpdaterConfiguration::receiptKey);
    }
}

void SimulatedUpdater::modelChanged() {
    const UpdaterModel& model = runtime_->model();
    const Shown now{model.message(), model.availableVersion(), model.suppressesOnboarding()};
    if (now.availableVersion != shown_.availableVersion && now.availableVersion) {
        const UpdateOffer& offer = *model.notice().offer;
        say("updater", "offer Gaugely " + offer.version + " (" + offer.build + ")" +
                           (offer.releaseDate ? ", released " + *offer.releaseDate : "") +
                           "; highlights: " + text::replacingAll(offer.highlights(), "\n", " "));
    }
    if (now.message != shown_.message && now.message) {
        say("updater", "message: " + *now.message);
    }
    if (now.suppressesOnboarding != shown_.suppressesOnboarding) {
        say("updater", !now.suppressesOnboarding ? "onboarding no longer held back"
                       : model.verifiedPostUpdateRelaunchPending()
                           ? "onboarding held back: the verified update is shown first"
                           : "onboarding held back while the update installs");
    }
    shown_ = now;
}

// A background check finds build 4; "Update & Restart" is refused while a refresh reads Codex
// and accepted once it has finished; the relaunch leaves a receipt that the next start consumes.
void writeUpdate(ScenarioScript& s) {
    SimulatedWorld& world = s.world();
    s.at(0, "", [&world] {
        // The story starts from a Mac that has never checked for updates.
        world.updater->forgetRecords();
        world.updater->launch("1.0.3", "3").setBackgroundDiscoveryEnabled(true);
    });
    s.pressRefresh(5);
    s.at(5.5, "You open Settings and press Update & Restart.",
         [&world] { world.updater->model().updateAndRestart(); });
    s.at(8, "You press Update & Restart again.",
         [&world] { world.updater->model().updateAndRestart(); });
    s.at(12, "macOS starts the new version.", [&world, &s] {
        world.updater->sayReceipt("receipt found");
        // A new process: its reader starts with the gate open, its updater reads the suite.
        s.reader().setUpdateRefreshGate(false);
        world.updater->launch("1.0.4", "4");
        world.updater->sayReceipt("receipt after the start");
    });
    s.endAt(13);
}

}  // namespace gaugely::tool
