#include "Meterlane/Posix/PreferencesDocument.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace gaugely {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::string_view typeKey = "type";
constexpr std::string_view valueKey = "value";
constexpr std::string_view dataType = "data";
constexpr std::string_view dateType = "date";

constexpr std::array<int8_t, 256> makeDecodeTable() {
    std::array<int8_t, 256> table{};
    for (auto& entry : table) {
        entry = -1;
    }
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<int8_t>(i);
    }
    return table;
}

constexpr std::array<int8_t, 256> decodeTable = makeDecodeTable();

// A tagged object is recognised only in its exact form; anything looser stays an opaque entry
// rather than being guessed at.
PreferenceValue decodeEntry(const Json& json) {
    if (json.is_boolean()) {
        return json.get<bool>();
    }
    if (json.is_string()) {
        return json.get<std::string>();
    }
    if (json.is_object() && json.size() == 2) {
        const auto type = jsonString(json, typeKey);
        if (type == dataType) {
            if (const auto text = jsonString(json, valueKey)) {
                if (auto bytes = base64Decoded(*text)) {
                    return PreferenceData{std::move(*bytes)};
                }
            }
        } else if (type == dateType) {
            if (const auto seconds = jsonNumber(json, valueKey)) {
                return Date{*seconds};
            }
        }
    }
    return json;
}

Json encodeEntry(const PreferenceValue& value) {
    struct Visitor {
        Json operator()(bool flag) const { return flag; }
        Json operator()(const std::string& text) const { return text; }
        Json operator()(const PreferenceData& data) const {
            Json json = Json::object();
            json[typeKey] = dataType;
            json[valueKey] = base64Encoded(data.bytes);
            return json;
        }
        Json operator()(Date date) const {
            Json json = Json::object();
            json[typeKey] = dateType;
            json[valueKey] = date.timeIntervalSinceReferenceDate;
            return json;
        }
        Json operator()(const Json& kept) const { return kept; }
    };
    return std::visit(Visitor{}, value);
}

}  // namespace

std::optional<PreferenceValues> decodePreferencesDocument(std::string_view text) {
    const std::optional<Json> json = parseJson(text);
    if (!json || !json->is_object()) {
        return std::nullopt;
    }
    PreferenceValues values;
    for (const auto& [key, entry] : json->items()) {
        values.insert_or_assign(key, decodeEntry(entry));
    }
    return values;
}

std::string encodePreferencesDocument(const PreferenceValues& values) {
    Json json = Json::object();
    for (const auto& [key, value] : values) {
        json[key] = encodeEntry(value);
    }
    std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
    text += '\n';
    return text;
}

std::string base64Encoded(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const uint32_t chunk = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16 |
                               static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1]))
                                   << 8 |
                               static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 2]));
        text += alphabet[chunk >> 18 & 0x3F];
        text += alphabet[chunk >> 12 & 0x3F];
        text += alphabet[chunk >> 6 & 0x3F];
        text += alphabet[chunk & 0x3F];
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        uint32_t chunk = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
        if (rest == 2) {
            chunk |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
        }
        text += alphabet[chunk >> 18 & 0x3F];
        text += alphabet[chunk >> 12 & 0x3F];
        text += rest == 2 ? alphabet[chunk >> 6 & 0x3F] : '=';
        text += '=';
    }
    return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::size_t padding = 0;
    if (!text.empty() && text.back() == '=') {
        padding = text.size() >= 2 && text[text.size() - 2] == '=' ? 2 : 1;
    }
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        const bool last = i + 4 == text.size();
        uint32_t chunk = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            const char c = text[i + j];
            int8_t sextet = 0;
            if (c == '=') {
                // Padding only at the very end, and only as many as announced.
                if (!last || j < 4 - padding) {
                    return std::nullopt;
                }
            } else {
                sextet = decodeTable[static_cast<unsigned char>(c)];
                if (sextet < 0) {
                    return std::nullopt;
                }
            }
            chunk = chunk << 6 | static_cast<uint32_t>(sextet);
        }
        const std::size_t produced = last ? 3 - padding : 3;
        // Bits below the last whole byte must be zero, so every byte string has one spelling.
        if (produced == 1 && (chunk & 0xFFFF) != 0) {
            return std::nullopt;
        }
        if (produced == 2 && (chunk & 0xFF) != 0) {
            return std::nullopt;
        }
        bytes += static_cast<char>(chunk >> 16 & 0xFF);
        if (produced >= 2) {
            bytes += static_cast<char>(chunk >> 8 & 0xFF);
        }
        if (produced == 3) {
            bytes += static_cast<char>(chunk & 0xFF);
        }
    }
    return bytes;
}

}  // namespace gaugely
