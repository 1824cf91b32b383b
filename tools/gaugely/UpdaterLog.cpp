#include "tools/gaugely/UpdaterLog.h"

#include "LowUsageNotificationSupport/Text.h"
#include "SharedUpdateSupport/PendingUpdateReceipt.h"
#include "tools/gaugely/StateText.h"

namespace gaugely::tool {

UpdaterLog::UpdaterLog(SimulatedMac& mac) : mac_(mac) {
    mac_.updates.onEvent = [this](const std::string& event) {
        say("update-framework", event);
        if (event == "the app quits to be relaunched") {
            sayReceipt("receipt written");
        }
    };
    mac_.refreshGateAnswered = [this](RefreshGateAnswer answer) {
        switch (answer) {
            case RefreshGateAnswer::closed:
                say("updater",
                    "refresh gate closed: no refresh may start until the installation ends");
                break;
            case RefreshGateAnswer::refused:
                say("updater", "refresh gate refused: a refresh is reading Codex");
                break;
            case RefreshGateAnswer::opened:
                say("updater", "refresh gate opened");
                break;
        }
    };
    mac_.willLaunch = [this] {
        if (starts_ > 0) {
            sayReceipt("receipt found");
        }
    };
}

void UpdaterLog::launched(AppAssembly& app) {
    UpdaterModel& model = app.updater();
    const AppVersionInfo& version = app.metadata().versionInfo;
    say("updater", "Gaugely " + version.version + " (" + version.build +
                       "): " + model.currentVersionDisplay());
    shown_ = {};
    modelChanged(model);
    model.addObserver([this, &model] { modelChanged(model); });
    if (starts_++ > 0) {
        sayReceipt("receipt after the start");
    }
}

void UpdaterLog::sayReceipt(const std::string& what) {
    const auto suite = mac_.openUpdaterSuite();
    const auto data =
        suite ? suite->dataValue(ProductionUpdaterConfiguration::receiptKey) : std::nullopt;
    const auto receipt = data ? decodeJson<PendingUpdateReceipt>(*data) : std::nullopt;
    say("updater", receipt ? what + ": build " + receipt->sourceBuild + " \u2192 " +
                                 receipt->targetBuild + " at " + receipt->bundlePath +
                                 ", written " + localDateTimeText(receipt->created)
                           : what + ": none");
}

void UpdaterLog::say(std::string_view category, const std::string& line) {
    mac_.log.write(logSubsystem, category, LogLevel::info, line);
}

void UpdaterLog::modelChanged(const UpdaterModel& model) {
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

}  // namespace gaugely::tool
