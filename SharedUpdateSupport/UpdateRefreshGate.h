#pragma once

#include <functional>

namespace gaugely {

// Keeps refreshes and an update installation apart: an installation relaunches the app and must
// never cut a run of synthetic input in half, and no run may start while one installs.
struct UpdateRefreshGate {
    bool paused = false;

    // No while a live run reads Codex (automation active, no countdown pending); otherwise the
    // gate closes and the answer is yes. A run still counting down has sent nothing yet and may
    // be called off.
    [[nodiscard]] bool prepare(bool automationActive, bool countdownPending) {
        if (automationActive && !countdownPending) {
            return false;
        }
        paused = true;
        return true;
    }
    void resume() { paused = false; }
};

// The two hooks the app installs between the reader and the updater at start-up. Both hold the
// reader weakly: with the reader gone, preparing answers no and resuming does nothing.
struct UpdateRefreshGateHooks {
    std::function<bool()> prepareForInstallation;
    std::function<void()> resumeAfterInstallation;
};

}  // namespace gaugely
