#pragma once

#include <string_view>

namespace gaugely {

// The small refresh status item beside the usage label. While a refresh runs it shows the
// circular arrows and ignores clicks, so a click can never start a second run. The spoken
// description has no ellipsis while the tooltip has one, as the system's own items do.
struct RefreshControlPresentation {
    std::string_view symbolName;
    std::string_view accessibilityDescription;
    std::string_view toolTip;
    bool isEnabled = true;

    static constexpr RefreshControlPresentation make(bool isRefreshing) {
        if (isRefreshing) {
            return {"arrow.triangle.2.circlepath.circle.fill", "Refreshing Codex usage",
                    "Refreshing Codex usage\u2026", false};
        }
        return {"arrow.clockwise", "Refresh Codex usage", "Refresh Codex usage", true};
    }
};

}  // namespace gaugely
