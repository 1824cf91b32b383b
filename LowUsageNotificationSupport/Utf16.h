#pragma once

#include <string>
#include <string_view>

#include <unicode/utypes.h>

// Conversions between the UTF-8 we keep and the UTF-16 ICU works in. Internal to this library.
namespace gaugely::utf16 {

std::u16string fromUtf8(std::string_view text);
std::string toUtf8(const UChar* text, int32_t length);
inline std::string toUtf8(const std::u16string& text) {
    return toUtf8(text.data(), static_cast<int32_t>(text.size()));
}

}  // namespace gaugely::utf16
