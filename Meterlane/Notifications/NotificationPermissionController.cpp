#include "Meterlane/Notifications/NotificationPermissionController.h"

namespace gaugely {

NotificationPermissionState notificationPermissionState(NotificationAuthorizationStatus status) {
    switch (status) {
        case NotificationAuthorizationStatus::notDetermined:
            return NotificationPermissionState::notDetermined;
        case NotificationAuthorizationStatus::denied:
            return NotificationPermissionState::denied;
        case NotificationAuthorizationStatus::authorized:
        case NotificationAuthorizationStatus::provisional:
            return NotificationPermissionState::authorized;
        case NotificationAuthorizationStatus::ephemeral:
        case NotificationAuthorizationStatus::unknown:
            // An app-clip style grant or a status this version does not know cannot be relied on.
            return NotificationPermissionState::unavailable;
    }
    return NotificationPermissionState::unavailable;
}

std::shared_ptr<NotificationPermissionController> NotificationPermissionController::create(
    UserNotificationCenter& center, MainQueue& mainQueue, OpenURL openURL) {
    return std::make_shared<NotificationPermissionController>(Passkey{}, center, mainQueue,
                                                              std::move(openURL));
}

NotificationPermissionController::NotificationPermissionController(Passkey,
                                                                   UserNotificationCenter& center,
                                                                   MainQueue& mainQueue,
                                                                   OpenURL openURL)
    : center_(center), mainQueue_(mainQueue), openURL_(std::move(openURL)) {}

void NotificationPermissionController::refreshStatus() {
    center_.getNotificationSettings(
        [weak = weak_from_this(), &queue = mainQueue_](NotificationAuthorizationStatus status) {
            queue.post([weak, status] {
                if (const auto self = weak.lock()) {
                    self->apply(status);
                }
            });
        });
}

void NotificationPermissionController::apply(NotificationAuthorizationStatus status) {
    const NotificationPermissionState state = notificationPermissionState(status);
    if (state == state_) {
        return;
    }
    state_ = state;
    if (onChange_) {
        onChange_();
    }
}

void NotificationPermissionController::openSystemSettings() {
    if (openURL_) {
        openURL_(std::string(notificationSettingsURL));
    }
}

}  // namespace gaugely
