#pragma once

#include <ostream>

#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

// Failure messages show records as their JSON rather than as raw bytes.
namespace gaugely {

inline void PrintTo(const UsageSnapshot& value, std::ostream* out) {
    *out << encodeJson(value);
}
inline void PrintTo(const MonthlyUsageValues& value, std::ostream* out) {
    *out << encodeJson(value);
}
inline void PrintTo(const ProProfileUsageValues& value, std::ostream* out) {
    *out << encodeJson(value);
}

}  // namespace gaugely
