#include "SharedUpdateSupport/PendingUpdateReceiptStore.h"

namespace gaugely {

void PendingUpdateReceiptStore::save(const PendingUpdateReceipt& receipt, Preferences& defaults,
                                     std::string_view key) {
    defaults.setData(key, encodeJson(receipt));
    defaults.synchronize();
}

bool PendingUpdateReceiptStore::consume(std::string_view build, std::string_view bundleID,
                                        std::string_view bundlePath, Preferences& defaults,
                                        std::string_view key, Date now) {
    if (!defaults.hasObject(key)) {
        return false;
    }
    const std::optional<std::string> data = defaults.dataValue(key);
    defaults.remove(key);
    defaults.synchronize();
    if (!data) {
        return false;
    }
    const auto receipt = decodeJson<PendingUpdateReceipt>(*data);
    return receipt && receipt->matches(build, bundleID, bundlePath, now);
}

}  // namespace gaugely
