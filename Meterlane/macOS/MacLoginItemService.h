#pragma once

#include "Meterlane/Platform/LoginItemService.h"

namespace gaugely {

// The login-item port over SMAppService's main-app service (macOS 13). Main queue only.
class MacLoginItemService final : public LoginItemService {
  public:
    Status status() override;
    bool registerAsLoginItem() override;
    bool unregisterAsLoginItem() override;
    void openLoginItemsSettings() override;
};

}  // namespace gaugely
