#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// The Free / Go plan's reading: one monthly window, both values as Codex showed them.
struct MonthlyUsageValues {
    std::string percentage;  // "85%"
    std::string resetDate;   // "Oct 3"

    Json toJson() const;
    static std::optional<MonthlyUsageValues> fromJson(const Json& json);

    bool operator==(const MonthlyUsageValues&) const = default;
};

// Reads the monthly window from the usage menu's text lines, in reading order.
struct MonthlyUsageMenuParser {
    // None unless a "Monthly" label is followed by both a percentage and a reset date.
    static std::optional<MonthlyUsageValues> parse(const std::vector<std::string>& orderedText);

    // Whether a line is the "Monthly" label, ignoring case and surrounding white space.
    static bool isMonthlyLabel(std::string_view text);
};

}  // namespace gaugely
