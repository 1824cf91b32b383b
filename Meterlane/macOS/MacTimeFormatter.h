#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// The Mac's formatter: Core Foundation's date formatter. Times of day use the user's current
// locale, which carries the 12/24-hour choice made in System Settings (the C locale a process
// starts in knows nothing of it), in the system's time zone. Formatters are made once per style
// and pattern and kept. When the system says the locale or the time zone changed, the time zone
// it caches is reset, the formatters made for the old ones are dropped, and the watchers are told
// on the main queue, so what is on screen is written again. Main queue only.
class MacTimeFormatter final : public TimeFormatter {
  public:
    MacTimeFormatter();
    ~MacTimeFormatter() override;
    MacTimeFormatter(const MacTimeFormatter&) = delete;
    MacTimeFormatter& operator=(const MacTimeFormatter&) = delete;

    std::string timeOfDay(Date date, bool includesSeconds) const override;
    std::string dayAndTimeOfDay(Date date, bool includesSeconds, bool includesYear) const override;
    std::optional<std::string> format(Date date, std::string_view pattern,
                                      std::string_view localeIdentifier,
                                      std::string_view timeZoneIdentifier) const override;
    bool knowsTimeZone(std::string_view identifier) const override;
    std::unique_ptr<Subscription> observeConventionChanges(
        std::function<void()> handler) const override;

    // The locale (or, with `timeZoneChanged`, the time zone) changed: drops what was made for the
    // old one, so the next time is written the new way, and tells the watchers.
    void conventionsDidChange(bool timeZoneChanged);

  private:
    using Key = std::tuple<std::string, std::string, std::string>;

    mutable CFRef<CFDateFormatterRef> shortTime_;
    mutable CFRef<CFDateFormatterRef> mediumTime_;
    mutable std::map<Key, CFRef<CFDateFormatterRef>> patterns_;
    // Day-and-time formatters by template ("MMMdHHmm"), in the current locale.
    mutable std::map<std::string, CFRef<CFDateFormatterRef>> dayAndTime_;
    mutable std::vector<std::weak_ptr<std::function<void()>>> watchers_;
    // Lets a notification that hops to the main queue find the formatter gone.
    std::shared_ptr<MacTimeFormatter*> alive_;
};

}  // namespace gaugely
