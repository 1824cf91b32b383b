#pragma once

#include <map>
#include <string>
#include <tuple>

#include <CoreFoundation/CoreFoundation.h>

#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// The Mac's formatter: Core Foundation's date formatter. Times of day use the user's current
// locale, which carries the 12/24-hour choice made in System Settings (the C locale a process
// starts in knows nothing of it). Formatters are made once per style and pattern and kept; the
// current-locale ones are remade when the system says the locale changed. Main queue only.
class MacTimeFormatter final : public TimeFormatter {
  public:
    MacTimeFormatter();
    ~MacTimeFormatter() override;
    MacTimeFormatter(const MacTimeFormatter&) = delete;
    MacTimeFormatter& operator=(const MacTimeFormatter&) = delete;

    std::string timeOfDay(Date date, bool includesSeconds) const override;
    std::optional<std::string> format(Date date, std::string_view pattern,
                                      std::string_view localeIdentifier,
                                      std::string_view timeZoneIdentifier) const override;
    bool knowsTimeZone(std::string_view identifier) const override;

    // Drops the formatters of the user's locale, so the next time is written the new way.
    void currentLocaleDidChange();

  private:
    using Key = std::tuple<std::string, std::string, std::string>;

    mutable CFRef<CFDateFormatterRef> shortTime_;
    mutable CFRef<CFDateFormatterRef> mediumTime_;
    mutable std::map<Key, CFRef<CFDateFormatterRef>> patterns_;
};

}  // namespace gaugely
