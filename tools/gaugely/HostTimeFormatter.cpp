#include "tools/gaugely/HostTimeFormatter.h"

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

}  // namespace gaugely::tool
