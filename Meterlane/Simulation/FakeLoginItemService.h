#pragma once

#include "Meterlane/Platform/LoginItemService.h"

namespace gaugely {

// A login-item service whose status and answers a test sets; a successful change moves the status
// as the system would.
class FakeLoginItemService final : public LoginItemService {
  public:
    Status currentStatus = Status::notRegistered;
    bool changesSucceed = true;
    int settingsOpened = 0;

    Status status() override { return currentStatus; }
    bool registerAsLoginItem() override {
        if (changesSucceed) {
            currentStatus = Status::enabled;
        }
        return changesSucceed;
    }
    bool unregisterAsLoginItem() override {
        if (changesSucceed) {
            currentStatus = Status::notRegistered;
        }
        return changesSucceed;
    }
    void openLoginItemsSettings() override { ++settingsOpened; }
};

}  // namespace gaugely
