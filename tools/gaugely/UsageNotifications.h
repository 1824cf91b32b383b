#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Meterlane/Platform/UserNotificationCenter.h"
#include "Meterlane/Posix/TerminalNotificationCenter.h"

namespace gaugely::tool {

// Where `gaugely usage` shows its low-usage and reset notifications: as lines beside the
// reading, or with --notify on the desktop, through the freedesktop notification service on the
// session D-Bus, with the Mac app's titles and texts. When the desktop cannot be reached the
// notifications come back to the lines, and one line says why.
class UsageNotifications {
  public:
    using LineHandler = std::function<void(const std::string& line)>;
    using RequestHandler = std::function<void(const NotificationRequest& request)>;

    // `print` shows a notification in the terminal; `notice` shows a line about the delivery
    // itself.
    UsageNotifications(RequestHandler print, LineHandler notice);
    ~UsageNotifications();

    // Whether this build on this system can send desktop notifications at all; when it cannot,
    // the text that says so.
    [[nodiscard]] static std::optional<std::string> desktopUnavailableReason();

    // --notify: from now on through the desktop. Tries the service at once, so a missing one
    // is said before the first notification.
    void deliverOnDesktop();

    UserNotificationCenter& center();

  private:
    TerminalNotificationCenter terminal_;
    LineHandler notice_;
    std::unique_ptr<UserNotificationCenter> desktop_;
};

}  // namespace gaugely::tool
