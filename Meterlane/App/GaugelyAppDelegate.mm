#import "Meterlane/App/GaugelyAppDelegate.h"

#include <unistd.h>
#include <memory>
#include <optional>

#import "Meterlane/App/GaugelyPopoverController.h"
#import "Meterlane/App/GaugelySettingsWindowController.h"
#import "Meterlane/App/GaugelyStatusItems.h"
#import "Meterlane/App/GaugelyTextWindowController.h"
#import "Meterlane/App/GaugelyVerification.h"

#include "Meterlane/App/AppKitText.h"
#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Presentation/AppMenuPresentation.h"
#include "Meterlane/Startup/AppAssembly.h"
#include "Meterlane/Startup/SingleInstance.h"
#include "Meterlane/Verification/DiagnosticsText.h"
#include "Meterlane/macOS/MacAccessibility.h"
#include "Meterlane/macOS/MacAccessibilityWorker.h"
#include "Meterlane/macOS/MacAlertPresenter.h"
#include "Meterlane/macOS/MacBundleInformation.h"
#include "Meterlane/macOS/MacClock.h"
#include "Meterlane/macOS/MacFileSystem.h"
#include "Meterlane/macOS/MacInput.h"
#include "Meterlane/macOS/MacLog.h"
#include "Meterlane/macOS/MacLoginItemService.h"
#include "Meterlane/macOS/MacMainQueue.h"
#include "Meterlane/macOS/MacPreferences.h"
#include "Meterlane/macOS/MacSystemFacts.h"
#include "Meterlane/macOS/MacTimeFormatter.h"
#include "Meterlane/macOS/MacUserNotificationCenter.h"
#include "Meterlane/macOS/MacWorkspace.h"
#if GAUGELY_WITH_SPARKLE
#include "Meterlane/macOS/SparkleUpdateFramework.h"
#else
#include "SharedUpdateSupport/UnavailableUpdateFramework.h"
#endif

using gaugely::nsString;

namespace {

// The adapters, made once and kept for the life of the process.
// ~/Library/Application Support/<bundle identifier>/usage-history.json: the app's own data.
std::string usageHistoryFile() {
    NSURL* support = [NSFileManager.defaultManager URLsForDirectory:NSApplicationSupportDirectory
                                                          inDomains:NSUserDomainMask]
                         .firstObject;
    NSString* folder =
        support ? support.path
                : [NSHomeDirectory() stringByAppendingPathComponent:@"Library/Application Support"];
    return std::string(folder.UTF8String) + "/" + std::string(gaugely::product::bundleIdentifier) +
           "/usage-history.json";
}

struct MacPlatform {
    gaugely::MacAccessibility accessibility;
    gaugely::MacInput input;
    gaugely::MacWorkspace workspace;
    gaugely::MacMainQueue mainQueue;
    gaugely::MacClock clock;
    gaugely::MacLog log;
    // The log the reader writes to: it keeps the last refreshes' traces for "Copy Diagnostics".
    gaugely::RefreshTraceRecorder traces{log};
    // With --verify, the reader reaches Codex through a stopwatch, whose reads tell where the
    // menu turns up (make mac-verify).
    gaugely::TimedAccessibility timedAccessibility{accessibility, clock};
    gaugely::TreeWhereabouts whereabouts;
    // The refresh's accessibility calls, on a serial queue of their own over the port the reader
    // uses (the stopwatch's, when verifying). Made once that choice is known; goes before both.
    std::optional<gaugely::MacAccessibilityWorker> accessibilityWorker;
    gaugely::MacPreferences preferences;
    gaugely::MacUserNotificationCenter notifications;
    gaugely::MacBundleInformation bundle;
    gaugely::MacTimeFormatter timeFormatter;
    gaugely::MacLoginItemService loginItems;
    gaugely::MacAlertPresenter alerts;
    gaugely::MacFileSystem files;
    gaugely::FileDocumentStore usageHistory{usageHistoryFile()};
#if GAUGELY_WITH_SPARKLE
    gaugely::SparkleUpdateFramework updates;
#else
    // A build without Sparkle's framework: every check ends as a failed one.
    gaugely::UnavailableUpdateFramework updates{mainQueue};
#endif
};

std::string newUUID() { return NSUUID.UUID.UUIDString.UTF8String; }

std::vector<std::string> launchArguments() {
    std::vector<std::string> arguments;
    for (NSString* argument in NSProcessInfo.processInfo.arguments) {
        arguments.emplace_back(argument.UTF8String);
    }
    return arguments;
}

NSMenu* mainMenu(const std::vector<gaugely::AppMenu>& menus) {
    NSMenu* main = [[NSMenu alloc] init];
    for (const gaugely::AppMenu& menu : menus) {
        NSMenuItem* holder = [main addItemWithTitle:nsString(menu.title)
                                             action:nil
                                      keyEquivalent:@""];
        NSMenu* submenu = [[NSMenu alloc] initWithTitle:nsString(menu.title)];
        for (const gaugely::AppMenuItem& entry : menu.items) {
            if (entry.kind == gaugely::AppMenuItem::Kind::separator) {
                [submenu addItem:NSMenuItem.separatorItem];
                continue;
            }
            NSMenuItem* item =
                [submenu addItemWithTitle:nsString(entry.title)
                                   action:NSSelectorFromString(nsString(entry.action))
                            keyEquivalent:nsString(entry.keyEquivalent)];
            item.keyEquivalentModifierMask =
                NSEventModifierFlagCommand | (entry.withShift ? NSEventModifierFlagShift : 0);
        }
        holder.submenu = submenu;
    }
    return main;
}

}  // namespace

