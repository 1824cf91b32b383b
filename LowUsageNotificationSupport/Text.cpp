#include "LowUsageNotificationSupport/Text.h"

#include <cctype>
#include <limits>
#include <locale>
#include <sstream>

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include "LowUsageNotificationSupport/Utf16.h"

namespace gaugely::utf16 {

std::u16string fromUtf8(std::string_view text) {
    if (text.empty() || text.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        return {};
    }
    const auto length = static_cast<int32_t>(text.size());
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strFromUTF8WithSub(nullptr, 0, &needed, text.data(), length, 0xFFFD, nullptr, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) {
        return {};
    }
    std::u16string result(static_cast<size_t>(needed), u'\0');
    status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(result.data(), needed, &needed, text.data(), length, 0xFFFD, nullptr,
                         &status);
    if (U_FAILURE(status)) {
        return {};
    }
    return result;
}

std::string toUtf8(const UChar* text, int32_t length) {
    if (length <= 0) {
        return {};
    }
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8WithSub(nullptr, 0, &needed, text, length, 0xFFFD, nullptr, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) {
        return {};
    }
    std::string result(static_cast<size_t>(needed), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8WithSub(result.data(), needed, &needed, text, length, 0xFFFD, nullptr, &status);
    if (U_FAILURE(status)) {
        return {};
    }
    return result;
}

}  // namespace gaugely::utf16

namespace gaugely::text {
namespace {

bool isWhitespaceOrNewline(UChar32 c) {
    if ((c >= 0x09 && c <= 0x0D) || c == 0x85) {
        return true;
    }
    switch (u_charType(c)) {
        case U_SPACE_SEPARATOR:
        case U_LINE_SEPARATOR:
        case U_PARAGRAPH_SEPARATOR:
            return true;
        default:
            return false;
    }
}

// Decodes one code point of UTF-8 starting at `i`; malformed bytes count as one unit each.
UChar32 decodeAt(std::string_view s, size_t& i) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(s.data());
    const auto length = static_cast<int32_t>(s.size());
    auto index = static_cast<int32_t>(i);
    UChar32 c = 0;
    U8_NEXT(bytes, index, length, c);
    i = static_cast<size_t>(index);
    return c;
}

}  // namespace

std::string trimmed(std::string_view text) {
    size_t begin = 0;
    while (begin < text.size()) {
        size_t next = begin;
        if (!isWhitespaceOrNewline(decodeAt(text, next))) {
            break;
        }
        begin = next;
    }
    size_t end = begin;
    size_t cursor = begin;
    while (cursor < text.size()) {
        size_t next = cursor;
        const UChar32 c = decodeAt(text, next);
        if (!isWhitespaceOrNewline(c)) {
            end = next;
        }
        cursor = next;
    }
    return std::string(text.substr(begin, end - begin));
}

std::string lowercased(std::string_view text) {
    const std::u16string source = utf16::fromUtf8(text);
    if (source.empty()) {
        return std::string(text.empty() ? "" : text);
    }
    UErrorCode status = U_ZERO_ERROR;
    const auto sourceLength = static_cast<int32_t>(source.size());
    int32_t needed = u_strToLower(nullptr, 0, source.data(), sourceLength, "", &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) {
        return std::string(text);
    }
    std::u16string lower(static_cast<size_t>(needed), u'\0');
    status = U_ZERO_ERROR;
    needed = u_strToLower(lower.data(), needed, source.data(), sourceLength, "", &status);
    if (U_FAILURE(status)) {
        return std::string(text);
    }
    return utf16::toUtf8(lower.data(), needed);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a == b) {
        return true;
    }
    const std::u16string ua = utf16::fromUtf8(a);
    const std::u16string ub = utf16::fromUtf8(b);
    UErrorCode status = U_ZERO_ERROR;
    const int32_t order =
        u_strCaseCompare(ua.data(), static_cast<int32_t>(ua.size()), ub.data(),
                         static_cast<int32_t>(ub.size()), U_FOLD_CASE_DEFAULT, &status);
    return U_SUCCESS(status) && order == 0;
}

bool contains(std::string_view haystack, std::string_view needle) {
    return haystack.find(needle) != std::string_view::npos;
}

std::string replacingAll(std::string_view text, std::string_view needle,
                         std::string_view replacement) {
    if (needle.empty()) {
        return std::string(text);
    }
    std::string result;
    result.reserve(text.size());
    size_t start = 0;
    for (size_t found = text.find(needle); found != std::string_view::npos;
         found = text.find(needle, start)) {
        result.append(text.substr(start, found - start));
        result.append(replacement);
        start = found + needle.size();
    }
    result.append(text.substr(start));
    return result;
}

std::string joined(const std::vector<std::string>& lines, std::string_view separator) {
    std::string result;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            result.append(separator);
        }
        result.append(lines[i]);
    }
    return result;
}

std::vector<std::string> splitLines(std::string_view text) {
    std::vector<std::string> lines;
    if (text.empty()) {
        return lines;
    }
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            lines.emplace_back(text.substr(start));
            break;
        }
        lines.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::optional<double> decimalNumber(std::string_view text) {
    // Apple's C++ library has no floating-point from_chars; a classic-locale stream reads the
    // same way whatever locale the host process has set.
    if (text.empty() || text.front() == '+' ||
        std::isspace(static_cast<unsigned char>(text.front()))) {
        return std::nullopt;
    }
    std::istringstream in{std::string(text)};
    in.imbue(std::locale::classic());
    double value = 0;
    in >> std::noskipws >> value;
    if (in.fail() || in.peek() != std::char_traits<char>::eof()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace gaugely::text
