#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/Subscription.h"

namespace gaugely {

// Dates as people read them. Two kinds of text come through here:
//
// - the time of day in the user's own locale and 12/24-hour choice (the popover's "Last updated"
//   and next-refresh times), alone or with its day, which only the platform knows: on a Mac the
//   system's formatter, which honours the choice made in System Settings; on Linux ICU with the
//   locale of LC_TIME;
// - fixed patterns in a fixed locale and time zone (a release date as "MMMM d, yyyy" in
//   "en_US_POSIX" and "America/Edmonton"; reset times as Codex's menu writes them), which must read
//   the same on every machine.
//
// Patterns use the Unicode date field symbols ("h:mm a", "MMM d"), which ICU and Apple's formatter
// share. Called on the main queue; implementations may keep formatters between calls.
class TimeFormatter {
  public:
    virtual ~TimeFormatter() = default;

    // The time of day without a date: the medium style (with seconds) when `includesSeconds`,
    // the short style otherwise.
    [[nodiscard]] virtual std::string timeOfDay(Date date, bool includesSeconds) const = 0;

    // The day and the time of day, for a time that is not today, in the user's locale and with
    // the same 12/24-hour clock as `timeOfDay`: the month abbreviated ("Nov 21, 2:04 PM",
    // "21. Nov., 14:04"), the year too when `includesYear` ("Nov 21, 2099, 2:04 PM"). The
    // platforms write it as their locales do; this form is for those that cannot.
    [[nodiscard]] virtual std::string dayAndTimeOfDay(Date date, bool includesSeconds,
                                                      bool includesYear) const {
        const auto day =
            format(date, includesYear ? "MMM d, y" : "MMM d", "en_US_POSIX", "").value_or("");
        return day + ", " + timeOfDay(date, includesSeconds);
    }

    // `date` written with `pattern` in the locale `localeIdentifier` ("en_US_POSIX") and the time
    // zone `timeZoneIdentifier` ("America/Edmonton"; empty for the system's zone). None when the
    // system does not know that zone: a wrong zone would show a wrong day without saying so.
    [[nodiscard]] virtual std::optional<std::string> format(
        Date date, std::string_view pattern, std::string_view localeIdentifier,
        std::string_view timeZoneIdentifier) const = 0;

    // Whether the system knows the time zone `identifier`.
    [[nodiscard]] virtual bool knowsTimeZone(std::string_view identifier) const = 0;

    // Tells `handler`, on the main queue, each time the user's locale or the system's time zone
    // has changed and times are now written differently: whatever shows a time writes it again.
    // None when the formatter never changes its conventions while running.
    [[nodiscard]] virtual std::unique_ptr<Subscription> observeConventionChanges(
        std::function<void()> handler) const {
        (void)handler;
        return nullptr;
    }
};

}  // namespace gaugely
