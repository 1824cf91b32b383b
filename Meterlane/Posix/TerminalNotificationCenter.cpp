#include "Meterlane/Posix/TerminalNotificationCenter.h"

namespace gaugely {

void TerminalNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
    if (completion) {
        completion(NotificationAuthorizationStatus::authorized);
    }
}

void TerminalNotificationCenter::requestAuthorization(
    uint32_t /*options*/,
    std::function<void(bool granted, std::optional<std::string> error)> completion) {
    if (completion) {
        completion(true, std::nullopt);
    }
}

void TerminalNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string> error)> completion) {
    print_(request);
    if (completion) {
        completion(std::nullopt);
    }
}

}  // namespace gaugely
