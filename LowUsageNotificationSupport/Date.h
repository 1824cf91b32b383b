#pragma once

#include <compare>

namespace gaugely {

// A moment in wall-clock time: seconds since 2001-01-01 00:00:00 UTC, the form persisted records
// use. Monotonic time is a plain double elsewhere so the two can never be mixed up silently.
struct Date {
    double timeIntervalSinceReferenceDate = 0;

    static constexpr double unixEpochOffset = 978307200.0;

    static constexpr Date fromUnixTime(double seconds) { return Date{seconds - unixEpochOffset}; }
    constexpr double unixTime() const { return timeIntervalSinceReferenceDate + unixEpochOffset; }

    constexpr Date addingTimeInterval(double seconds) const {
        return Date{timeIntervalSinceReferenceDate + seconds};
    }
    constexpr double timeIntervalSince(Date other) const {
        return timeIntervalSinceReferenceDate - other.timeIntervalSinceReferenceDate;
    }

    auto operator<=>(const Date&) const = default;
};

}  // namespace gaugely
