// The update notice and the pending-update receipt come from a defaults suite anyone can edit:
// any bytes must decode without crashing, whatever decodes must survive a write and a re-read
// unchanged, and a decoded record must answer every question without misbehaving.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "SharedUpdateSupport/PendingUpdateReceipt.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"
#include "fuzz/FuzzLines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const auto text = fuzz::bytes(data, size);
    if (auto notice = decodeJson<UpdateNoticeState>(text)) {
        fuzz::expectStableRoundTrip(*notice);
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
    if (const auto receipt = decodeJson<PendingUpdateReceipt>(text)) {
        fuzz::expectStableRoundTrip(*receipt);
        (void)receipt->matches(receipt->targetBuild, receipt->bundleID, receipt->bundlePath,
                               receipt->created.addingTimeInterval(1));
    }
    return 0;
}