@implementation GaugelyAppDelegate {
    std::unique_ptr<MacPlatform> _platform;
    std::unique_ptr<gaugely::AppAssembly> _app;
    GaugelyStatusItems* _statusItems;
    GaugelyPopoverController* _popover;
    GaugelySettingsWindowController* _settings;
    GaugelyTextWindowController* _textWindows;
    NSImage* _templateImage;
    GaugelyVerification* _verification;
    // A render is posted: further changes before it runs are drawn by it.
    BOOL _renderPosted;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    _platform = std::make_unique<MacPlatform>();
    MacPlatform& platform = *_platform;

    if (gaugely::handOverToRunningInstance(platform.workspace,
                                           platform.bundle.bundleIdentifier().value_or(""),
                                           static_cast<gaugely::ProcessID>(getpid()))) {
        [NSApp terminate:nil];
        return;
    }

    const auto verification = gaugely::verificationOptions(launchArguments());
    if (verification && std::holds_alternative<std::string>(*verification)) {
        NSLog(@"Gaugely: %s", std::get<std::string>(*verification).c_str());
        [NSApp terminate:nil];
        return;
    }
    const bool verifying = verification.has_value();
    if (verifying) {
        platform.timedAccessibility.setReadObserver(
            [&platform](const gaugely::AXElement& element,
                        std::span<const std::string_view> attributes,
                        std::span<const gaugely::AXAttributeResult> results) {
                platform.whereabouts.observe(element, attributes, results);
            });
    }
    gaugely::Accessibility& accessibility =
        verifying ? static_cast<gaugely::Accessibility&>(platform.timedAccessibility)
                  : platform.accessibility;
    platform.accessibilityWorker.emplace(accessibility);

    __weak GaugelyAppDelegate* weakSelf = self;
    gaugely::SettingsWindowSurface settingsWindow{
        [weakSelf](const gaugely::SettingsViewModel& model) { [weakSelf drawSettings:model]; },
        [weakSelf] { [weakSelf bringSettingsForward]; },
        [weakSelf](const std::string& section) {
            [weakSelf scrollSettingsToSection:nsString(section)];
        }};
    gaugely::AppWindows windows{settingsWindow, [weakSelf] { [weakSelf showAbout]; },
                                [weakSelf] { [weakSelf showPrivacy]; },
                                [] { [NSApp terminate:nil]; },
                                [weakSelf](std::string folder) {
                                    [weakSelf chooseCodexFolderStartingAt:nsString(folder)];
                                }};
    gaugely::AppPorts ports{
        gaugely::ReaderEnvironment{accessibility, platform.input, platform.workspace,
                                   platform.mainQueue, platform.clock, platform.traces,
                                   platform.preferences, platform.notifications, newUUID,
                                   &*platform.accessibilityWorker},
        platform.bundle,
        platform.updates,
        platform.timeFormatter,
        platform.loginItems,
        platform.alerts,
        [](std::string_view suite) -> std::unique_ptr<gaugely::Preferences> {
            return std::make_unique<gaugely::MacPreferences>(std::string(suite));
        },
        gaugely::product::feedHost,
        NSHomeDirectory().UTF8String,
        &platform.files,
        &platform.usageHistory};
    _app = std::make_unique<gaugely::AppAssembly>(std::move(ports), std::move(windows));
    NSApp.mainMenu = mainMenu(gaugely::appMenus(_app->metadata().versionInfo.appName));

    _templateImage = [NSBundle.mainBundle imageForResource:@"GaugelyMenuBarTemplate"];
    _textWindows = [[GaugelyTextWindowController alloc] init];
    _settings = [[GaugelySettingsWindowController alloc]
        initWithAction:[weakSelf](const gaugely::SettingsAction& action) {
            GaugelyAppDelegate* strongSelf = weakSelf;
            if (strongSelf != nil) {
                strongSelf->_app->performSettingsAction(action);
            }
        }
        closed:^{
          GaugelyAppDelegate* strongSelf = weakSelf;
          if (strongSelf != nil) {
              strongSelf->_app->settingsWindowClosed();
          }
        }];
    platform.workspace.setSettingsWindowIsKeyProvider(
        [weakSelf] { return weakSelf != nil && [weakSelf settingsWindowIsKey]; });
    _popover = [[GaugelyPopoverController alloc]
        initWithAction:^(GaugelyPopoverAction action) {
          [weakSelf popoverAction:action];
        }
        willShow:^{
          [weakSelf popoverWillShow];
        }];
    _popover.didClose = ^{
      GaugelyAppDelegate* strongSelf = weakSelf;
      if (strongSelf != nil) {
          strongSelf->_app->popoverDidClose();
      }
    };
    _statusItems = [[GaugelyStatusItems alloc] initWithTemplateImage:_templateImage
        labelClicked:^(NSStatusBarButton* button) {
          [weakSelf togglePopover:button];
        }
        refreshClicked:^{
          [weakSelf refresh];
        }];
    _app->addObserver([weakSelf] { [weakSelf setNeedsRender]; });
    [self render];
    if (verifying) {
        // No first-run alert: the checks run unattended.
        [self startVerification:std::get<gaugely::VerificationOptions>(*verification)];
        return;
    }
    // The onboarding waits until the status items exist and the menu bar has been laid out.
    if (_statusItems.refreshItemHasButton) {
        _app->refreshItemReady();
    }
}

