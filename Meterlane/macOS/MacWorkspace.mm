#include "Meterlane/macOS/MacWorkspace.h"

#import <AppKit/AppKit.h>

#include "Meterlane/macOS/MacBundleInformation.h"

namespace gaugely {

namespace {

RunningApplication describe(NSRunningApplication* application) {
    RunningApplication result;
    if (NSString* bundleIdentifier = application.bundleIdentifier) {
        result.bundleIdentifier = std::string(bundleIdentifier.UTF8String);
    }
    result.processIdentifier = application.processIdentifier;
    switch (application.activationPolicy) {
        case NSApplicationActivationPolicyRegular:
            result.activationPolicy = ActivationPolicy::regular;
            break;
        case NSApplicationActivationPolicyAccessory:
            result.activationPolicy = ActivationPolicy::accessory;
            break;
        case NSApplicationActivationPolicyProhibited:
            result.activationPolicy = ActivationPolicy::prohibited;
            break;
    }
    return result;
}

class NotificationSubscription final : public Subscription {
  public:
    NotificationSubscription(NSNotificationCenter* center, id<NSObject> token)
        : center_(center), token_(token) {}
    ~NotificationSubscription() override { [center_ removeObserver:token_]; }

  private:
    NSNotificationCenter* center_;
    id<NSObject> token_;
};

std::unique_ptr<Subscription> observe(NSNotificationCenter* center, NSNotificationName name,
                                      std::function<void()> handler) {
    auto shared = std::make_shared<std::function<void()>>(std::move(handler));
    id<NSObject> token = [center addObserverForName:name
                                             object:nil
                                              queue:NSOperationQueue.mainQueue
                                         usingBlock:^(NSNotification*) {
                                           if (*shared) {
                                               (*shared)();
                                           }
                                         }];
    return std::make_unique<NotificationSubscription>(center, token);
}

}  // namespace

std::vector<RunningApplication> MacWorkspace::runningApplications() {
    std::vector<RunningApplication> result;
    for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
        result.push_back(describe(application));
    }
    return result;
}

std::optional<RunningApplication> MacWorkspace::frontmostApplication() {
    NSRunningApplication* application = NSWorkspace.sharedWorkspace.frontmostApplication;
    if (!application) {
        return std::nullopt;
    }
    return describe(application);
}

std::unique_ptr<BundleInformation> MacWorkspace::applicationBundle(ProcessID pid) {
    NSRunningApplication* application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
    NSURL* url = application.bundleURL;
    if (!url) {
        return nullptr;
    }
    const auto bundle =
        CFRef<CFBundleRef>::adopt(CFBundleCreate(kCFAllocatorDefault, (__bridge CFURLRef)url));
    if (!bundle.get()) {
        return nullptr;
    }
    return std::make_unique<MacBundleInformation>(bundle.get());
}

bool MacWorkspace::activate(ProcessID pid, ActivationStyle style) {
    NSRunningApplication* application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
    if (!application) {
        return false;
    }
    if (style == ActivationStyle::cooperative) {
        if (@available(macOS 14, *)) {
            [NSApp yieldActivationToApplication:application];
            return [application activateFromApplication:NSRunningApplication.currentApplication
                                                options:0];
        }
    }
    return [application activateWithOptions:NSApplicationActivateIgnoringOtherApps];
}

int MacWorkspace::operatingSystemMajorVersion() {
    return static_cast<int>(NSProcessInfo.processInfo.operatingSystemVersion.majorVersion);
}

bool MacWorkspace::settingsWindowIsKey() {
    return settingsWindowIsKeyProvider_ && settingsWindowIsKeyProvider_();
}

void MacWorkspace::openURL(const std::string& url) {
    NSString* text = [NSString stringWithUTF8String:url.c_str()];
    NSURL* target = text ? [NSURL URLWithString:text] : nil;
    if (target) {
        [NSWorkspace.sharedWorkspace openURL:target];
    }
}

std::unique_ptr<Subscription> MacWorkspace::observeDidWake(std::function<void()> handler) {
    return observe(NSWorkspace.sharedWorkspace.notificationCenter, NSWorkspaceDidWakeNotification,
                   std::move(handler));
}

std::unique_ptr<Subscription> MacWorkspace::observeDidBecomeActive(std::function<void()> handler) {
    return observe(NSNotificationCenter.defaultCenter, NSApplicationDidBecomeActiveNotification,
                   std::move(handler));
}

}  // namespace gaugely
