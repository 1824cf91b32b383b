#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// The on-disk form of one preferences domain: a JSON object from key to value. Booleans and
// strings are plain JSON; data and dates carry a type tag so they read back as what was stored:
//   "plan": "plus"
//   "enabled": true
//   "record": {"type": "data", "value": "<base64>"}
//   "deadline": {"type": "date", "value": <seconds since 2001-01-01 00:00:00 UTC>}
// An entry of any other shape (hand-edited, or written by a newer version) is kept as it was
// found and written back unchanged; it reads as absent for every typed getter.
struct PreferenceData {
    std::string bytes;
    bool operator==(const PreferenceData&) const = default;
};

using PreferenceValue = std::variant<bool, std::string, PreferenceData, Date, Json>;
using PreferenceValues = std::map<std::string, PreferenceValue, std::less<>>;

// None when the text is not a JSON object; individual odd entries never fail the document.
std::optional<PreferenceValues> decodePreferencesDocument(std::string_view text);

// Pretty-printed with a final newline, keys sorted, so the file diffs well when inspected.
std::string encodePreferencesDocument(const PreferenceValues& values);

std::string base64Encoded(std::string_view bytes);
// Strict: the standard alphabet with padding, no white space. None on anything else.
std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace gaugely
