#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Enumeration.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// Why a path could not be used. Each has its own line in the settings window, so a user can tell
// "nothing there" from "not allowed to look".
enum class FileProblem { none, notFound, permissionDenied, symbolicLinkLoop, notADirectory, other };

template <>
struct EnumTraits<FileProblem> {
    static constexpr std::array<std::pair<FileProblem, std::string_view>, 6> cases{{
        {FileProblem::none, "none"},
        {FileProblem::notFound, "notFound"},
        {FileProblem::permissionDenied, "permissionDenied"},
        {FileProblem::symbolicLinkLoop, "symbolicLinkLoop"},
        {FileProblem::notADirectory, "notADirectory"},
        {FileProblem::other, "other"},
    }};
};

// What `stat` says of a path (symbolic links followed).
struct FileStatus {
    bool isDirectory = false;
    bool isRegularFile = false;
    uint64_t size = 0;
    Date modified;
    // Device and inode folded together: a file replaced under the same name gets a new one.
    uint64_t identity = 0;

    bool operator==(const FileStatus&) const = default;
};

struct FileStatusResult {
    FileProblem problem = FileProblem::none;
    FileStatus status;
};

struct DirectoryEntry {
    std::string name;
    // Entries that are symbolic links are reported as such and never descended into, which
    // keeps a link loop from turning a walk into an endless one.
    bool isSymbolicLink = false;
    bool isDirectory = false;

    bool operator==(const DirectoryEntry&) const = default;
};

struct DirectoryListing {
    FileProblem problem = FileProblem::none;
    std::vector<DirectoryEntry> entries;
};

// An open file, read at explicit offsets so a reader can go backwards from the end.
class ReadableFile {
  public:
    virtual ~ReadableFile() = default;
    // The open file's own status: still right when the name has since been replaced.
    [[nodiscard]] virtual FileStatusResult status() = 0;
    // Up to `length` bytes at `offset` into `buffer`; the count read (0 at the end), or -1.
    [[nodiscard]] virtual std::ptrdiff_t read(uint64_t offset, char* buffer,
                                              std::size_t length) = 0;
};

struct OpenedFile {
    FileProblem problem = FileProblem::none;
    std::unique_ptr<ReadableFile> file;
};

// The read-only view of the disk that the log reader needs. Main queue only; `changed` is called
// on the main queue.
class FileSystem {
  public:
    virtual ~FileSystem() = default;

    [[nodiscard]] virtual DirectoryListing list(const std::string& folder) = 0;
    [[nodiscard]] virtual FileStatusResult status(const std::string& path) = 0;
    [[nodiscard]] virtual OpenedFile open(const std::string& path) = 0;
    // Tells of changes in the given folders (not below them), files in them growing included;
    // none when this platform or this moment cannot watch every one of them, and the caller
    // then polls. Destroying the subscription stops it.
    [[nodiscard]] virtual std::unique_ptr<Subscription> watch(
        const std::vector<std::string>& folders, std::function<void()> changed) = 0;
};

}  // namespace gaugely
