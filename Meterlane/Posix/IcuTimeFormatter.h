#pragma once

#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "Meterlane/Platform/TimeFormatter.h"

namespace gaugely {

// The Linux host's formatter: ICU's date formatter, in the locale the environment names for times
// (LC_ALL, then LC_TIME, then LANG, as POSIX orders them) and the process's time zone (TZ).
//
// Under the C or POSIX locale, or none, times are written 24-hour as "HH:mm" and "HH:mm:ss", the
// form a terminal user of that locale expects and the one our golden output is written in; with
// their day as "Nov 21, 14:04". Elsewhere the day comes from the locale's own pattern for an
// abbreviated month and day, joined to a time of day in its preferred clock (ICU's "j"), which is
// the clock of its short time style.
// Formatters are opened once per style and pattern and kept; main queue only.
class IcuTimeFormatter final : public TimeFormatter {
  public:
    // `localeIdentifier` overrides the environment ("de_DE", "en_US.UTF-8", "C").
    explicit IcuTimeFormatter(std::optional<std::string> localeIdentifier = std::nullopt);
    ~IcuTimeFormatter() override;
    IcuTimeFormatter(const IcuTimeFormatter&) = delete;
    IcuTimeFormatter& operator=(const IcuTimeFormatter&) = delete;

    std::string timeOfDay(Date date, bool includesSeconds) const override;
    std::string dayAndTimeOfDay(Date date, bool includesSeconds, bool includesYear) const override;
    std::optional<std::string> format(Date date, std::string_view pattern,
                                      std::string_view localeIdentifier,
                                      std::string_view timeZoneIdentifier) const override;
    bool knowsTimeZone(std::string_view identifier) const override;

    // The ICU locale of a POSIX locale name ("de_DE.UTF-8@euro" → "de_DE"); empty for C and POSIX.
    static std::string icuLocaleFromPosix(std::string_view posixLocale);

  private:
    struct Formatter;
    using Key = std::tuple<std::string, std::string, std::string>;

    const Formatter* formatter(const Key& key, bool isStyle) const;

    std::string locale_;
    mutable std::map<Key, std::unique_ptr<Formatter>> formatters_;
    // The locale's pattern for each skeleton ("MMMdjmm"), found once.
    mutable std::map<std::string, std::string> skeletonPatterns_;
};

}  // namespace gaugely
