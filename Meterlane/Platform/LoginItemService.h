#pragma once

#include <string>

namespace gaugely {

// The system's record of the app as a login item (on a Mac, SMAppService's main-app service).
// Calls are synchronous and made on the main queue.
class LoginItemService {
  public:
    // The platform's statuses; any value it adds later reads as `unknown`.
    enum class Status { notRegistered, enabled, requiresApproval, notFound, unknown };

    virtual ~LoginItemService() = default;

    [[nodiscard]] virtual Status status() = 0;
    // True when the system took the change; the status tells what it made of it.
    [[nodiscard]] virtual bool registerAsLoginItem() = 0;
    [[nodiscard]] virtual bool unregisterAsLoginItem() = 0;
    // System Settings → General → Login Items, where a login item waiting for approval is allowed.
    virtual void openLoginItemsSettings() = 0;
};

}  // namespace gaugely
