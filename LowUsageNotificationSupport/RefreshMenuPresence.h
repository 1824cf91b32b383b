#pragma once

#include <string_view>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// Whether Codex's profile menu was open when a run looked. Only a menu found closed may be
// toggled by the run, and only a menu the run opened itself may be closed by it.
enum class RefreshMenuPresence { closed, open, uncertain };

template <>
struct EnumTraits<RefreshMenuPresence> {
    static constexpr std::array<std::pair<RefreshMenuPresence, std::string_view>, 3> cases{{
        {RefreshMenuPresence::closed, "closed"},
        {RefreshMenuPresence::open, "open"},
        {RefreshMenuPresence::uncertain, "uncertain"},
    }};
};

constexpr bool permitsToggle(RefreshMenuPresence presence) {
    return presence == RefreshMenuPresence::closed;
}

// Anything short of a clean, unambiguous scan is uncertain, and uncertain never permits a click.
constexpr RefreshMenuPresence resolveMenuPresence(int recognizedMenus, bool unknownMenu,
                                                  bool completeScan, bool profileControlFound,
                                                  bool profileExpanded) {
    if (!completeScan || unknownMenu || recognizedMenus >= 2) {
        return RefreshMenuPresence::uncertain;
    }
    if (recognizedMenus == 1) {
        return RefreshMenuPresence::open;
    }
    return profileControlFound && !profileExpanded ? RefreshMenuPresence::closed
                                                   : RefreshMenuPresence::uncertain;
}

enum class RefreshTraversalResult { complete, limitReached, unavailable };

template <>
struct EnumTraits<RefreshTraversalResult> {
    static constexpr std::array<std::pair<RefreshTraversalResult, std::string_view>, 3> cases{{
        {RefreshTraversalResult::complete, "complete"},
        {RefreshTraversalResult::limitReached, "limitReached"},
        {RefreshTraversalResult::unavailable, "unavailable"},
    }};
};

struct RefreshMenuInspection {
    RefreshMenuPresence presence = RefreshMenuPresence::uncertain;
    RefreshTraversalResult traversal = RefreshTraversalResult::unavailable;
    bool operator==(const RefreshMenuInspection&) const = default;
};

}  // namespace gaugely
