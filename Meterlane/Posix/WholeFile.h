#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace gaugely {

// Small files read and written whole: the preferences of a domain, the usage history.
//
// A replacement never leaves a torn file: the bytes go to a temporary file in the same folder
// (so the rename stays on one file system), which is flushed, renamed over the old file, and
// then the folder itself is flushed, since the rename lives in the folder. After a crash at any
// point the file is the old version or the new one.

enum class WholeFileRead { ok, absent, tooLarge, failed };

// Reads the file at `path` into `contents` when it holds at most `largest` bytes. `error` is
// the errno of a failure.
[[nodiscard]] WholeFileRead readWholeFile(const std::filesystem::path& path, std::size_t largest,
                                          std::string& contents, int& error);

// Where a replacement can be interrupted, for the crash tests.
enum class WholeFileWriteStage { temporaryFileWritten, renamed };

struct WholeFileWriteFailure {
    // What was being done ("creating <folder>", "replacing the file"…).
    std::string step;
    int error = 0;
};

// Replaces `file` with `bytes` as above. Missing folders on the way are created, readable by
// this user only. `uniqueSuffix` tells this write's temporary file from another one in flight.
[[nodiscard]] std::optional<WholeFileWriteFailure> replaceWholeFile(
    const std::filesystem::path& file, std::string_view bytes, std::string_view uniqueSuffix,
    const std::function<void(WholeFileWriteStage)>& observer = {});

}  // namespace gaugely
