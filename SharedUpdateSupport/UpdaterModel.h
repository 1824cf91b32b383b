#pragma once

// The object behind every update control: "Check for Updates…", the update notice in the
// settings, the menu bar's "Update Available" badge and "Update & Restart".
//
// It drives the update framework but never lets it act alone: the framework discovers and
// downloads, and installs solely the one build the user approved. Before an installation the
// refresh gate is asked to stop and block refreshes, since the relaunch must not cut a run of
// synthetic input in half. A background check runs at most once a day.
//
// Owns the update notice (stored in the updater's defaults suite after every change) and the
// pending-update receipt. Main queue only; observers are told of every change of published state.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/ModelObservers.h"
#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Platform/Workspace.h"
#include "SharedUpdateSupport/UpdateFramework.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"
#include "SharedUpdateSupport/UpdateRefreshGate.h"
#include "SharedUpdateSupport/UpdaterConfiguration.h"

namespace gaugely {

// What the model talks to; everything outlives the model.
struct UpdaterEnvironment {
    const BundleInformation& bundle;
    // The updater's own defaults suite.
    Preferences& defaults;
    UpdateFramework& framework;
    MainQueue& mainQueue;
    Clock& clock;
    // Wake notifications: a sleeping machine does not advance the daily timer.
    Workspace& workspace;
    const TimeFormatter& timeFormatter;
};

class UpdaterModel final : private UpdateFrameworkDelegate {
  public:
    static constexpr double backgroundCheckInterval = UpdateNoticeState::backgroundCheckInterval;
    static constexpr double earliestBackgroundCheck = 3;
    static constexpr double backgroundTimerLeeway = 60;

    // Reads the notice, consumes a pending receipt, and starts the framework when enabled.
    UpdaterModel(UpdaterEnvironment environment, UpdaterConfiguration configuration);
    ~UpdaterModel() override;
    UpdaterModel(const UpdaterModel&) = delete;
    UpdaterModel& operator=(const UpdaterModel&) = delete;

    using ObserverID = ModelObservers::ObserverID;
    ObserverID addObserver(std::function<void()> handler) {
        return observers_.add(std::move(handler));
    }
    void removeObserver(ObserverID id) { observers_.remove(id); }

    // Published state.
    const UpdateNoticeState& notice() const { return notice_; }
    const std::optional<std::string>& availableVersion() const { return availableVersion_; }
    bool isChecking() const { return isChecking_; }
    const std::optional<std::string>& message() const { return message_; }
    bool notesExpanded() const { return notesExpanded_; }
    bool decisionExpanded() const { return decisionExpanded_; }
    // This start is the build a verified update installed; stays until the interface has shown it.
    bool verifiedPostUpdateRelaunchPending() const { return verifiedRelaunchPending_; }

    // Derived.
    bool isEnabled() const { return configuration_.enabled; }
    bool installationEnabled() const { return configuration_.installationEnabled; }
    bool hasUnhandledUpdate() const { return notice().hasUnhandledUpdate(); }
    std::string currentVersionDisplay() const;
    const std::string& environmentLabel() const { return configuration_.environmentLabel; }
    std::string hostBuild() const { return environment_.bundle.buildVersion(); }
    std::string hostVersion() const { return environment_.bundle.shortVersion(); }
    std::string hostPath() const { return environment_.bundle.bundlePath(); }
    std::string displayedVersion() const;
    std::string displayedBuild() const;
    // What stands where the update controls would be when the updater is off.
    std::optional<std::string> unavailableText() const;
    // Onboarding waits while the user has approved an installation (until the process is
    // replaced) and while a verified post-update start has not been shown.
    bool suppressesOnboarding() const { return installSession_ || verifiedRelaunchPending_; }
    const UpdaterConfiguration& configuration() const { return configuration_; }

    // User actions.
    void checkForUpdates() { performProbe(false); }
    void setBackgroundDiscoveryEnabled(bool enabled);
    // "Update & Restart": approves the current offer, once the refresh gate has closed.
    void updateAndRestart();
    // The user puts the offer off: the badge goes until a newer build is found.
    void later();
    void revealUpdateDetails();
    void setNotesExpanded(bool expanded) { publish(notesExpanded_, expanded); }
    void setDecisionExpanded(bool expanded) { publish(decisionExpanded_, expanded); }
    void acknowledgeVerifiedPostUpdateRelaunch() { publish(verifiedRelaunchPending_, false); }

    // The refresh gate, installed at start-up.
    void setRefreshGateHooks(UpdateRefreshGateHooks hooks) { gate_ = std::move(hooks); }

    // The flow's two entry points: a check (the user's, or the daily one in the background),
    // and an installation. It returns whether the installation began; `approvingOffer` marks the
    // current offer handled once the gate has closed.
    void performProbe(bool background);
    bool beginUserInitiatedUpdate(const std::string& build, bool approvingOffer = false);

    static constexpr const char* checkingMessage = "Checking for updates…";
    static constexpr const char* upToDateMessage = "Gaugely is up to date.";
    static constexpr const char* refreshStillFinishingMessage =
        "A refresh is still finishing. Try Update & Restart again shortly.";
    static constexpr const char* preparingMessage = "Preparing update…";
    static constexpr const char* stoppedMessage = "Update stopped. Your current app is unchanged.";
    static constexpr const char* checkFailedMessage =
        "Couldn’t check for updates. Please try again later.";
    static constexpr const char* unavailableMessage = "Updates are not available in this build.";

  private:
    // UpdateFrameworkDelegate.
    std::string feedURL() override { return configuration_.feedURL; }
    std::optional<std::size_t> chooseItem(const std::vector<UpdateCandidate>& items) override;
    void didFindUpdate(const FoundUpdate& update) override;
    void didNotFindUpdate() override;
    void willRelaunch() override;
    void didFinishCycle(bool failed) override { finishCycle(failed); }

    // The rest of the flow, as the timer and the framework's callbacks drive it.
    void checkBackgroundIfDue();
    void receiveOffer(const UpdateOffer& offer);
    void receiveCurrent();
    void finishCycle(bool failed);

    bool consumeVerifiedPostUpdateRelaunch();
    bool frameworkBusy() const { return environment_.framework.sessionBusy(); }
    // Stores the notice when `change` altered it, and tells observers.
    void changeNotice(const std::function<void(UpdateNoticeState&)>& change);

    template <class T>
    void publish(T& field, T value) {
        observers_.publish(field, std::move(value));
    }
    void notifyObservers() { observers_.notify(); }

    UpdaterEnvironment environment_;
    UpdaterConfiguration configuration_;
    // An undecodable record reads as the empty state and stays stored until the next change.
    UpdateNoticeState notice_;
    std::optional<std::string> availableVersion_;
    bool isChecking_ = false;
    std::optional<std::string> message_;
    bool notesExpanded_ = false;
    bool decisionExpanded_ = false;
    bool verifiedRelaunchPending_ = false;

    bool frameworkStarted_ = false;
    bool backgroundCheck_ = false;
    bool installSession_ = false;
    bool relaunchCommitted_ = false;
    std::optional<std::string> targetBuild_;
    UpdateRefreshGateHooks gate_;
    TaskHandle backgroundTimer_;
    std::unique_ptr<Subscription> wakeObserver_;

    ModelObservers observers_;
    // Lets queued work notice that the model is gone.
    std::shared_ptr<UpdaterModel*> alive_;
};

}  // namespace gaugely
