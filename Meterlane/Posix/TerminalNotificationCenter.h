#pragma once

#include <ostream>

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The command-line tool's notification center: permission is always granted and each
// notification is printed as one line. Completions run at once, on the caller's thread.
class TerminalNotificationCenter final : public UserNotificationCenter {
  public:
    explicit TerminalNotificationCenter(std::ostream& out) : out_(out) {}

    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;

  private:
    std::ostream& out_;
};

}  // namespace gaugely
