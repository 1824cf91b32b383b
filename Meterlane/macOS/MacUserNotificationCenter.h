#pragma once

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The UserNotificationCenter port over the system's current notification center. Completions
// arrive on the system's queues; the core hops to the main queue itself. Needs an application
// bundle: the system refuses a bare command-line process.
class MacUserNotificationCenter final : public UserNotificationCenter {
  public:
    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;
};

}  // namespace gaugely
