#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/FileSystem.h"
#include "Meterlane/Reader/CodexLogFollower.h"

namespace gaugely {

// Where the follower stands in one session file. Only the unfinished last line is held, and at
// most `longestLine` bytes of it.
struct CodexLogFollower::FollowedFile {
    // Open while the file is among the most recently modified; opened again when it changes.
    std::unique_ptr<ReadableFile> file;
    // The file's identity: a different one under the path means the file was replaced.
    uint64_t identity = 0;
    // The path's status when the file was last handled.
    FileStatus seen;
    // Bytes before this have been taken in (complete lines, and `partial`).
    uint64_t offset = 0;
    std::string partial;
    // Inside a line too long to hold: everything up to its newline is passed over.
    bool skipping = false;
    // The file was passed over by a search, not read: whether a line was cut at `offset` is
    // learnt from the byte before it when the file grows.
    bool unsureOfLineStart = false;
    // Lines stamped no later are a fork's copies of its parent's.
    std::optional<Date> copiesUntil;
    // Why the file could not be opened; tried again once its status changes.
    FileProblem problem = FileProblem::none;
};

}  // namespace gaugely
