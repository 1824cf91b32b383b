#pragma once

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// The notification permission as the settings window shows it.
enum class NotificationPermissionState { notDetermined, authorized, denied, unavailable };

template <>
struct EnumTraits<NotificationPermissionState> {
    static constexpr std::array<std::pair<NotificationPermissionState, std::string_view>, 4> cases{{
        {NotificationPermissionState::notDetermined, "notDetermined"},
        {NotificationPermissionState::authorized, "authorized"},
        {NotificationPermissionState::denied, "denied"},
        {NotificationPermissionState::unavailable, "unavailable"},
    }};
};

enum class LowUsageNotificationAuthorizationDecision {
    deliver,
    requestAuthorization,
    doNotDeliver
};

struct LowUsageNotificationAuthorizationPolicy {
    // Ask only while the user has not answered; a refusal is final until they change it.
    static constexpr LowUsageNotificationAuthorizationDecision decision(bool isAuthorized,
                                                                        bool canRequest) {
        if (isAuthorized) {
            return LowUsageNotificationAuthorizationDecision::deliver;
        }
        return canRequest ? LowUsageNotificationAuthorizationDecision::requestAuthorization
                          : LowUsageNotificationAuthorizationDecision::doNotDeliver;
    }
};

struct NotificationPermissionRecoveryPolicy {
    // The way back to System Settings is offered only to someone who wants notifications and
    // cannot get them; before the first prompt there is nothing to recover from.
    static constexpr bool shouldShowRecovery(NotificationPermissionState permission,
                                             bool hasEnabledNotificationFeature) {
        return hasEnabledNotificationFeature &&
               (permission == NotificationPermissionState::denied ||
                permission == NotificationPermissionState::unavailable);
    }
};

}  // namespace gaugely
