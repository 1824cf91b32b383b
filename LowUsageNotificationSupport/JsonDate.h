#pragma once

#include <optional>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// A date as records write it (seconds since the reference date), or null for none.
Json jsonDate(std::optional<Date> date);
// Reads a finite number, null or a missing key (none) into `date`; false for anything else.
bool readJsonDate(const Json& object, std::string_view key, std::optional<Date>& date);
// The same for a value itself, `nullptr` standing for a missing one.
bool readJsonDate(const Json* value, std::optional<Date>& date);

}  // namespace gaugely
