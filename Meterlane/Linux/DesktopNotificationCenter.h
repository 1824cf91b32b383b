#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The Linux desktop's notification service as the user-notification center: the freedesktop
// Notifications interface (org.freedesktop.Notifications on the session D-Bus), reached through
// sd-bus. Each request becomes one Notify call: the request's title as the summary, its body as
// the body, shown at once for as long as the desktop's default, and never replacing an earlier
// notification (as the requests' unique identifiers promise).
//
// The desktop has no permission to ask for, so permission is always granted. When the bus or the
// service cannot be reached, a request goes to the fallback center instead, and `unavailable` is
// told why: once when delivery stops working, not for every request. A later request tries the
// bus again. Everything runs on the caller's thread, completions included; a call waits at most
// `callTimeoutSeconds` for the service.
class DesktopNotificationCenter final : public UserNotificationCenter {
  public:
    static constexpr std::string_view serviceName = "org.freedesktop.Notifications";
    static constexpr double callTimeoutSeconds = 5;

    using UnavailableHandler = std::function<void(const std::string& reason)>;

    // `applicationName` is the Notify call's app_name.
    DesktopNotificationCenter(std::string applicationName, UserNotificationCenter& fallback,
                              UnavailableHandler unavailable);
    ~DesktopNotificationCenter() override;
    DesktopNotificationCenter(const DesktopNotificationCenter&) = delete;
    DesktopNotificationCenter& operator=(const DesktopNotificationCenter&) = delete;

    // Connects to the session bus and asks the service who it is, so a missing service is
    // known before the first notification. False (and `unavailable` told) when it cannot be
    // reached.
    bool connect();
    // "dunst 1.9.0 (dunst-project)": the service's own description, once connected.
    const std::optional<std::string>& serverDescription() const { return server_; }

    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;

  private:
    struct Bus;

    void failed(const std::string& reason);

    std::string applicationName_;
    UserNotificationCenter& fallback_;
    UnavailableHandler unavailable_;
    std::unique_ptr<Bus> bus_;
    std::optional<std::string> server_;
    bool toldUnavailable_ = false;
};

}  // namespace gaugely
