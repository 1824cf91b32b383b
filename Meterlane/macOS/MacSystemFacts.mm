#include "Meterlane/macOS/MacSystemFacts.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#import <UserNotifications/UserNotifications.h>

#include <sys/sysctl.h>
#include <sys/utsname.h>

#include <memory>
#include <string>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

namespace {

std::string text(NSString* string) {
    const char* utf8 = string.UTF8String;
    return utf8 ? std::string(utf8) : std::string();
}

std::optional<std::string> sysctlText(const char* name) {
    char value[256] = {};
    size_t size = sizeof value - 1;
    if (sysctlbyname(name, value, &size, nullptr, 0) != 0) {
        return std::nullopt;
    }
    return std::string(value);
}

bool runsTranslated() {
    int translated = 0;
    size_t size = sizeof translated;
    return sysctlbyname("sysctl.proc_translated", &translated, &size, nullptr, 0) == 0 &&
           translated == 1;
}

std::string settingText(UNNotificationSetting setting) {
    switch (setting) {
        case UNNotificationSettingEnabled:
            return "enabled";
        case UNNotificationSettingDisabled:
            return "disabled";
        case UNNotificationSettingNotSupported:
            return "not supported";
    }
    return "unknown (" + std::to_string(static_cast<long>(setting)) + ")";
}

std::string alertStyleText(UNAlertStyle style) {
    switch (style) {
        case UNAlertStyleNone:
            return "none";
        case UNAlertStyleBanner:
            return "banner";
        case UNAlertStyleAlert:
            return "alert";
    }
    return "unknown (" + std::to_string(static_cast<long>(style)) + ")";
}

}  // namespace

void gatherSystemFacts(std::function<void(SystemFacts)> done) {
    auto facts = std::make_shared<SystemFacts>();
    const NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
    facts->macOSVersion = std::to_string(version.majorVersion) + "." +
                          std::to_string(version.minorVersion) +
                          (version.patchVersion ? "." + std::to_string(version.patchVersion) : "");
    facts->macOSBuild = sysctlText("kern.osversion").value_or("");
    facts->translated = runsTranslated();
    struct utsname machine {};
    const std::string running = uname(&machine) == 0 ? machine.machine : "unknown";
    // A translated process is told it runs on x86_64; the machine is Apple silicon.
    facts->architecture = facts->translated ? "arm64" : running;

    NSString* codexIdentifier =
        [NSString stringWithUTF8String:codexVocabulary::bundleIdentifier.data()];
    NSURL* codexURL =
        [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:codexIdentifier];
    if (NSBundle* codex = codexURL ? [NSBundle bundleWithURL:codexURL] : nil) {
        facts->codexVersion = text(codex.infoDictionary[@"CFBundleShortVersionString"]);
        facts->codexBuild = text(codex.infoDictionary[@"CFBundleVersion"]);
    }
    facts->codexRunning =
        [NSRunningApplication runningApplicationsWithBundleIdentifier:codexIdentifier].count > 0;
    if (NSBundle* sparkle = [NSBundle bundleWithIdentifier:@"org.sparkle-project.Sparkle"]) {
        facts->sparkleVersion = text(sparkle.infoDictionary[@"CFBundleShortVersionString"]);
    }

    auto callback = std::make_shared<std::function<void(SystemFacts)>>(std::move(done));
    [UNUserNotificationCenter.currentNotificationCenter
        getNotificationSettingsWithCompletionHandler:^(UNNotificationSettings* settings) {
          std::vector<std::string> lines{
              "alert style: " + alertStyleText(settings.alertStyle),
              "sound: " + settingText(settings.soundSetting),
              "badge: " + settingText(settings.badgeSetting),
              "notification centre: " + settingText(settings.notificationCenterSetting),
              "lock screen: " + settingText(settings.lockScreenSetting),
          };
          dispatch_async(dispatch_get_main_queue(), ^{
            facts->notificationSettings = lines;
            (*callback)(*facts);
          });
        }];
}

std::optional<int32_t> manualAccessibilityAnswer(ProcessID pid) {
    const auto application = CFRef<AXUIElementRef>::adopt(AXUIElementCreateApplication(pid));
    if (!application) {
        return std::nullopt;
    }
    return static_cast<int32_t>(AXUIElementSetAttributeValue(
        application.get(), CFSTR("AXManualAccessibility"), kCFBooleanTrue));
}

}  // namespace gaugely
