#pragma once

#include <optional>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// Field rules shared by the update notice and the pending-update receipt.

// An optional field that is absent or null reads as none; present with another type, it spoils
// the record.
[[nodiscard]] inline bool isAbsentOrNull(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    return member == nullptr || member->is_null();
}

// Dates in the update records: a JSON number of seconds since 2001-01-01 00:00:00 UTC. A number
// outside 1970–2999 is no date this program wrote; reading it would park the daily check or a
// receipt's age far from now, so the record fails to decode and the empty state is kept.
inline constexpr double earliestUpdateRecordDate = -978307200.0;  // 1970-01-01
inline constexpr double latestUpdateRecordDate = 31525372800.0;   // 3000-01-01

[[nodiscard]] inline std::optional<Date> updateRecordDate(const Json& object,
                                                          std::string_view key) {
    const std::optional<double> seconds = jsonNumber(object, key);
    if (!seconds || *seconds < earliestUpdateRecordDate || *seconds >= latestUpdateRecordDate) {
        return std::nullopt;
    }
    return Date{*seconds};
}

}  // namespace gaugely
