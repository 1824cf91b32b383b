#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Notifications/NotificationPermissionController.h"
#include "Meterlane/Platform/AlertPresenter.h"
#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/LoginItemService.h"
#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Presentation/FirstRunOnboarding.h"
#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Presentation/MenuBarLabelPresentation.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "Meterlane/Presentation/RefreshControlPresentation.h"
#include "Meterlane/Presentation/SettingsActions.h"
#include "Meterlane/Presentation/SettingsViewModel.h"
#include "Meterlane/Presentation/SettingsWindowDrawing.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Startup/AppMetadata.h"
#include "ProductFacts.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"

namespace gaugely {

// What the refresh gate answered the updater; a host that logs the updater hears each answer.
enum class RefreshGateAnswer { closed, refused, opened };

// Everything the app talks to, handed in by the platform's entry point: the Mac's adapters, a
// POSIX host's (`gaugely usage`) or a simulated Mac's (`gaugely simulate`). What differs between
// them is here and only here; everything built from it is the same object graph.
struct AppPorts {
    ReaderEnvironment reader;
    const BundleInformation& bundle;
    UpdateFramework& updateFramework;
    const TimeFormatter& timeFormatter;
    LoginItemService& loginItems;
    AlertPresenter& alerts;
    // Opens a user-defaults suite by name (the updater's own); none when it cannot be opened.
    std::function<std::unique_ptr<Preferences>(std::string_view suiteName)> openDefaultsSuite;
    std::string_view feedHost = product::feedHost;
    // The user's home folder: "~" in the Codex folder stands for it.
    std::string homeFolder;
    // Where Codex's logs are read and the usage history kept; without them the logs switch is
    // kept but nothing is read.
    FileSystem* codexFileSystem = nullptr;
    DocumentStore* usageHistory = nullptr;
    // Keep how far the logs were read between runs: for a host that looks once and exits.
    bool keepsCodexLogProgress = false;
    // Settings the host imposes at every start (a command line's): applied once the reader has
    // restored its own and before it reads Codex's logs, so the first look already follows them.
    std::function<void(UsageReader&)> hostSettings = {};
    // Hears every answer of the refresh gate, after it is given.
    std::function<void(RefreshGateAnswer)> refreshGateObserver = {};
};

// What the views ask the platform to do: windows it owns, the app's own lifetime.
struct AppWindows {
    // The settings window; when it draws is decided here (`SettingsWindowDrawing`).
    SettingsWindowSurface settingsWindow;
    std::function<void()> showAbout;
    std::function<void()> showPrivacyDetails;
    std::function<void()> quit;
    // Asks the user for a Codex folder, starting at `currentFolder` (expanded); the choice comes
    // back through `AppAssembly::codexFolderChosen`.
    std::function<void(std::string currentFolder)> chooseCodexFolder;
};

// The application's long-lived objects, created in the order the app depends on and wired
// together; the platform layer draws the view data this class makes and forwards every action to
// it. It makes no window and decides nothing platform-specific, so start-up, the refresh gate and
// the onboarding hooks are tested here with fakes. Main queue only; lives as long as the process.
class AppAssembly {
  public:
    // The start-up sequence: the production updater runtime (which owns the updater model), the
    // reader, the refresh gate's hooks between them, launch at login, the onboarding's presenters
    // and coordinator; then background update discovery is turned on.
    AppAssembly(AppPorts ports, AppWindows windows);
    AppAssembly(const AppAssembly&) = delete;
    AppAssembly& operator=(const AppAssembly&) = delete;

    UsageReader& reader() { return *reader_; }
    const UsageReader& reader() const { return *reader_; }
    UpdaterModel& updater() { return runtime_->model(); }
    LaunchAtLoginController& launchAtLogin() { return *launchAtLogin_; }
    FirstRunOnboardingCoordinator& onboarding() { return *onboarding_; }
    const AppMetadata& metadata() const { return metadata_; }

    // Runs after any change of what the views show (reader, updater, launch at login, permission).
    void addObserver(std::function<void()> handler);

    // View data.
    [[nodiscard]] MenuBarLabelPresentation menuBarLabel(bool templateImageAvailable) const;
    [[nodiscard]] RefreshControlPresentation refreshControl() const;
    [[nodiscard]] PopoverViewModel popover() const;
    [[nodiscard]] SettingsViewModel settings() const;

    // Actions.
    void refreshItemReady();
    void refreshNow();
    void popoverWillShow();
    void popoverDidClose();
    void openAccessibilitySettings();
    // Asks for Input Monitoring permission (the system's prompt, the first time) and opens its
    // pane of System Settings, where an earlier refusal is undone.
    void openInputMonitoringSettings();
    // "View Update →": the update's details are revealed first, so the window draws them, lays
    // them out and only then scrolls to them.
    void viewUpdate();
    void performSettingsAction(const SettingsAction& action);
    // The folder picked in the chooser `AppWindows::chooseCodexFolder` showed.
    void codexFolderChosen(const std::string& path);
    void showSettings() { settingsWindow_->show(std::nullopt); }
    void settingsWindowClosed() { settingsWindow_->closed(); }
    void showAbout() { windows_.showAbout(); }
    void quit() { windows_.quit(); }

  private:
    void changed();
    // The reader's hooks, told to the host's observer when it has one.
    UpdateRefreshGateHooks refreshGateHooks();

    AppPorts ports_;
    AppWindows windows_;
    AppMetadata metadata_;
    std::unique_ptr<ProductionUpdaterRuntime> runtime_;
    std::unique_ptr<UsageReader> reader_;
    std::unique_ptr<LaunchAtLoginController> launchAtLogin_;
    std::unique_ptr<FirstRunPlanSelectionPresenter> planPresenter_;
    std::unique_ptr<AccessibilityPermissionGuidancePresenter> guidancePresenter_;
    std::unique_ptr<FirstRunOnboardingCoordinator> onboarding_;
    std::shared_ptr<NotificationPermissionController> notificationPermission_;
    std::unique_ptr<SettingsWindowDrawing> settingsWindow_;
    // A new time zone or locale writes every time shown differently.
    std::unique_ptr<Subscription> timeConventions_;
    std::vector<std::function<void()>> observers_;
    // The once-only note of a verified update stays until the popover that showed it closes.
    bool updatedNoteShown_ = false;
};

}  // namespace gaugely
