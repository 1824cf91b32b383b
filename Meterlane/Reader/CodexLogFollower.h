#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/FileSystem.h"
#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// How much the follower may read and hold, whatever the files are like.
struct CodexLogFollowerLimits {
    // How far back from a file's end a search reads it.
    uint64_t backwardSearchLimit = 8u << 20;
    // How far from a fork's start it reads to find where the lines it copied end.
    uint64_t forkHeadLimit = 8u << 20;
    std::size_t chunkSize = 64u << 10;
    // A longer line cannot be a usage line; it is skipped without being held.
    std::size_t longestLine = 1u << 20;
    // A search for the newest reading goes through the most recently modified session files,
    // newest first, until no older line can matter; it reads at most this many files, and this
    // many bytes of them in all.
    std::size_t searchFiles = 256;
    uint64_t searchBytes = 64u << 20;
    // How many of the most recently modified files are kept open between looks.
    std::size_t openFiles = 8;
    // Between looks the session files and folders met by the last full scan are statted, so an
    // append to any file shows; the whole tree is listed again after this many looks, or when a
    // folder changed. A hostile tree ends the walk: at most this many entries of one folder, and
    // of the whole walk, are considered (newest names first).
    std::size_t looksPerFullScan = 12;
    std::size_t entriesPerFolder = 4096;
    std::size_t entriesPerScan = 1u << 16;
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
    // What the looks asked of the file system, and how many listed the whole tree.
    uint64_t lists = 0;
    uint64_t statuses = 0;
    uint64_t fullScans = 0;
    // Files a search read from their end, in all.
    uint64_t searchedFiles = 0;
};

// What a follower learnt of the files it read, so a follower of a later process can go on where
// it stopped: a file whose status is as noted is not read at all, one that grew has only its
// appended bytes read. An unfinished last line is not kept: it is read again once it grows.
struct CodexLogFollowerMemory {
    struct File {
        // Below the sessions folder: "2026/11/20/rollout-….jsonl".
        std::string path;
        uint64_t identity = 0;
        uint64_t size = 0;
        Date modified;
        // Bytes before this have been taken in.
        uint64_t offset = 0;
        bool skipping = false;
        bool unsureOfLineStart = false;
        std::optional<Date> copiesUntil;

        bool operator==(const File&) const = default;
    };
    std::vector<File> files;
    std::optional<Date> settledAsOf;
    uint64_t candidateLines = 0;
    uint64_t acceptedLines = 0;

    bool operator==(const CodexLogFollowerMemory&) const = default;
};

// Reads the usage lines Codex appends to its session logs under
// `codexHome/sessions/YYYY/MM/DD/rollout-*.jsonl`.
//
// The first look searches for the newest reading: the session files newest first (by
// modification time), each backwards from its end in chunks, until the handler says no older
// line can matter (or the search's limits are reached). Files the search did not need are
// noted at their size. After that, every file that grows, in whichever day's folder, has only
// its appended bytes read; a last line without its newline waits for it. A new file is searched
// as the first look searched; a file that shrinks or is replaced is read afresh.
//
// Before a file's lines are handed over, the head of a fork is read to learn when the lines it
// copied from its parent end (CodexForkCopies); each line goes to the handler with that time.
// Nothing but lines that may be usage lines leaves the follower, and nothing of the rest is
// kept.
class CodexLogFollower {
  public:
    struct LineVerdict {
        // The line was a reading (of any bucket or shape), not a copy.
        bool taken = false;
        // No line stamped at or before this time (the newest reading's) can change what the
        // readings show: a search stops here, and reads no file last modified before it. None
        // while an older line could still matter.
        std::optional<Date> settledAsOf;
    };
    // `copiesUntil`: lines of this file stamped no later are a fork's copies of its parent's.
    // Lines come newest first while a file is searched, then in the order they were appended.
    using LineHandler =
        std::function<LineVerdict(std::string_view line, std::optional<Date> copiesUntil)>;

    CodexLogFollower(FileSystem& fileSystem, std::string codexHome, LineHandler handler,
                     CodexLogFollowerLimits limits = {});
    ~CodexLogFollower();
    CodexLogFollower(const CodexLogFollower&) = delete;
    CodexLogFollower& operator=(const CodexLogFollower&) = delete;

    // One look at the folders and the session files.
    void look();

