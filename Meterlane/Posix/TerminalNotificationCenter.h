#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The command-line tool's notification center: permission is always granted and each
// notification goes to whoever draws the screen, in a shape of its own (a line above a live view,
// or JSON). Completions run at once, on the caller's thread.
class TerminalNotificationCenter final : public UserNotificationCenter {
  public:
    using RequestPrinter = std::function<void(const NotificationRequest& request)>;

    explicit TerminalNotificationCenter(RequestPrinter print) : print_(std::move(print)) {}

    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;

  private:
    RequestPrinter print_;
};

}  // namespace gaugely