- (void)startVerification:(const gaugely::VerificationOptions&)options {
    MacPlatform& platform = *_platform;
    gaugely::VerificationEnvironment environment{platform.timedAccessibility,
                                                 platform.whereabouts,
                                                 platform.workspace,
                                                 platform.input,
                                                 platform.mainQueue,
                                                 platform.clock,
                                                 platform.notifications,
                                                 platform.loginItems,
                                                 platform.bundle,
                                                 NSHomeDirectory().UTF8String,
                                                 _app->reader(),
                                                 platform.traces,
                                                 std::nullopt,
                                                 gaugely::manualAccessibilityAnswer};
#if GAUGELY_WITH_SPARKLE
    gaugely::SparkleUpdateFramework* sparkle = &platform.updates;
#else
    gaugely::SparkleUpdateFramework* sparkle = nullptr;
#endif
    _verification = [[GaugelyVerification alloc] initWithOptions:options
                                                     environment:environment
                                                         sparkle:sparkle];
    [_verification start];
}

- (BOOL)settingsWindowIsKey {
    return _settings.isKeyWindow;
}

// Every change made in one turn of the main queue is drawn once, after that turn.
- (void)setNeedsRender {
    if (_renderPosted || _platform == nullptr) {
        return;
    }
    _renderPosted = YES;
    __weak GaugelyAppDelegate* weakSelf = self;
    _platform->mainQueue.post([weakSelf] {
        GaugelyAppDelegate* strongSelf = weakSelf;
        if (strongSelf != nil) {
            strongSelf->_renderPosted = NO;
            [strongSelf render];
        }
    });
}