    // What the looks so far have learnt; and, before the first look, goes on from what another
    // follower of the same folder learnt. The first look still lists the whole tree; a file not
    // remembered is searched as a new one. When a remembered file is gone, or was replaced,
    // shrunk or written over (its size unchanged but not its modification time), what it gave
    // may no longer be there: the memory is dropped, `forgotten` runs (so the handler drops what
    // it took from it too), and the look searches as a first look would.
    CodexLogFollowerMemory memory() const;
    void resume(const CodexLogFollowerMemory& memory, std::function<void()> forgotten);

    const CodexLogFollowerStatus& status() const { return status_; }
    const CodexLogFollowerStatistics& statistics() const { return statistics_; }
    // The folders whose changes matter: the sessions folder and every year, month and day folder
    // met by the last full scan, since Codex resumes a session by appending to its first day's
    // file.
    std::vector<std::string> foldersToWatch() const;

  private:
    struct FollowedFile;
    // A folder of the tree with what stat said of it just before it was listed: a folder's
    // modification time changes when an entry is added or removed.
    struct KnownFolder {
        std::string path;
        FileProblem problem = FileProblem::none;
        FileStatus status;
        int depth = 0;
    };
    // What a search may still read.
    struct SearchBudget {
        std::size_t files = 0;
        uint64_t bytes = 0;
    };

    std::string sessionsFolder() const;
    FileStatusResult statusOf(const std::string& path);
    DirectoryListing listingOf(const std::string& folder);
    void scan();
    void scanFolder(const std::string& folder, int depth, std::vector<DirectoryEntry> entries,
                    std::size_t& budget);
    bool foldersChanged();
    void restatSessionFiles();
    bool memoryStillHolds() const;
    void forgetMemory();
    void handleFiles();
    void keepFewFilesOpen();
    void follow(const std::string& path, FollowedFile& file, const FileStatus& status);
    // Reads a file seen for the first time (or replaced) from its end until the readings settle.
    void search(const std::string& path, FollowedFile& file, const FileStatus& status,
                SearchBudget& budget);
    void passOver(FollowedFile& file, const FileStatus& status);
    bool openFile(const std::string& path, FollowedFile& file);
    void readHead(FollowedFile& file, uint64_t size, SearchBudget& budget);
    void readBackwards(FollowedFile& file, uint64_t size, SearchBudget& budget);
    void readAppended(const std::string& path, FollowedFile& file, uint64_t end);
    void takeAppendedBytes(FollowedFile& file, std::string_view bytes);
    bool readExactly(FollowedFile& file, uint64_t offset, char* buffer, std::size_t length);
    LineVerdict deliver(const FollowedFile& file, std::string_view line);
    void noteBuffer(std::size_t bytes);
    void noteProblem(FileProblem problem, bool duringScan);

    FileSystem& fileSystem_;
    std::string codexHome_;
    LineHandler handler_;
    CodexLogFollowerLimits limits_;
    CodexLogFollowerStatus status_;
    CodexLogFollowerStatistics statistics_;
    // Every session file handled, by path.
    std::map<std::string, std::unique_ptr<FollowedFile>> files_;
    // From the last full scan (restatted since): session files by path.
    std::map<std::string, FileStatus> sessionFiles_;
    std::vector<KnownFolder> folders_;
    bool scanned_ = false;
    // What the handler said last: the readings are settled as of this time.
    std::optional<Date> settledAsOf_;
    bool searched_ = false;
    // Resumed from another follower's memory, not yet checked against the tree.
    bool resumed_ = false;
    std::function<void()> forgotten_;
    std::size_t looksSinceScan_ = 0;
    std::size_t scanUnreadable_ = 0;
    FileProblem scanLastProblem_ = FileProblem::none;
    std::size_t lookUnreadable_ = 0;
    FileProblem lookLastProblem_ = FileProblem::none;
};

// Keeps a follower looking: on every change the file system tells of, or every 5 s when it
// cannot watch. The watched folders are renewed after each look, so a new day's folder is
// watched as soon as it appears.
class CodexLogWatcher {
  public:
    static constexpr double pollInterval = 5;
    // A burst of changes (a session writing line after line) becomes one look this long after
    // its first change.
    static constexpr double changeDelay = 0.5;

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
    void renewWatches();
    void lookSoon();

    CodexLogFollower& follower_;
    FileSystem& fileSystem_;
    MainQueue& mainQueue_;
    std::function<void()> afterLook_;
    std::vector<std::string> watchedFolders_;
    std::unique_ptr<Subscription> subscription_;
    TaskHandle poll_;
    TaskHandle pendingLook_;
    std::shared_ptr<CodexLogWatcher*> alive_;
};

}  // namespace gaugely
