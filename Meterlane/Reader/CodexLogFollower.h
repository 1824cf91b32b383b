#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Meterlane/Platform/FileSystem.h"
#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// How much the follower may read and hold, whatever the files are like.
struct CodexLogFollowerLimits {
    // How far back from a file's end the first look searches for a reading.
    uint64_t backwardSearchLimit = 8u << 20;
    std::size_t chunkSize = 64u << 10;
    // A longer line cannot be a usage line; it is skipped without being held.
    std::size_t longestLine = 1u << 20;
    // How many of the most recently modified session files are followed.
    std::size_t followedFiles = 4;
};

// What the last look found, for the settings window's line and `gaugely usage`.
struct CodexLogFollowerStatus {
    // The sessions folder under the Codex folder; the one a user should look in.
    std::string sessionsFolder;
    // The sessions folder's own problem (missing, not allowed); none when it could be listed.
    FileProblem folderProblem = FileProblem::none;
    std::size_t sessionFiles = 0;
    // Lines that may be usage lines, and how many the handler took as readings.
    uint64_t candidateLines = 0;
    uint64_t acceptedLines = 0;
    // Files or folders below that could not be read, and the last such problem.
    std::size_t unreadablePaths = 0;
    FileProblem lastPathProblem = FileProblem::none;

    bool operator==(const CodexLogFollowerStatus&) const = default;
};

// What the follower has cost; the benchmark and the tests read it.
struct CodexLogFollowerStatistics {
    uint64_t bytesRead = 0;
    uint64_t opens = 0;
    uint64_t looks = 0;
    std::size_t largestBuffer = 0;
};

// Reads the usage lines Codex appends to its session logs under
// `codexHome/sessions/YYYY/MM/DD/rollout-*.jsonl`. It follows the files modified most recently:
// a file seen for the first time is searched backwards from its end, in chunks, only until the
// handler accepts a line (or the search limit is reached); after that only appended bytes are
// read, and a last line without its newline waits for it. A file that shrinks or is replaced is
// read afresh. Nothing but lines that may be usage lines leaves the follower, and nothing of
// the rest is kept.
class CodexLogFollower {
  public:
    // Returns whether the line was a reading. Lines come newest first during a file's first
    // look, then in the order they were appended.
    using LineHandler = std::function<bool(std::string_view line)>;

    CodexLogFollower(FileSystem& fileSystem, std::string codexHome, LineHandler handler,
                     CodexLogFollowerLimits limits = {});
    ~CodexLogFollower();
    CodexLogFollower(const CodexLogFollower&) = delete;
    CodexLogFollower& operator=(const CodexLogFollower&) = delete;

    // One look at the folders and the followed files.
    void look();

    const CodexLogFollowerStatus& status() const { return status_; }
    const CodexLogFollowerStatistics& statistics() const { return statistics_; }
    // The folders whose changes matter now: the sessions folder, its year and month folders,
    // and the day folders of the followed files and of today.
    std::vector<std::string> foldersToWatch() const;

  private:
    struct FollowedFile;
    FileSystem& fileSystem_;
    std::string codexHome_;
    LineHandler handler_;
    CodexLogFollowerLimits limits_;
    CodexLogFollowerStatus status_;
    CodexLogFollowerStatistics statistics_;
    std::map<std::string, std::unique_ptr<FollowedFile>> followed_;
};

// Keeps a follower looking: on every change the file system tells of, or every 5 s when it
// cannot watch. The watched folders are renewed after each look, so a new day's folder is
// watched as soon as it appears.
class CodexLogWatcher {
  public:
    static constexpr double pollInterval = 5;

    // `afterLook` runs after every look, so the owner can publish what it found.
    CodexLogWatcher(CodexLogFollower& follower, FileSystem& fileSystem, MainQueue& mainQueue,
                    std::function<void()> afterLook = {});
    ~CodexLogWatcher();
    CodexLogWatcher(const CodexLogWatcher&) = delete;
    CodexLogWatcher& operator=(const CodexLogWatcher&) = delete;

    // Looks once now, then keeps looking until destroyed.
    void start();
    bool isWatching() const { return subscription_ != nullptr; }

  private:
    void lookAndRenew();

    CodexLogFollower& follower_;
    FileSystem& fileSystem_;
    MainQueue& mainQueue_;
    std::function<void()> afterLook_;
    std::vector<std::string> watchedFolders_;
    std::unique_ptr<Subscription> subscription_;
    std::shared_ptr<Cancellable> poll_;
    std::shared_ptr<Cancellable> pendingLook_;
    std::shared_ptr<CodexLogWatcher*> alive_;
};

}  // namespace gaugely
