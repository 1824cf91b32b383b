// The reader's side of the update gate. An installation relaunches the app, so it may begin only
// while no run is driving Codex; once it begins, no run may start until the updater lets go.
// Main queue only.
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

bool UsageReader::prepareForDevelopmentUpdate() {
    UpdateRefreshGate gate{updateRefreshGate_};
    if (!gate.prepare(automationInProgress(), countdown().has_value())) {
        return false;
    }
    if (activeRun_) {
        // Still counting down: nothing has been sent to Codex, so the run is called off.
        activeRun_->deferForUpdateInstallation();
        setStatus(std::nullopt);
    }
    updateRefreshGate_ = gate.paused;
    return true;
}

UpdateRefreshGateHooks UsageReader::updateRefreshGateHooks() {
    std::weak_ptr<UsageReader*> alive = alive_;
    const auto reader = [alive]() -> UsageReader* {
        const auto held = alive.lock();
        return held ? *held : nullptr;
    };
    return {[reader] {
                UsageReader* self = reader();
                return self != nullptr && self->prepareForDevelopmentUpdate();
            },
            [reader] {
                if (UsageReader* self = reader()) {
                    self->setUpdateRefreshGate(false);
                }
            }};
}

}  // namespace gaugely
