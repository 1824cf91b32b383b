// The update notice and the pending-update receipt come from a defaults suite anyone can edit:
// any bytes must decode without crashing, whatever decodes must survive a write and a re-read
// unchanged, and a decoded record must answer every question without misbehaving.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "SharedUpdateSupport/PendingUpdateReceipt.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"

namespace {

using namespace gaugely;

template <class T>
std::optional<T> checkRoundTrip(std::string_view text) {
    const auto decoded = decodeJson<T>(text);
    if (!decoded) {
        return std::nullopt;
    }
    const auto again = decodeJson<T>(encodeJson(*decoded));
    if (!again || !(*again == *decoded)) {
        std::abort();
    }
    return decoded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto notice = checkRoundTrip<UpdateNoticeState>(text)) {
        const bool unhandled = notice->hasUnhandledUpdate();
        (void)notice->backgroundCheckDue(Date{816944400});
        if (notice->offer) {
            (void)notice->offer->highlights();
            (void)notice->offer->hasMoreNotes();
            notice->handleOffer();
            // Dealing with an offer never leaves it unhandled.
            if (unhandled && notice->hasUnhandledUpdate()) {
                std::abort();
            }
        }
    }
    if (const auto receipt = checkRoundTrip<PendingUpdateReceipt>(text)) {
        (void)receipt->matches(receipt->targetBuild, receipt->bundleID, receipt->bundlePath,
                               receipt->created.addingTimeInterval(1));
    }
    return 0;
}
