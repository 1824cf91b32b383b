#pragma once

#include <string_view>

#include "Meterlane/Platform/Preferences.h"
#include "SharedUpdateSupport/PendingUpdateReceipt.h"

namespace gaugely {

// The receipt's life in the updater's defaults suite. Stateless: every operation names its store
// and key. Runs on the main queue.
struct PendingUpdateReceiptStore {
    static constexpr std::string_view defaultKey = "pending-update-receipt-v1";

    // Stores the receipt and flushes the store at once: the process is about to be replaced.
    static void save(const PendingUpdateReceipt& receipt, Preferences& defaults,
                     std::string_view key);
    static void clear(Preferences& defaults, std::string_view key) { defaults.remove(key); }

    // One-shot check at start. Whatever is stored under the key is removed and the store
    // flushed before it is even looked at, so a receipt can confirm one start at most; then the
    // answer is whether it decodes and matches the running app at `now`.
    [[nodiscard]] static bool consume(std::string_view build, std::string_view bundleID,
                                      std::string_view bundlePath, Preferences& defaults,
                                      std::string_view key, Date now);
};

}  // namespace gaugely
