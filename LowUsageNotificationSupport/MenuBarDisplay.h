#pragma once

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

// The format of the usage text beside the menu bar icon. The raw value is what is persisted.
enum class MenuBarDisplay { standard, compact, minimal, fiveHourOnly, weeklyOnly };

template <>
struct EnumTraits<MenuBarDisplay> {
    static constexpr std::array<std::pair<MenuBarDisplay, std::string_view>, 5> cases{{
        {MenuBarDisplay::standard, "standard"},
        {MenuBarDisplay::compact, "compact"},
        {MenuBarDisplay::minimal, "minimal"},
        {MenuBarDisplay::fiveHourOnly, "fiveHourOnly"},
        {MenuBarDisplay::weeklyOnly, "weeklyOnly"},
    }};
};

inline constexpr MenuBarDisplay defaultMenuBarDisplay = MenuBarDisplay::standard;

constexpr std::string_view title(MenuBarDisplay display) {
    switch (display) {
        case MenuBarDisplay::standard:
            return "Standard";
        case MenuBarDisplay::compact:
            return "Compact";
        case MenuBarDisplay::minimal:
            return "Minimal";
        case MenuBarDisplay::fiveHourOnly:
            return "5h Only";
        case MenuBarDisplay::weeklyOnly:
            return "Weekly Only";
    }
    return {};
}

// The formats that make sense for a schema, in picker order: picking one window only needs two.
const std::vector<MenuBarDisplay>& availableChoices(QuotaSchema schema);

// The display itself when the schema offers it, else `standard`. The user's stored choice is kept
// as it is, so it applies again once a plan that offers it is chosen.
MenuBarDisplay compatibleChoice(MenuBarDisplay display, QuotaSchema schema);

}  // namespace gaugely
