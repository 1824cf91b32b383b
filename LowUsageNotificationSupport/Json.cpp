#include "LowUsageNotificationSupport/Json.h"

#include <cmath>
#include <limits>

namespace gaugely {

std::optional<Json> parseJson(std::string_view text) {
    Json json = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (json.is_discarded()) {
        return std::nullopt;
    }
    return json;
}

std::string serializeJson(const Json& json) {
    // Invalid UTF-8 is replaced rather than thrown on: a stored record must always encode.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

const Json* jsonMember(const Json& object, std::string_view key) {
    if (!object.is_object()) {
        return nullptr;
    }
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

std::optional<std::string> jsonString(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    if (member == nullptr || !member->is_string()) {
        return std::nullopt;
    }
    return member->get<std::string>();
}

std::optional<bool> jsonBool(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    if (member == nullptr || !member->is_boolean()) {
        return std::nullopt;
    }
    return member->get<bool>();
}

std::optional<double> jsonNumber(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    if (member == nullptr || !member->is_number()) {
        return std::nullopt;
    }
    const double value = member->get<double>();
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<long long> jsonInteger(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (member->is_number_integer()) {
        if (member->is_number_unsigned()) {
            const auto value = member->get<unsigned long long>();
            if (value > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) {
                return std::nullopt;
            }
            return static_cast<long long>(value);
        }
        return member->get<long long>();
    }
    if (member->is_number_float()) {
        // A whole number written as 30.0 is still an integer to the decoders.
        const double value = member->get<double>();
        if (std::isfinite(value) && std::trunc(value) == value && std::fabs(value) < 9.0e15) {
            return static_cast<long long>(value);
        }
    }
    return std::nullopt;
}

}  // namespace gaugely
