// Release notes are HTML from the feed: any bytes must turn into text without crashing, and the
// text must come out trimmed and shown the same way again (its highlights within their limits).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "LowUsageNotificationSupport/Text.h"
#include "SharedUpdateSupport/ReleaseNotesText.h"
#include "SharedUpdateSupport/UpdateOffer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const std::string_view html(reinterpret_cast<const char*>(data), size);
    const std::string text = releaseNotesText(html);
    if (text != text::trimmed(text)) {
        std::abort();
    }
    const UpdateOffer offer{"4", "1.0.4", std::nullopt, text};
    if (offer.highlights().size() > text.size()) {
        std::abort();
    }
    return 0;
}
