#include "Meterlane/Posix/IcuTimeFormatter.h"

#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/udatpg.h>

#include <cstdlib>

#include "LowUsageNotificationSupport/Utf16.h"

namespace gaugely {

namespace {

// POSIX's order for the locale of times: LC_ALL overrides LC_TIME, which overrides LANG.
std::string environmentTimeLocale() {
    for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "";
}

constexpr std::string_view twentyFourHour = "HH:mm";
constexpr std::string_view twentyFourHourWithSeconds = "HH:mm:ss";

}  // namespace

struct IcuTimeFormatter::Formatter {
    UDateFormat* handle = nullptr;
    ~Formatter() {
        if (handle != nullptr) {
            udat_close(handle);
        }
    }
};

IcuTimeFormatter::IcuTimeFormatter(std::optional<std::string> localeIdentifier)
    : locale_(icuLocaleFromPosix(localeIdentifier ? *localeIdentifier : environmentTimeLocale())) {}

IcuTimeFormatter::~IcuTimeFormatter() = default;

std::string IcuTimeFormatter::icuLocaleFromPosix(std::string_view posixLocale) {
    // "language_TERRITORY.codeset@modifier": ICU wants the first part only.
    const std::size_t end = posixLocale.find_first_of(".@");
    std::string_view name = posixLocale.substr(0, end);
    if (name.empty() || name == "C" || name == "POSIX") {
        return "";
    }
    return std::string(name);
}

const IcuTimeFormatter::Formatter* IcuTimeFormatter::formatter(const Key& key, bool isStyle) const {
    auto found = formatters_.find(key);
    if (found != formatters_.end()) {
        return found->second.get();
    }
    const auto& [pattern, locale, zone] = key;
    UErrorCode status = U_ZERO_ERROR;
    const std::u16string zone16 = utf16::fromUtf8(zone);
    const UChar* zoneArgument = zone.empty() ? nullptr : zone16.data();
    const int32_t zoneLength = zone.empty() ? 0 : static_cast<int32_t>(zone16.size());
    auto made = std::make_unique<Formatter>();
    if (isStyle) {
        const UDateFormatStyle style = pattern == "medium" ? UDAT_MEDIUM : UDAT_SHORT;
        made->handle = udat_open(style, UDAT_NONE, locale.c_str(), zoneArgument, zoneLength,
                                 nullptr, 0, &status);
    } else {
        const std::u16string pattern16 = utf16::fromUtf8(pattern);
        made->handle =
            udat_open(UDAT_PATTERN, UDAT_PATTERN, locale.c_str(), zoneArgument, zoneLength,
                      pattern16.data(), static_cast<int32_t>(pattern16.size()), &status);
    }
    if (U_FAILURE(status)) {
        made->handle = nullptr;
    }
    return formatters_.emplace(key, std::move(made)).first->second.get();
}

std::string IcuTimeFormatter::timeOfDay(Date date, bool includesSeconds) const {
    if (locale_.empty()) {
        return format(date, includesSeconds ? twentyFourHourWithSeconds : twentyFourHour,
                      "en_US_POSIX", "")
            .value_or("");
    }
    const Formatter* made = formatter({includesSeconds ? "medium" : "short", locale_, ""}, true);
    if (made->handle == nullptr) {
        return "";
    }
    UChar buffer[128];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length =
        udat_format(made->handle, date.unixTime() * 1000.0, buffer, 128, nullptr, &status);
    return U_SUCCESS(status) ? utf16::toUtf8(buffer, length) : std::string();
}

std::string IcuTimeFormatter::dayAndTimeOfDay(Date date, bool includesSeconds,
                                              bool includesYear) const {
    if (locale_.empty()) {
        std::string pattern = includesYear ? "MMM d, y, " : "MMM d, ";
        pattern += includesSeconds ? twentyFourHourWithSeconds : twentyFourHour;
        return format(date, pattern, "en_US_POSIX", "").value_or("");
    }
    std::string skeleton = includesYear ? "yMMMd" : "MMMd";
    skeleton += includesSeconds ? "jmmss" : "jmm";
    auto found = skeletonPatterns_.find(skeleton);
    if (found == skeletonPatterns_.end()) {
        std::string pattern;
        UErrorCode status = U_ZERO_ERROR;
        UDateTimePatternGenerator* generator = udatpg_open(locale_.c_str(), &status);
        if (U_SUCCESS(status)) {
            const std::u16string skeleton16 = utf16::fromUtf8(skeleton);
            UChar best[128];
            const int32_t length =
                udatpg_getBestPattern(generator, skeleton16.data(),
                                      static_cast<int32_t>(skeleton16.size()), best, 128, &status);
            if (U_SUCCESS(status)) {
                pattern = utf16::toUtf8(best, length);
            }
        }
        if (generator != nullptr) {
            udatpg_close(generator);
        }
        found = skeletonPatterns_.emplace(skeleton, std::move(pattern)).first;
    }
    if (found->second.empty()) {
        return TimeFormatter::dayAndTimeOfDay(date, includesSeconds, includesYear);
    }
    return format(date, found->second, locale_, "").value_or("");
}

std::optional<std::string> IcuTimeFormatter::format(Date date, std::string_view pattern,
                                                    std::string_view localeIdentifier,
                                                    std::string_view timeZoneIdentifier) const {
    if (!timeZoneIdentifier.empty() && !knowsTimeZone(timeZoneIdentifier)) {
        return std::nullopt;
    }
    const Formatter* made = formatter(
        {std::string(pattern), std::string(localeIdentifier), std::string(timeZoneIdentifier)},
        false);
    if (made->handle == nullptr) {
        return std::nullopt;
    }
    UChar buffer[256];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length =
        udat_format(made->handle, date.unixTime() * 1000.0, buffer, 256, nullptr, &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return utf16::toUtf8(buffer, length);
}

bool IcuTimeFormatter::knowsTimeZone(std::string_view identifier) const {
    // ICU quietly treats a name it does not know as GMT; asking for the canonical form tells.
    const std::u16string zone16 = utf16::fromUtf8(identifier);
    UChar canonical[128];
    UBool isSystemID = false;
    UErrorCode status = U_ZERO_ERROR;
    ucal_getCanonicalTimeZoneID(zone16.data(), static_cast<int32_t>(zone16.size()), canonical, 128,
                                &isSystemID, &status);
    return U_SUCCESS(status) && isSystemID;
}

}  // namespace gaugely
