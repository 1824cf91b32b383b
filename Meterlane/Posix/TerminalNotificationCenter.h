#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The command-line tool's notification center: permission is always granted and each
// notification is printed as one line, to a stream or through whoever draws the screen (a live
// view keeps such lines above what it redraws). Completions run at once, on the caller's thread.
class TerminalNotificationCenter final : public UserNotificationCenter {
  public:
    using LinePrinter = std::function<void(const std::string& line)>;

    // Or the whole request, for whoever writes it in a shape of its own (JSON).
    using RequestPrinter = std::function<void(const NotificationRequest& request)>;

    explicit TerminalNotificationCenter(std::ostream& out);
    explicit TerminalNotificationCenter(LinePrinter print);
    explicit TerminalNotificationCenter(RequestPrinter print) : print_(std::move(print)) {}

    // "notification [<identifier>] <title>: <body>"
    static std::string line(const NotificationRequest& request);

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
