// Watching folders on a Mac: one FSEvents stream over the given folders, delivered on the main
// dispatch queue. `changed` runs on the main queue, at most about twice a second however busy the
// folders are; FSEvents also reports changes below the folders, which costs a look that finds
// nothing new. Destroying the subscription stops the stream; no call comes after that.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// The coalescing delay the stream waits after a change before telling of it.
inline constexpr double folderWatchLatency = 0.5;

// None when no folder is given or the stream cannot be created or started: the caller then polls.
std::unique_ptr<Subscription> watchFolders(const std::vector<std::string>& folders,
                                           std::function<void()> changed);

}  // namespace gaugely
