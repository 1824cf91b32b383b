#include "Meterlane/macOS/MacUserNotificationCenter.h"

#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

// Answers the system while the app is active; without a delegate saying otherwise, a notification
// that arrives then is not shown at all.
@interface GaugelyNotificationCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
@property(nonatomic) UNNotificationPresentationOptions presentationOptions;
@end

@implementation GaugelyNotificationCenterDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions))completionHandler {
    (void)center;
    (void)notification;
    completionHandler(self.presentationOptions);
}
@end

namespace gaugely {

// The port copies the platform's presentation bits.
static_assert(static_cast<UNNotificationPresentationOptions>(
                  NotificationPresentationOption::badge) == UNNotificationPresentationOptionBadge);
static_assert(static_cast<UNNotificationPresentationOptions>(
                  NotificationPresentationOption::sound) == UNNotificationPresentationOptionSound);
static_assert(static_cast<UNNotificationPresentationOptions>(
                  NotificationPresentationOption::list) == UNNotificationPresentationOptionList);
static_assert(
    static_cast<UNNotificationPresentationOptions>(NotificationPresentationOption::banner) ==
    UNNotificationPresentationOptionBanner);

struct MacUserNotificationCenter::Objects {
    GaugelyNotificationCenterDelegate* delegate = nil;
};

namespace {

NotificationAuthorizationStatus translate(UNAuthorizationStatus status) {
    switch (status) {
        case UNAuthorizationStatusNotDetermined:
            return NotificationAuthorizationStatus::notDetermined;
        case UNAuthorizationStatusDenied:
            return NotificationAuthorizationStatus::denied;
        case UNAuthorizationStatusAuthorized:
            return NotificationAuthorizationStatus::authorized;
        case UNAuthorizationStatusProvisional:
            return NotificationAuthorizationStatus::provisional;
        default:
            break;
    }
    // The ephemeral status is not declared for macOS, so it is recognised by its number.
    if (static_cast<NSInteger>(status) == 4) {
        return NotificationAuthorizationStatus::ephemeral;
    }
    return NotificationAuthorizationStatus::unknown;
}

UNAuthorizationOptions translate(uint32_t options) {
    UNAuthorizationOptions result = 0;
    if (options & static_cast<uint32_t>(NotificationAuthorizationOption::badge)) {
        result |= UNAuthorizationOptionBadge;
    }
    if (options & static_cast<uint32_t>(NotificationAuthorizationOption::sound)) {
        result |= UNAuthorizationOptionSound;
    }
    if (options & static_cast<uint32_t>(NotificationAuthorizationOption::alert)) {
        result |= UNAuthorizationOptionAlert;
    }
    return result;
}

NSString* makeNSString(const std::string& utf8) {
    NSString* string = [[NSString alloc] initWithBytes:utf8.data()
                                                length:utf8.size()
                                              encoding:NSUTF8StringEncoding];
    return string != nil ? string : @"";
}

std::optional<std::string> describe(NSError* error) {
    if (error == nil) {
        return std::nullopt;
    }
    const char* text = error.localizedDescription.UTF8String;
    return std::string(text ? text : "");
}

}  // namespace

MacUserNotificationCenter::MacUserNotificationCenter() : objects_(std::make_unique<Objects>()) {}

MacUserNotificationCenter::~MacUserNotificationCenter() {
    UNUserNotificationCenter* center = UNUserNotificationCenter.currentNotificationCenter;
    if (objects_->delegate != nil && center.delegate == objects_->delegate) {
        center.delegate = nil;
    }
}

void MacUserNotificationCenter::presentWhileActive(uint32_t presentationOptions) {
    if (objects_->delegate == nil) {
        objects_->delegate = [[GaugelyNotificationCenterDelegate alloc] init];
    }
    objects_->delegate.presentationOptions =
        static_cast<UNNotificationPresentationOptions>(presentationOptions);
    UNUserNotificationCenter.currentNotificationCenter.delegate = objects_->delegate;
}

void MacUserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
    auto handler = std::move(completion);
    [[UNUserNotificationCenter currentNotificationCenter]
        getNotificationSettingsWithCompletionHandler:^(UNNotificationSettings* settings) {
          if (handler) {
              handler(translate(settings.authorizationStatus));
          }
        }];
}

void MacUserNotificationCenter::requestAuthorization(
    uint32_t options,
    std::function<void(bool granted, std::optional<std::string> error)> completion) {
    auto handler = std::move(completion);
    [[UNUserNotificationCenter currentNotificationCenter]
        requestAuthorizationWithOptions:translate(options)
                      completionHandler:^(BOOL granted, NSError* _Nullable error) {
                        if (handler) {
                            handler(granted == YES, describe(error));
                        }
                      }];
}

void MacUserNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string> error)> completion) {
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = makeNSString(request.title);
    content.body = makeNSString(request.body);
    content.sound = UNNotificationSound.defaultSound;
    // No trigger: shown at once.
    UNNotificationRequest* notification =
        [UNNotificationRequest requestWithIdentifier:makeNSString(request.identifier)
                                             content:content
                                             trigger:nil];
    auto handler = std::move(completion);
    [[UNUserNotificationCenter currentNotificationCenter]
        addNotificationRequest:notification
         withCompletionHandler:^(NSError* _Nullable error) {
           if (handler) {
               handler(describe(error));
           }
         }];
}

}  // namespace gaugely
