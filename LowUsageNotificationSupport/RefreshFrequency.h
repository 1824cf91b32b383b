#pragma once

#include <array>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// How often an automatic refresh falls due. The raw value is what is persisted; the cases are
// listed in the order the settings picker shows them.
enum class RefreshFrequency {
    thirtySeconds,
    oneMinute,
    twoMinutes,
    fiveMinutes,
    tenMinutes,
    thirtyMinutes
};

template <>
struct EnumTraits<RefreshFrequency> {
    static constexpr std::array<std::pair<RefreshFrequency, std::string_view>, 6> cases{{
        {RefreshFrequency::thirtySeconds, "thirtySeconds"},
        {RefreshFrequency::oneMinute, "oneMinute"},
        {RefreshFrequency::twoMinutes, "twoMinutes"},
        {RefreshFrequency::fiveMinutes, "fiveMinutes"},
        {RefreshFrequency::tenMinutes, "tenMinutes"},
        {RefreshFrequency::thirtyMinutes, "thirtyMinutes"},
    }};
};

inline constexpr RefreshFrequency defaultRefreshFrequency = RefreshFrequency::oneMinute;

constexpr std::string_view title(RefreshFrequency frequency) {
    switch (frequency) {
        case RefreshFrequency::thirtySeconds:
            return "30 seconds";
        case RefreshFrequency::oneMinute:
            return "1 minute";
        case RefreshFrequency::twoMinutes:
            return "2 minutes";
        case RefreshFrequency::fiveMinutes:
            return "5 minutes";
        case RefreshFrequency::tenMinutes:
            return "10 minutes";
        case RefreshFrequency::thirtyMinutes:
            return "30 minutes";
    }
    return {};
}

// Seconds between automatic refreshes.
constexpr double timeInterval(RefreshFrequency frequency) {
    switch (frequency) {
        case RefreshFrequency::thirtySeconds:
            return 30;
        case RefreshFrequency::oneMinute:
            return 60;
        case RefreshFrequency::twoMinutes:
            return 120;
        case RefreshFrequency::fiveMinutes:
            return 300;
        case RefreshFrequency::tenMinutes:
            return 600;
        case RefreshFrequency::thirtyMinutes:
            return 1800;
    }
    return 60;
}

}  // namespace gaugely
