// Times as the terminal views write them. A line printed there may be read hours later, and the
// times it holds reach days ahead (a weekly reset, the pace of a slow week), so a time of day alone
// would read as today's when it is not.
#pragma once

#include <string>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/TimeFormatter.h"

namespace gaugely {

// `date` as the time of day when it falls on the day of `now` (in the system's time zone), else
// with its day ("Nov 21, 14:02"); the year only for a date in a later year than `now`'s (a reset
// in 2099), since a past day of another year is always older than the history kept, and its
// reading is marked as outdated anyway.
std::string datedTimeText(Date date, Date now, bool includesSeconds,
                          const TimeFormatter& formatter);

}  // namespace gaugely
