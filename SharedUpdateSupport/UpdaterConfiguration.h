#pragma once

#include <functional>
#include <optional>
#include <string>

#include "SharedUpdateSupport/PendingUpdateReceiptStore.h"
#include "SharedUpdateSupport/UpdateCandidate.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"

namespace gaugely {

// What the updater model obeys. The production runtime builds it from the validated bundle; a
// default value is a disabled updater with the records' fallback keys.
struct UpdaterConfiguration {
    bool enabled = false;
    bool installationEnabled = false;
    std::string bundleID;
    // Empty in a build without a feed.
    std::string feedURL;
    std::string noticeKey{UpdateNoticeState::storageKey};
    std::string receiptKey{PendingUpdateReceiptStore::defaultKey};
    std::string environmentLabel;
    std::optional<std::string> displayedVersion;
    std::optional<std::string> displayedBuild;
    std::optional<std::string> installedVersionDisplay;
    std::string releaseTimeZone;
    // Whether a feed item may be offered at all; none offered without it.
    std::function<bool(const UpdateCandidate&)> permitsItem;
};

}  // namespace gaugely
