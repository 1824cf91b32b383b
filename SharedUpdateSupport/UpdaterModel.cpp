#include "SharedUpdateSupport/UpdaterModel.h"

#include <algorithm>

#include "LowUsageNotificationSupport/Text.h"
#include "SharedUpdateSupport/ApprovedInstallPolicy.h"
#include "SharedUpdateSupport/OfficialPublicReleaseRegistry.h"
#include "SharedUpdateSupport/PendingUpdateReceiptStore.h"
#include "SharedUpdateSupport/ReleaseNotesText.h"

namespace gaugely {

UpdaterModel::UpdaterModel(UpdaterEnvironment environment, UpdaterConfiguration configuration)
    : environment_(environment),
      configuration_(std::move(configuration)),
      notice_(decodeJson<UpdateNoticeState>(
                  environment.defaults.dataValue(configuration_.noticeKey).value_or(""))
                  .value_or(UpdateNoticeState{})),
      alive_(std::make_shared<UpdaterModel*>(this)) {
    if (hasUnhandledUpdate()) {
        availableVersion_ = notice().offer->version;
    }
    if (consumeVerifiedPostUpdateRelaunch()) {
        verifiedRelaunchPending_ = true;
        message_ = "Update complete: Gaugely " + hostVersion() + " is running.";
    }
    // A disabled updater never hands the framework a feed: it can neither check nor install.
    if (configuration_.enabled) {
        environment_.framework.start(*this);
        frameworkStarted_ = true;
    }
}

UpdaterModel::~UpdaterModel() {
    *alive_ = nullptr;
    backgroundTimer_.cancel();
}

void UpdaterModel::changeNotice(const std::function<void(UpdateNoticeState&)>& change) {
    UpdateNoticeState changed = notice();
    change(changed);
    if (changed == notice()) {
        return;
    }
    notice_ = std::move(changed);
    environment_.defaults.setData(configuration_.noticeKey, encodeJson(notice_));
    notifyObservers();
}

std::string UpdaterModel::displayedVersion() const {
    return configuration_.displayedVersion.value_or(hostVersion());
}

std::string UpdaterModel::displayedBuild() const {
    return configuration_.displayedBuild.value_or(hostBuild());
}

std::string UpdaterModel::currentVersionDisplay() const {
    if (configuration_.installedVersionDisplay) {
        return *configuration_.installedVersionDisplay;
    }
    return OfficialPublicReleaseRegistry::installedVersionText(displayedVersion(),
                                                               displayedBuild());
}

std::optional<std::string> UpdaterModel::unavailableText() const {
    return isEnabled() ? std::nullopt : std::optional<std::string>(unavailableMessage);
}

bool UpdaterModel::consumeVerifiedPostUpdateRelaunch() {
    return PendingUpdateReceiptStore::consume(hostBuild(), configuration_.bundleID, hostPath(),
                                              environment_.defaults, configuration_.receiptKey,
                                              environment_.clock.now());
}

// ---- Checking ----

void UpdaterModel::performProbe(bool background) {
    if (!isEnabled() || isChecking_ || !frameworkStarted_ || frameworkBusy()) {
        return;
    }
    backgroundCheck_ = background;
    if (installationEnabled()) {
        const Date now = environment_.clock.now();
        changeNotice([now](UpdateNoticeState& notice) { notice.recordAttempt(now); });
    }
    publish(isChecking_, true);
    if (!background) {
        publish(message_, std::optional<std::string>(checkingMessage));
    }
    environment_.framework.probe();
}

void UpdaterModel::checkBackgroundIfDue() {
    if (notice().backgroundCheckDue(environment_.clock.now())) {
        performProbe(true);
    }
}

void UpdaterModel::setBackgroundDiscoveryEnabled(bool enabled) {
    backgroundTimer_.cancel();
    wakeObserver_.reset();
    if (!enabled || !installationEnabled() || !isEnabled()) {
        return;
    }
    // A day after the last attempt, or at once when a check is due; never sooner than three
    // seconds from now, so start-up comes first.
    const Date now = environment_.clock.now();
    double firstFire = 0;
    if (!notice().backgroundCheckDue(now)) {
        firstFire = notice()
                        .lastCheckAttempt->addingTimeInterval(backgroundCheckInterval)
                        .timeIntervalSince(now);
    }
    firstFire = std::max(firstFire, earliestBackgroundCheck);
    std::weak_ptr<UpdaterModel*> alive = alive_;
    const auto tick = [alive] {
        if (const auto model = alive.lock(); model && *model != nullptr) {
            (*model)->checkBackgroundIfDue();
        }
    };
    backgroundTimer_ = environment_.mainQueue.scheduleRepeating(firstFire, backgroundCheckInterval,
                                                                backgroundTimerLeeway, tick);
    // A machine asleep does not advance the timer; a check that fell due meanwhile runs on wake.
    wakeObserver_ = environment_.workspace.observeDidWake(tick);
}

std::optional<std::size_t> UpdaterModel::chooseItem(const std::vector<UpdateCandidate>& items) {
    return chooseFeedItem(items, configuration_.permitsItem,
                          installSession_ ? targetBuild_ : std::nullopt);
}

void UpdaterModel::didFindUpdate(const FoundUpdate& update) {
    // An installation cycle finds the approved build again: that is no news to the user.
    if (installSession_) {
        return;
    }
    UpdateOffer offer{update.candidate.build, update.candidate.version, std::nullopt,
                      update.descriptionIsPlainText ? text::trimmed(update.descriptionHTML)
                                                    : releaseNotesText(update.descriptionHTML)};
    if (update.date) {
        offer.releaseDate = UpdateOffer::officialReleaseDate(
            environment_.timeFormatter, *update.date, configuration_.releaseTimeZone);
    }
    receiveOffer(offer);
}

void UpdaterModel::didNotFindUpdate() {
    if (!installSession_) {
        receiveCurrent();
    }
}

void UpdaterModel::receiveOffer(const UpdateOffer& offer) {
    const std::string running = hostBuild();
    changeNotice([&](UpdateNoticeState& notice) { notice.discover(offer, running); });
    if (!hasUnhandledUpdate()) {
        receiveCurrent();
        return;
    }
    publish(availableVersion_, std::optional<std::string>(notice().offer->version));
    if (!backgroundCheck_) {
        // The offer itself is the answer to "Check for Updates…".
        publish(message_, std::optional<std::string>());
    }
}

void UpdaterModel::receiveCurrent() {
    publish(availableVersion_, std::optional<std::string>());
    changeNotice([](UpdateNoticeState& notice) { notice.noUpdate(); });
    if (!backgroundCheck_) {
        publish(message_, std::optional<std::string>(upToDateMessage));
    }
}

// ---- Installing ----

void UpdaterModel::updateAndRestart() {
    if (const auto& offer = notice().offer) {
        beginUserInitiatedUpdate(offer->build, true);
    }
}

void UpdaterModel::later() {
    changeNotice([](UpdateNoticeState& notice) { notice.handleOffer(); });
}

void UpdaterModel::revealUpdateDetails() {
    publish(notesExpanded_, true);
    publish(decisionExpanded_, true);
}

bool UpdaterModel::beginUserInitiatedUpdate(const std::string& build, bool approvingOffer) {
    if (!isEnabled() || !installationEnabled() || isChecking_ || !frameworkStarted_ ||
        frameworkBusy()) {
        return false;
    }
    // Asked before anything changes: refused, the press leaves no trace but the message.
    const bool gateClosed = gate_.prepareForInstallation ? gate_.prepareForInstallation() : true;
    if (!gateClosed) {
        publish(message_, std::optional<std::string>(refreshStillFinishingMessage));
        return false;
    }
    if (approvingOffer) {
        changeNotice([](UpdateNoticeState& notice) { notice.handleOffer(); });
    }
    installSession_ = true;
    backgroundCheck_ = false;
    relaunchCommitted_ = false;
    targetBuild_ = build;
    if (environment_.defaults.hasObject(configuration_.receiptKey)) {
        PendingUpdateReceiptStore::clear(environment_.defaults, configuration_.receiptKey);
    }
    isChecking_ = true;
    message_ = preparingMessage;
    notifyObservers();
    environment_.framework.installApprovedBuild(build);
    return true;
}

void UpdaterModel::willRelaunch() {
    if (!installSession_ || !targetBuild_) {
        return;
    }
    relaunchCommitted_ = true;
    PendingUpdateReceiptStore::save(
        PendingUpdateReceipt{hostBuild(), *targetBuild_, configuration_.bundleID, hostPath(),
                             environment_.clock.now()},
        environment_.defaults, configuration_.receiptKey);
}

void UpdaterModel::finishCycle(bool failed) {
    publish(isChecking_, false);
    if (installSession_) {
        if (failed || !relaunchCommitted_) {
            PendingUpdateReceiptStore::clear(environment_.defaults, configuration_.receiptKey);
            installSession_ = false;
            relaunchCommitted_ = false;
            targetBuild_.reset();
            if (gate_.resumeAfterInstallation) {
                gate_.resumeAfterInstallation();
            }
            message_ = stoppedMessage;
            notifyObservers();
        }
        return;
    }
    if (failed && !backgroundCheck_) {
        publish(message_, std::optional<std::string>(checkFailedMessage));
    }
}

}  // namespace gaugely
