#include "Meterlane/macOS/MacClock.h"

#include <CoreFoundation/CoreFoundation.h>
#include <time.h>

namespace gaugely {

Date MacClock::now() {
    // Core Foundation's absolute time already counts from 2001-01-01, as Date does.
    return Date{CFAbsoluteTimeGetCurrent()};
}

double MacClock::monotonicSeconds() {
    // Uptime stands still while the Mac sleeps, so a run interrupted by sleep does not show the
    // nap as one very slow step.
    return static_cast<double>(clock_gettime_nsec_np(CLOCK_UPTIME_RAW)) / 1e9;
}

}  // namespace gaugely
