#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace gaugely {

// Ordered, so records are written with their keys in the documented order.
using Json = nlohmann::ordered_json;

// Parses without throwing; malformed text gives none.
std::optional<Json> parseJson(std::string_view text);

// Compact text (one line), the form stored as data.
std::string serializeJson(const Json& json);

// Typed field access for decoders: none when the key is missing or of another type.
std::optional<std::string> jsonString(const Json& object, std::string_view key);
std::optional<bool> jsonBool(const Json& object, std::string_view key);
std::optional<double> jsonNumber(const Json& object, std::string_view key);
std::optional<long long> jsonInteger(const Json& object, std::string_view key);
const Json* jsonMember(const Json& object, std::string_view key);

// Decodes a record from JSON text with its `fromJson`; none on any failure.
template <class T>
std::optional<T> decodeJson(std::string_view text) {
    const std::optional<Json> json = parseJson(text);
    if (!json) {
        return std::nullopt;
    }
    return T::fromJson(*json);
}

template <class T>
std::string encodeJson(const T& value) {
    return serializeJson(value.toJson());
}

}  // namespace gaugely
