#include "Meterlane/Presentation/LaunchAtLoginController.h"

namespace gaugely {

LaunchAtLoginController::LaunchAtLoginController(LoginItemService& service) : service_(service) {
    refreshStatus();
}

void LaunchAtLoginController::publish(bool isEnabled, std::optional<std::string> statusMessage) {
    if (isEnabled == isEnabled_ && statusMessage == statusMessage_) {
        return;
    }
    isEnabled_ = isEnabled;
    statusMessage_ = std::move(statusMessage);
    for (const auto& observer : observers_) {
        observer();
    }
}

void LaunchAtLoginController::refreshStatus() {
    using Status = LoginItemService::Status;
    status_ = service_.status();
    switch (status_) {
        case Status::notRegistered:
            publish(false, std::nullopt);
            return;
        case Status::enabled:
            publish(true, std::nullopt);
            return;
        case Status::requiresApproval:
            publish(false, "Launch at Login requires approval in System Settings.");
            return;
        case Status::notFound:
            publish(false, "Launch at Login is unavailable for this app.");
            return;
        case Status::unknown:
            break;
    }
    publish(false, "Launch at Login status is unavailable.");
}

void LaunchAtLoginController::setEnabled(bool enabled) {
    const bool succeeded =
        enabled ? service_.registerAsLoginItem() : service_.unregisterAsLoginItem();
    refreshStatus();
    // A message about the status says more than the generic one.
    if (!succeeded && !statusMessage_) {
        publish(isEnabled_, "Could not update Launch at Login.");
    }
}

}  // namespace gaugely
