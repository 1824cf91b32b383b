#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/RefreshMenuPresence.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// One run's trail in the log: an identifier shared by its lines, and what it already logged.
struct RefreshTrace {
    std::string identifier;
    RefreshRunKind kind = RefreshRunKind::manual;
    double requestedAt = 0;  // monotonic seconds
    // Stage lines already logged, with their details.
    std::vector<std::string> recordedStages;
};

struct RefreshTiming {
    double requestedAt = 0;  // monotonic seconds
    std::optional<double> menuOpenedAt;
};

// What the run knew about Codex's menu when it started, and what it did to it since.
struct RefreshUIState {
    RefreshMenuPresence profileMenuPresenceAtStart = RefreshMenuPresence::uncertain;
    bool profileMenuOpenedByMonitor = false;
    AXElement openedMenu;
    std::optional<RunningApplication> host;
};

// Where the run will press Return: the "Usage remaining" item as it was found.
struct UsageFocusBaseline {
    AXElement menu;
    AXElement item;
    std::optional<Rect> itemFrame;
    int downPresses = 0;
};

inline constexpr std::string_view refreshLogCategory = "refresh";
inline constexpr std::string_view automaticRefreshLogCategory = "automatic-refresh";

}  // namespace gaugely
