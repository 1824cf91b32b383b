#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Meterlane/Platform/FileSystem.h"

namespace gaugely {

class PosixRunLoop;

// errno as the port's problem: ENOENT, EACCES/EPERM, ELOOP and ENOTDIR have their own; the rest
// is `other`.
FileProblem fileProblemFromErrno(int error);

// The file-system port over POSIX calls. Listing reports symbolic links as links (never what
// they point to), so nothing that walks a listing is led around a loop; a listing stops after
// `largestListing` entries so a hostile folder cannot fill memory. Files open read-only, close on
// exec and without blocking (a FIFO named like a log does not hang the reader).
//
// Watching is this class's only platform-specific part: on Linux, with a run loop, each folder
// gets a non-recursive inotify watch whose events arrive through the loop; elsewhere, or without
// a loop, `watch` returns none and the caller polls. A Mac watcher (FSEvents) overrides `watch`
// and keeps the reading.
class PosixFileSystem : public FileSystem {
  public:
    static constexpr std::size_t largestListing = 1u << 16;

    explicit PosixFileSystem(PosixRunLoop* runLoop = nullptr) : runLoop_(runLoop) {}

    [[nodiscard]] DirectoryListing list(const std::string& folder) override;
    [[nodiscard]] FileStatusResult status(const std::string& path) override;
    [[nodiscard]] OpenedFile open(const std::string& path) override;
    // Folders that cannot be watched (missing, not allowed) are skipped; none when none can be.
    [[nodiscard]] std::unique_ptr<Subscription> watch(const std::vector<std::string>& folders,
                                                      std::function<void()> changed) override;

  protected:
    // The loop that watches are delivered on, if any; a platform's own watcher may use it too.
    PosixRunLoop* runLoop() const { return runLoop_; }

  private:
    PosixRunLoop* runLoop_;
};

}  // namespace gaugely
