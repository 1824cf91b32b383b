#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LowUsageNotificationSupport/NotificationPermission.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

inline constexpr std::string_view notificationSettingsURL =
    "x-apple.systempreferences:com.apple.preference.notifications";

NotificationPermissionState notificationPermissionState(NotificationAuthorizationStatus status);

// The notification permission as the settings window shows it, and the way to System Settings.
// Lives on the main queue; the center's completion holds it weakly.
class NotificationPermissionController
    : public std::enable_shared_from_this<NotificationPermissionController> {
    struct Passkey {};

  public:
    using OpenURL = std::function<void(const std::string& url)>;

    static std::shared_ptr<NotificationPermissionController> create(UserNotificationCenter& center,
                                                                    MainQueue& mainQueue,
                                                                    OpenURL openURL);

    NotificationPermissionController(Passkey, UserNotificationCenter& center, MainQueue& mainQueue,
                                     OpenURL openURL);

    NotificationPermissionState state() const { return state_; }
    // Called on the main queue whenever `state` changes.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

    // Asks the center for the current status; `state` follows on the main queue.
    void refreshStatus();
    void openSystemSettings();

    bool shouldShowRecovery(bool hasEnabledNotificationFeature) const {
        return NotificationPermissionRecoveryPolicy::shouldShowRecovery(
            state_, hasEnabledNotificationFeature);
    }

  private:
    void apply(NotificationAuthorizationStatus status);

    UserNotificationCenter& center_;
    MainQueue& mainQueue_;
    OpenURL openURL_;
    std::function<void()> onChange_;
    NotificationPermissionState state_ = NotificationPermissionState::notDetermined;
};

}  // namespace gaugely
