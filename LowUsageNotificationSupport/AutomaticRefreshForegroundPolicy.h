#pragma once

namespace gaugely {

// An automatic refresh drives Codex's own window, so its countdown may only begin while the user
// is looking at Codex, or at our settings window (where they are waiting for the result).
struct AutomaticRefreshForegroundPolicy {
    static constexpr bool mayBeginCountdown(bool codexIsFrontmost,
                                            bool gaugelySettingsIsKeyWindow) {
        return codexIsFrontmost || gaugelySettingsIsKeyWindow;
    }
};

}  // namespace gaugely
