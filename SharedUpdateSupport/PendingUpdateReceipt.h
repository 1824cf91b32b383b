#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// Written just before the update framework relaunches the app into a new build, consumed once at
// the next start: it lets the relaunched app tell that it is the build that was meant to be
// installed, in the same place, within a day.
//
// Stored as JSON {"sourceBuild", "targetBuild", "bundleID", "bundlePath", "created"}, every
// field required.
struct PendingUpdateReceipt {
    static constexpr double lifetime = 86400;

    std::string sourceBuild;
    std::string targetBuild;
    std::string bundleID;
    std::string bundlePath;
    Date created;

    // Whether this receipt describes the running app: a real upgrade (source older than target),
    // to exactly this build, identifier and path, written less than a day before `now` and not
    // after it.
    [[nodiscard]] bool matches(std::string_view build, std::string_view runningBundleID,
                               std::string_view runningBundlePath, Date now) const;

    Json toJson() const;
    static std::optional<PendingUpdateReceipt> fromJson(const Json& json);

    bool operator==(const PendingUpdateReceipt&) const = default;
};

}  // namespace gaugely
