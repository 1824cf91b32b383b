#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>

namespace gaugely {

// The platform's notification authorization status; `unknown` stands for any value this version
// does not know.
enum class NotificationAuthorizationStatus {
    notDetermined,
    denied,
    authorized,
    provisional,
    ephemeral,
    unknown
};

// Bits as the platform numbers its authorization options.
enum class NotificationAuthorizationOption : uint32_t { badge = 1, sound = 2, alert = 4 };

constexpr uint32_t notificationAuthorizationOptions(
    std::initializer_list<NotificationAuthorizationOption> options) {
    uint32_t bits = 0;
    for (const NotificationAuthorizationOption option : options) {
        bits |= static_cast<uint32_t>(option);
    }
    return bits;
}

// How a notification shows while this application is the active one, as the platform numbers its
// presentation options.
enum class NotificationPresentationOption : uint32_t {
    badge = 1,
    sound = 2,
    list = 8,
    banner = 16
};

constexpr uint32_t notificationPresentationOptions(
    std::initializer_list<NotificationPresentationOption> options) {
    uint32_t bits = 0;
    for (const NotificationPresentationOption option : options) {
        bits |= static_cast<uint32_t>(option);
    }
    return bits;
}

// A local notification shown at once with the default sound. Identifiers are unique, so a
// request never replaces an earlier one.
struct NotificationRequest {
    std::string identifier;
    std::string title;
    std::string body;
    // What the notification is about, for whoever handles it besides the user (the platform's
    // user info): the command line's JSON reads it rather than the identifier or the text.
    std::map<std::string, std::string> userInfo = {};

    bool operator==(const NotificationRequest&) const = default;
};

// The local-notification service. Completions may run on any thread; callers hop to the main
// queue before touching their state.
class UserNotificationCenter {
  public:
    virtual ~UserNotificationCenter() = default;

    virtual void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) = 0;

    // `options` is a set of NotificationAuthorizationOption bits. The error text, if any, is the
    // platform's description.
    virtual void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) = 0;

    virtual void add(const NotificationRequest& request,
                     std::function<void(std::optional<std::string> error)> completion) = 0;

    // How notifications show while this application is active (its popover, settings or an
    // alert open): unless told, the platform shows none of them then. A platform without the
    // distinction (a terminal) ignores it.
    virtual void presentWhileActive(uint32_t presentationOptions) { (void)presentationOptions; }
};

}  // namespace gaugely
