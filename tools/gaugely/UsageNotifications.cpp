#include "tools/gaugely/UsageNotifications.h"

#include "ProductFacts.h"

#if GAUGELY_DESKTOP_NOTIFICATIONS
#include "Meterlane/Linux/DesktopNotificationCenter.h"
#endif

namespace gaugely::tool {

UsageNotifications::UsageNotifications(RequestHandler print, LineHandler notice)
    : terminal_(std::move(print)), notice_(std::move(notice)) {}

UsageNotifications::~UsageNotifications() = default;

std::optional<std::string> UsageNotifications::desktopUnavailableReason() {
#if GAUGELY_DESKTOP_NOTIFICATIONS
    return std::nullopt;
#elif defined(__APPLE__)
    return "--notify is not available on macOS: it sends to the Linux desktop's notification "
           "service (the Gaugely app notifies on a Mac)";
#else
    return "--notify is not available in this build: it was built without sd-bus (libsystemd)";
#endif
}

void UsageNotifications::deliverOnDesktop() {
#if GAUGELY_DESKTOP_NOTIFICATIONS
    auto desktop = std::make_unique<DesktopNotificationCenter>(
        std::string(product::name), terminal_, [this](const std::string& reason) {
            notice_("gaugely usage: desktop notifications are not available (" + reason +
                    "); they are shown here instead");
        });
    desktop->connect();
    desktop_ = std::move(desktop);
#else
    notice_("gaugely usage: " + desktopUnavailableReason().value_or(""));
#endif
}

UserNotificationCenter& UsageNotifications::center() {
    return desktop_ ? *desktop_ : static_cast<UserNotificationCenter&>(terminal_);
}

}  // namespace gaugely::tool
