#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/LoginItemService.h"

namespace gaugely {

// The "Launch at Login" switch of the settings window: whether the app is a login item, and a line
// under the switch when something needs the user's attention. Main queue only.
class LaunchAtLoginController {
  public:
    // Reads the status once, as the app does at start-up.
    explicit LaunchAtLoginController(LoginItemService& service);

    bool isEnabled() const { return isEnabled_; }
    const std::optional<std::string>& statusMessage() const { return statusMessage_; }
    // Approval is given in System Settings; the settings window offers a button that goes there.
    bool needsApproval() const { return status_ == LoginItemService::Status::requiresApproval; }

    void refreshStatus();
    void setEnabled(bool enabled);
    void openLoginItemsSettings() { service_.openLoginItemsSettings(); }

    void addObserver(std::function<void()> handler) { observers_.push_back(std::move(handler)); }

    static constexpr const char* approvalActionTitle = "Open Login Items Settings\u2026";

  private:
    void publish(bool isEnabled, std::optional<std::string> statusMessage);

    LoginItemService& service_;
    LoginItemService::Status status_ = LoginItemService::Status::notRegistered;
    bool isEnabled_ = false;
    std::optional<std::string> statusMessage_;
    std::vector<std::function<void()>> observers_;
};

}  // namespace gaugely
