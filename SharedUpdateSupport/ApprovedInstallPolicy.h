#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SharedUpdateSupport/UpdateCandidate.h"

namespace gaugely {

// The decisions behind the update framework's user driver. The framework discovers and downloads
// on its own, but installs only the one build the user approved with "Update & Restart"; the
// platform adapter forwards each question here and passes the answer back unchanged.

// How far the framework has got with an item it shows (its stages, in order).
enum class UpdateFoundStage { notDownloaded, downloaded, installing };

// The framework's replies. Skip makes it remember the build and hide it from later checks;
// dismiss declines for now.
enum class UpdateReply { install, dismiss, skip };

// Whether `build` is the build the user approved.
[[nodiscard]] bool isApprovedBuild(const std::optional<std::string>& approvedBuild,
                                   std::string_view build);

// An item the framework found: installed when it is the approved build. Anything else is
// declined, by dismiss while nothing is downloaded (skip would hide the build from later checks
// for good), by skip once it is downloaded (dismiss there would let the framework install it when
// the app quits).
[[nodiscard]] UpdateReply replyToUpdateFound(const std::optional<std::string>& approvedBuild,
                                             std::string_view build, UpdateFoundStage stage);

// A downloaded update waits to install and relaunch: only within an approved installation.
[[nodiscard]] UpdateReply replyToReadyToInstall(const std::optional<std::string>& approvedBuild);

// The framework's own windows. The model shows every message itself; only the progress of an
// approved installation is left to the framework.
enum class FrameworkWindow {
    permissionRequest,
    checking,
    updateFound,
    releaseNotes,
    noUpdate,
    error,
    downloadProgress,
    extractionProgress,
    readyToInstall,
    installing,
    installed,
};
[[nodiscard]] bool frameworkShowsWindow(FrameworkWindow window, bool approvedInstallation);

// A framework cycle ended with an error: it failed unless the error only says "no update".
[[nodiscard]] constexpr bool frameworkCycleFailed(bool errorPresent, bool errorIsNoUpdate) {
    return errorPresent && !errorIsNoUpdate;
}

// The feed item to offer, by index: during an approved installation the permitted item of the
// approved build, otherwise the permitted item with the highest build (the first of equals).
// None when nothing is permitted.
[[nodiscard]] std::optional<std::size_t> chooseFeedItem(
    const std::vector<UpdateCandidate>& items,
    const std::function<bool(const UpdateCandidate&)>& permitsItem,
    const std::optional<std::string>& approvedBuild);

}  // namespace gaugely
