// Stored snapshot records come from a file the user (or another version) may have changed: any
// bytes must decode without crashing, and whatever decodes must survive a write and a re-read
// unchanged, so saving never alters data it did not mean to.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/PersistedUsageSnapshot.h"

namespace {

template <class T>
void checkRoundTrip(std::string_view text) {
    const auto decoded = gaugely::decodeJson<T>(text);
    if (!decoded) {
        return;
    }
    const auto again = gaugely::decodeJson<T>(gaugely::encodeJson(*decoded));
    if (!again || !(*again == *decoded)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkRoundTrip<gaugely::PersistedUsageSnapshot>(text);
    checkRoundTrip<gaugely::PersistedPlanUsageSnapshots>(text);
    return 0;
}
