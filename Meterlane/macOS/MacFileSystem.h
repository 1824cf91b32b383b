#pragma once

#include "Meterlane/Posix/PosixFileSystem.h"
#include "Meterlane/macOS/FSEventsFolderWatch.h"

namespace gaugely {

// The Mac's file system: POSIX reads, and folders watched through FSEvents (inotify's
// counterpart), so Codex's logs are looked at when they change rather than on a timer.
class MacFileSystem final : public PosixFileSystem {
  public:
    [[nodiscard]] std::unique_ptr<Subscription> watch(const std::vector<std::string>& folders,
                                                      std::function<void()> changed) override {
        return watchFolders(folders, std::move(changed));
    }
};

}  // namespace gaugely
