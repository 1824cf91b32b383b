#include "SharedUpdateSupport/PendingUpdateReceipt.h"

#include "SharedUpdateSupport/BuildNumber.h"
#include "SharedUpdateSupport/UpdateRecordFields.h"

namespace gaugely {

bool PendingUpdateReceipt::matches(std::string_view build, std::string_view runningBundleID,
                                   std::string_view runningBundlePath, Date now) const {
    const auto source = readBuildNumber(sourceBuild);
    const auto target = readBuildNumber(targetBuild);
    if (!source || !target || !(*source < *target)) {
        return false;
    }
    if (build != targetBuild || runningBundleID != bundleID || runningBundlePath != bundlePath) {
        return false;
    }
    return now >= created && now.timeIntervalSince(created) < lifetime;
}

Json PendingUpdateReceipt::toJson() const {
    Json json = Json::object();
    json["sourceBuild"] = sourceBuild;
    json["targetBuild"] = targetBuild;
    json["bundleID"] = bundleID;
    json["bundlePath"] = bundlePath;
    json["created"] = created.timeIntervalSinceReferenceDate;
    return json;
}

std::optional<PendingUpdateReceipt> PendingUpdateReceipt::fromJson(const Json& json) {
    auto sourceBuild = jsonString(json, "sourceBuild");
    auto targetBuild = jsonString(json, "targetBuild");
    auto bundleID = jsonString(json, "bundleID");
    auto bundlePath = jsonString(json, "bundlePath");
    const auto created = updateRecordDate(json, "created");
    if (!sourceBuild || !targetBuild || !bundleID || !bundlePath || !created) {
        return std::nullopt;
    }
    return PendingUpdateReceipt{std::move(*sourceBuild), std::move(*targetBuild),
                                std::move(*bundleID), std::move(*bundlePath), *created};
}

}  // namespace gaugely
