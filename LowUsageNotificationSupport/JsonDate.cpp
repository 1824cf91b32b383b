#include "LowUsageNotificationSupport/JsonDate.h"

#include <cmath>

namespace gaugely {

Json jsonDate(std::optional<Date> date) {
    return date ? Json(date->timeIntervalSinceReferenceDate) : Json(nullptr);
}

bool readJsonDate(const Json& object, std::string_view key, std::optional<Date>& date) {
    return readJsonDate(jsonMember(object, key), date);
}

bool readJsonDate(const Json* member, std::optional<Date>& date) {
    if (member == nullptr || member->is_null()) {
        date.reset();
        return true;
    }
    if (!member->is_number() || !std::isfinite(member->get<double>())) {
        return false;
    }
    date = Date{member->get<double>()};
    return true;
}

}  // namespace gaugely
