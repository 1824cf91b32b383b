#include "Meterlane/Startup/AppAssembly.h"

#include "Meterlane/Presentation/PopoverInputFromReader.h"
#include "Meterlane/Presentation/SettingsInputFromReader.h"
#include "Meterlane/Presentation/SettingsUpdateInputFromUpdater.h"

namespace gaugely {

AppAssembly::AppAssembly(AppPorts ports, AppWindows windows)
    : ports_(std::move(ports)),
      windows_(std::move(windows)),
      metadata_(AppMetadata::read(ports_.bundle)) {
    const ReaderEnvironment& environment = ports_.reader;
    // 1. The updater first: the model reads its notice and a pending receipt, and a relaunch into
    //    an update must be known before the onboarding asks anything.
    runtime_ = std::make_unique<ProductionUpdaterRuntime>(UpdaterHost{
        ports_.bundle, ports_.updateFramework, environment.mainQueue, environment.clock,
        environment.workspace, ports_.timeFormatter, ports_.openDefaultsSuite, ports_.feedHost});
    // 2. The reader restores its state and starts its scheduler.
    reader_ = std::make_unique<UsageReader>(environment);
    if (ports_.hostSettings) {
        ports_.hostSettings(*reader_);
    }
    if (ports_.codexFileSystem && ports_.usageHistory) {
        reader_->attachCodexLogs(CodexLogEnvironment{*ports_.codexFileSystem, *ports_.usageHistory,
                                                     ports_.timeFormatter, ports_.homeFolder,
                                                     ports_.keepsCodexLogProgress});
    }
    // 3. An installation waits for a running refresh, and no refresh starts while one installs.
    runtime_->installRefreshGateHooks(refreshGateHooks());
    // 4. Launch at login reads its status now.
    launchAtLogin_ = std::make_unique<LaunchAtLoginController>(ports_.loginItems);
    // 5. The onboarding, which an update's relaunch keeps quiet.
    const std::string appName = metadata_.versionInfo.appName;
    planPresenter_ = std::make_unique<FirstRunPlanSelectionPresenter>(ports_.alerts, appName);
    guidancePresenter_ = std::make_unique<AccessibilityPermissionGuidancePresenter>(
        ports_.alerts, environment.workspace, appName);
    onboarding_ = std::make_unique<FirstRunOnboardingCoordinator>(
        *planPresenter_, *guidancePresenter_,
        [this] { return runtime_->model().suppressesOnboarding(); });
    // 6. Background discovery is always on in this build.
    runtime_->model().setBackgroundDiscoveryEnabled(true);

    // Drawn from `settings()` only once shown, by which time everything it reads exists.
    settingsWindow_ = std::make_unique<SettingsWindowDrawing>(
        environment.mainQueue, [this] { return settings(); }, windows_.settingsWindow);
    notificationPermission_ = NotificationPermissionController::create(
        environment.notificationCenter, environment.mainQueue,
        [this](const std::string& url) { ports_.reader.workspace.openURL(url); });
    notificationPermission_->setOnChange([this] { changed(); });
    notificationPermission_->refreshStatus();

    reader_->addObserver([this] { changed(); });
    runtime_->model().addObserver([this] { changed(); });
    launchAtLogin_->addObserver([this] { changed(); });
    timeConventions_ = ports_.timeFormatter.observeConventionChanges([this] { changed(); });
}

UpdateRefreshGateHooks AppAssembly::refreshGateHooks() {
    UpdateRefreshGateHooks hooks = reader_->updateRefreshGateHooks();
    if (!ports_.refreshGateObserver) {
        return hooks;
    }
    const auto tell = ports_.refreshGateObserver;
    return {[tell, prepare = hooks.prepareForInstallation] {
                const bool closed = prepare();
                tell(closed ? RefreshGateAnswer::closed : RefreshGateAnswer::refused);
                return closed;
            },
            [tell, resume = hooks.resumeAfterInstallation] {
                resume();
                tell(RefreshGateAnswer::opened);
            }};
}

void AppAssembly::addObserver(std::function<void()> handler) {
    observers_.push_back(std::move(handler));
}

void AppAssembly::changed() {
    settingsWindow_->modelsChanged();
    for (const auto& observer : observers_) {
        observer();
    }
}

MenuBarLabelPresentation AppAssembly::menuBarLabel(bool templateImageAvailable) const {
    return MenuBarLabelPresentation::make(
        reader_->menuBarUsageSummary(),
        templateImageAvailable && metadata_.isGaugelyProductionIdentity,
        runtime_->model().hasUnhandledUpdate());
}

RefreshControlPresentation AppAssembly::refreshControl() const {
    return RefreshControlPresentation::make(reader_->automationInProgress());
}

PopoverViewModel AppAssembly::popover() const {
    const UpdaterModel& updater = runtime_->model();
    PopoverInput input = popoverInput(*reader_);
    if (updater.hasUnhandledUpdate() && updater.notice().offer) {
        input.updateOfferVersion = updater.notice().offer->version;
    }
    if (updater.verifiedPostUpdateRelaunchPending()) {
        input.updatedToVersion = metadata_.versionInfo.version;
    }
    input.inputMonitoringUnavailable = reader_->inputMonitoringUnavailable();
    return PopoverViewModel::make(input, ports_.timeFormatter);
}

SettingsViewModel AppAssembly::settings() const {
    SettingsInput input = settingsInput(*reader_, *launchAtLogin_,
                                        notificationPermission_->shouldShowRecovery(
                                            reader_->hasEnabledCurrentPlanNotificationFeature()),
                                        settingsUpdateInput(runtime_->model()),
                                        ports_.timeFormatter, ports_.homeFolder);
    input.appName = metadata_.versionInfo.appName;
    return SettingsViewModel::make(input);
}

void AppAssembly::refreshItemReady() {
    onboarding_->establishMenuBarLifecycle(*reader_, ports_.reader.mainQueue);
}

void AppAssembly::refreshNow() {
    reader_->beginReadCountdown(false);
}

void AppAssembly::popoverWillShow() {
    // A permission granted in System Settings meanwhile shows at once.
    reader_->refreshPermission(false);
    reader_->refreshInputMonitoringPermission(false);
    notificationPermission_->refreshStatus();
    updatedNoteShown_ = runtime_->model().verifiedPostUpdateRelaunchPending();
}

void AppAssembly::popoverDidClose() {
    if (updatedNoteShown_) {
        updatedNoteShown_ = false;
        runtime_->model().acknowledgeVerifiedPostUpdateRelaunch();
    }
}

void AppAssembly::openAccessibilitySettings() {
    reader_->refreshPermission(true);
    ports_.reader.workspace.openURL(std::string(accessibilitySettingsURL));
}

void AppAssembly::openInputMonitoringSettings() {
    // The request is what lists the app in that pane (and asks, the first time); a refusal is
    // undone there.
    reader_->refreshInputMonitoringPermission(true);
    ports_.reader.workspace.openURL(std::string(inputMonitoringSettingsURL));
}

void AppAssembly::viewUpdate() {
    runtime_->model().revealUpdateDetails();
    settingsWindow_->show(std::string(SettingsViewModel::updatesSectionTitle));
}

void AppAssembly::performSettingsAction(const SettingsAction& action) {
    UpdaterModel& updater = runtime_->model();
    SettingsTargets targets{*reader_,
                            *launchAtLogin_,
                            [this] { notificationPermission_->openSystemSettings(); },
                            windows_.showPrivacyDetails,
                            [&updater] { updater.checkForUpdates(); },
                            [&updater] { updater.setNotesExpanded(!updater.notesExpanded()); },
                            [&updater] { updater.later(); },
                            [&updater] { updater.updateAndRestart(); },
                            [this] {
                                if (windows_.chooseCodexFolder) {
                                    windows_.chooseCodexFolder(expandedCodexFolder(
                                        reader_->codexLogsFolder(), ports_.homeFolder));
                                }
                            }};
    gaugely::performSettingsAction(action, targets);
    settingsWindow_->actionPerformed();
}

void AppAssembly::codexFolderChosen(const std::string& path) {
    gaugely::codexFolderChosen(*reader_, path, ports_.homeFolder);
}

}  // namespace gaugely
