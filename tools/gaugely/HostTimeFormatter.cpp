#include "tools/gaugely/HostTimeFormatter.h"

#include <chrono>

#if defined(__APPLE__)
#include "Meterlane/macOS/MacTimeFormatter.h"
#else
#include "Meterlane/Posix/IcuTimeFormatter.h"
#endif

namespace gaugely::tool {

const TimeFormatter& hostTimeFormatter() {
#if defined(__APPLE__)
    static const MacTimeFormatter formatter;
#else
    static const IcuTimeFormatter formatter;
#endif
    return formatter;
}

Date currentDate() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return Date::fromUnixTime(std::chrono::duration<double>(now).count());
}

}  // namespace gaugely::tool
