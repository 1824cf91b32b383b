#include "Meterlane/Presentation/DatedTimeText.h"

namespace gaugely {

std::string datedTimeText(Date date, Date now, bool includesSeconds,
                          const TimeFormatter& formatter) {
    // The calendar in fixed digits, in the system's zone, so days and years compare as text.
    const auto day = [&](Date at) {
        return formatter.format(at, "yyyy-MM-dd", "en_US_POSIX", "").value_or("");
    };
    const std::string dateDay = day(date);
    const std::string today = day(now);
    if (dateDay == today && !dateDay.empty()) {
        return formatter.timeOfDay(date, includesSeconds);
    }
    const bool laterYear = dateDay.substr(0, 4) > today.substr(0, 4);
    return formatter.dayAndTimeOfDay(date, includesSeconds, laterYear);
}

}  // namespace gaugely