- (void)render {
    if (_app == nullptr) {
        return;
    }
    [_statusItems showLabel:_app->menuBarLabel(_templateImage != nil)];
    [_statusItems showRefresh:_app->refreshControl()];
    [_popover showModel:_app->popover()];
}

- (void)refresh {
    _app->refreshNow();
}

- (void)togglePopover:(NSStatusBarButton*)button {
    [_popover toggleRelativeToButton:button];
}

- (void)popoverWillShow {
    _app->popoverWillShow();
    [_popover showModel:_app->popover()];
}

- (void)popoverAction:(GaugelyPopoverAction)action {
    switch (action) {
        case GaugelyPopoverActionRefresh:
            _app->refreshNow();
            break;
        case GaugelyPopoverActionOpenAccessibilitySettings:
            _app->openAccessibilitySettings();
            break;
        case GaugelyPopoverActionOpenInputMonitoringSettings:
            _app->openInputMonitoringSettings();
            break;
        case GaugelyPopoverActionViewUpdate:
            _app->viewUpdate();
            break;
        case GaugelyPopoverActionSettings:
            _app->showSettings();
            break;
        case GaugelyPopoverActionAbout:
            _app->showAbout();
            break;
        case GaugelyPopoverActionQuit:
            _app->quit();
            break;
    }
}

- (void)drawSettings:(const gaugely::SettingsViewModel&)model {
    [_settings drawModel:model];
}

- (void)bringSettingsForward {
    [_settings bringForward];
}

- (void)scrollSettingsToSection:(NSString*)section {
    [_settings scrollToSection:section];
}

- (void)chooseCodexFolderStartingAt:(NSString*)folder {
    __weak GaugelyAppDelegate* weakSelf = self;
    [_settings chooseFolderStartingAt:folder
                               chosen:^(NSString* path) {
                                 GaugelyAppDelegate* strongSelf = weakSelf;
                                 if (strongSelf != nil) {
                                     strongSelf->_app->codexFolderChosen(path.UTF8String);
                                 }
                               }];
}

- (void)showAbout {
    NSImage* icon = [NSBundle.mainBundle imageForResource:@"Gaugely"];
    __weak GaugelyAppDelegate* weakSelf = self;
    [_textWindows showAbout:_app->metadata().aboutPresentation
                    appIcon:icon
            copyDiagnostics:^{
              [weakSelf copyDiagnostics];
            }];
}

- (void)copyDiagnostics {
    __weak GaugelyAppDelegate* weakSelf = self;
    gaugely::gatherSystemFacts([weakSelf](gaugely::SystemFacts facts) {
        GaugelyAppDelegate* strongSelf = weakSelf;
        if (strongSelf == nil) {
            return;
        }
        MacPlatform& platform = *strongSelf->_platform;
        gaugely::collectDiagnostics(
            {{platform.accessibility, platform.input, platform.notifications, platform.loginItems,
              platform.mainQueue},
             platform.bundle,
             NSHomeDirectory().UTF8String,
             platform.traces},
            std::move(facts), [](std::string text) {
                NSPasteboard* pasteboard = NSPasteboard.generalPasteboard;
                [pasteboard clearContents];
                [pasteboard setString:nsString(text) forType:NSPasteboardTypeString];
            });
    });
}

- (void)showPrivacy {
    [_textWindows showPrivacy:_app->metadata().privacyInformation
                      appName:nsString(_app->metadata().versionInfo.appName)];
}

@end
