#include "SharedUpdateSupport/ApprovedInstallPolicy.h"

#include "SharedUpdateSupport/BuildNumber.h"

namespace gaugely {

bool isApprovedBuild(const std::optional<std::string>& approvedBuild, std::string_view build) {
    return approvedBuild && *approvedBuild == build;
}

UpdateReply replyToUpdateFound(const std::optional<std::string>& approvedBuild,
                               std::string_view build, UpdateFoundStage stage) {
    if (isApprovedBuild(approvedBuild, build)) {
        return UpdateReply::install;
    }
    return stage == UpdateFoundStage::notDownloaded ? UpdateReply::dismiss : UpdateReply::skip;
}

UpdateReply replyToReadyToInstall(const std::optional<std::string>& approvedBuild) {
    return approvedBuild ? UpdateReply::install : UpdateReply::skip;
}

bool frameworkShowsWindow(FrameworkWindow window, bool approvedInstallation) {
    switch (window) {
        case FrameworkWindow::downloadProgress:
        case FrameworkWindow::extractionProgress:
            return approvedInstallation;
        default:
            return false;
    }
}

std::optional<std::size_t> chooseFeedItem(
    const std::vector<UpdateCandidate>& items,
    const std::function<bool(const UpdateCandidate&)>& permitsItem,
    const std::optional<std::string>& approvedBuild) {
    if (!permitsItem) {
        return std::nullopt;
    }
    std::optional<std::size_t> best;
    uint64_t bestBuild = 0;
    for (std::size_t index = 0; index < items.size(); ++index) {
        const UpdateCandidate& item = items[index];
        if (!permitsItem(item)) {
            continue;
        }
        if (approvedBuild) {
            if (item.build == *approvedBuild) {
                return index;
            }
            continue;
        }
        // A permitted item's build is readable; an unreadable one is never chosen regardless.
        const auto build = readBuildNumber(item.build);
        if (build && (!best || *build > bestBuild)) {
            best = index;
            bestBuild = *build;
        }
    }
    return best;
}

}  // namespace gaugely
