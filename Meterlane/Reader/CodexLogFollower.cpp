#include "Meterlane/Reader/CodexLogFollower.h"

#include <algorithm>
#include <set>

#include "Meterlane/Reader/CodexLogFollowedFile.h"

// How the follower keeps its cost down: the tree sessions/YYYY/MM/DD is listed only on the first
// look, every `looksPerFullScan` looks, and when one of its folders shows a new modification time
// (an entry added or removed). Other looks stat the folders and the session files met by the
// last scan, nothing else: an append changes no folder, so the files themselves are statted, and
// a session Codex resumes in an old day's file is read at the next look.

namespace gaugely {
namespace {

// The three folder levels below sessions: year, month, day.
constexpr std::size_t folderNameLengths[] = {4, 2, 2};
constexpr int dayDepth = 3;

bool isNumberOfLength(const std::string& name, std::size_t length) {
    return name.size() == length &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isSessionLogName(const std::string& name) {
    constexpr std::string_view prefix = "rollout-";
    constexpr std::string_view suffix = ".jsonl";
    return name.size() > prefix.size() + suffix.size() && name.starts_with(prefix) &&
           name.ends_with(suffix);
}

bool sameStatus(const FileStatusResult& result, FileProblem problem, const FileStatus& status) {
    return result.problem == problem && (problem != FileProblem::none || result.status == status);
}

}  // namespace

CodexLogFollower::CodexLogFollower(FileSystem& fileSystem, std::string codexHome,
                                   LineHandler handler, CodexLogFollowerLimits limits)
    : fileSystem_(fileSystem),
      codexHome_(std::move(codexHome)),
      handler_(std::move(handler)),
      limits_(limits) {
    while (codexHome_.size() > 1 && codexHome_.back() == '/') {
        codexHome_.pop_back();
    }
    status_.sessionsFolder = sessionsFolder();
}

CodexLogFollower::~CodexLogFollower() = default;

std::string CodexLogFollower::sessionsFolder() const {
    return codexHome_ + "/sessions";
}

FileStatusResult CodexLogFollower::statusOf(const std::string& path) {
    ++statistics_.statuses;
    return fileSystem_.status(path);
}

DirectoryListing CodexLogFollower::listingOf(const std::string& folder) {
    ++statistics_.lists;
    return fileSystem_.list(folder);
}

void CodexLogFollower::noteProblem(FileProblem problem, bool duringScan) {
    if (duringScan) {
        ++scanUnreadable_;
        scanLastProblem_ = problem;
    } else {
        ++lookUnreadable_;
        lookLastProblem_ = problem;
    }
}

void CodexLogFollower::look() {
    ++statistics_.looks;
    lookUnreadable_ = 0;
    lookLastProblem_ = FileProblem::none;
    if (!scanned_ || ++looksSinceScan_ >= limits_.looksPerFullScan || foldersChanged()) {
        scan();
    } else {
        restatSessionFiles();
    }
    if (resumed_) {
        resumed_ = false;
        if (!memoryStillHolds()) {
            forgetMemory();
        }
    }
    handleFiles();
    status_.sessionFiles = sessionFiles_.size();
    status_.unreadablePaths = scanUnreadable_ + lookUnreadable_;
    status_.lastPathProblem =
        lookLastProblem_ != FileProblem::none ? lookLastProblem_ : scanLastProblem_;
}

void CodexLogFollower::scan() {
    ++statistics_.fullScans;
    scanned_ = true;
    looksSinceScan_ = 0;
    folders_.clear();
    sessionFiles_.clear();
    scanUnreadable_ = 0;
    scanLastProblem_ = FileProblem::none;

    const std::string sessions = sessionsFolder();
    // Statted before it is listed: an entry added in between shows as a change next look.
    const FileStatusResult status = statusOf(sessions);
    folders_.push_back(KnownFolder{sessions, status.problem, status.status, 0});
    DirectoryListing listing = listingOf(sessions);
    status_.folderProblem = listing.problem;
    if (listing.problem != FileProblem::none) {
        return;
    }
    std::size_t budget = limits_.entriesPerScan;
    scanFolder(sessions, 0, std::move(listing.entries), budget);
}

void CodexLogFollower::scanFolder(const std::string& folder, int depth,
                                  std::vector<DirectoryEntry> entries, std::size_t& budget) {
    // Newest names first, so a walk cut short by its limits keeps the recent days.
    std::sort(entries.begin(), entries.end(),
              [](const DirectoryEntry& a, const DirectoryEntry& b) { return a.name > b.name; });
    if (entries.size() > limits_.entriesPerFolder) {
        entries.resize(limits_.entriesPerFolder);
    }
    for (const auto& entry : entries) {
        if (budget == 0) {
            return;
        }
        --budget;
        const std::string path = folder + "/" + entry.name;
        if (depth < dayDepth) {
            // A linked folder is never entered: it could lead back up the tree.
            if (!entry.isDirectory || entry.isSymbolicLink ||
                !isNumberOfLength(entry.name, folderNameLengths[depth])) {
                continue;
            }
            const FileStatusResult status = statusOf(path);
            folders_.push_back(KnownFolder{path, status.problem, status.status, depth + 1});
            DirectoryListing listing = listingOf(path);
            if (listing.problem != FileProblem::none) {
                noteProblem(listing.problem, true);
                continue;
            }
            scanFolder(path, depth + 1, std::move(listing.entries), budget);
        } else if (!entry.isDirectory && isSessionLogName(entry.name)) {
            // A linked log is read where it leads; a link loop is a problem like any other.
            const FileStatusResult status = statusOf(path);
            if (status.problem != FileProblem::none) {
                noteProblem(status.problem, true);
            } else if (status.status.isRegularFile) {
                sessionFiles_[path] = status.status;
            }
        }
    }
}

bool CodexLogFollower::foldersChanged() {
    return std::any_of(folders_.begin(), folders_.end(), [this](const KnownFolder& folder) {
        return !sameStatus(statusOf(folder.path), folder.problem, folder.status);
    });
}

void CodexLogFollower::restatSessionFiles() {
    for (auto entry = sessionFiles_.begin(); entry != sessionFiles_.end();) {
        const FileStatusResult status = statusOf(entry->first);
        if (status.problem == FileProblem::none && status.status.isRegularFile) {
            entry->second = status.status;
            ++entry;
            continue;
        }
        if (status.problem != FileProblem::notFound) {
            noteProblem(status.problem == FileProblem::none ? FileProblem::other : status.problem,
                        false);
        }
        entry = sessionFiles_.erase(entry);
    }
}

void CodexLogFollower::handleFiles() {
    std::erase_if(files_,
                  [this](const auto& entry) { return !sessionFiles_.contains(entry.first); });
    std::vector<std::pair<const std::string*, const FileStatus*>> fresh;
    for (const auto& [path, status] : sessionFiles_) {
        const auto known = files_.find(path);
        if (known == files_.end()) {
            fresh.emplace_back(&path, &status);
        } else {
            follow(path, *known->second, status);
        }
    }
    // Most recently modified first; on a tie the later name, as Codex names a session by the
    // time it started.
    std::sort(fresh.begin(), fresh.end(), [](const auto& a, const auto& b) {
        if (a.second->modified != b.second->modified) {
            return a.second->modified > b.second->modified;
        }
        return *a.first > *b.first;
    });
    SearchBudget budget{limits_.searchFiles, limits_.searchBytes};
    const bool firstSearch = !searched_;
    searched_ = true;
    for (const auto& [path, status] : fresh) {
        auto& file = *files_.emplace(*path, std::make_unique<FollowedFile>()).first->second;
        // At the first look, a file last written before the newest reading cannot hold a newer
        // line. A file that appears later is a new session (or fork), read in any case.
        const bool mayMatter = !firstSearch || !settledAsOf_ || status->modified > *settledAsOf_;
        if (!mayMatter || budget.files == 0 || budget.bytes == 0) {
            passOver(file, *status);
            continue;
        }
        --budget.files;
        search(*path, file, *status, budget);
    }
    keepFewFilesOpen();
}

void CodexLogFollower::keepFewFilesOpen() {
    std::vector<std::pair<Date, FollowedFile*>> open;
    for (auto& [path, file] : files_) {
        if (file->file) {
            open.emplace_back(file->seen.modified, file.get());
        }
    }
    if (open.size() <= limits_.openFiles) {
        return;
    }
    std::sort(open.begin(), open.end(),
              [](const auto& a, const auto& b) { return a.first > b.first; });
    for (std::size_t i = limits_.openFiles; i < open.size(); ++i) {
        open[i].second->file.reset();
    }
}

CodexLogFollowerMemory CodexLogFollower::memory() const {
    CodexLogFollowerMemory memory;
    memory.settledAsOf = settledAsOf_;
    memory.candidateLines = status_.candidateLines;
    memory.acceptedLines = status_.acceptedLines;
    const std::string prefix = sessionsFolder() + "/";
    for (const auto& [path, file] : files_) {
        // A file that could not be read, or was lost while it was, is searched again anyway.
        if (file->problem != FileProblem::none || file->identity == 0 ||
            !path.starts_with(prefix)) {
            continue;
        }
        // The unfinished line is read again from its start once it grows.
        const uint64_t offset =
            file->offset - std::min<uint64_t>(file->offset, file->partial.size());
        memory.files.push_back(CodexLogFollowerMemory::File{
            path.substr(prefix.size()), file->identity, file->seen.size, file->seen.modified,
            offset, file->skipping, file->unsureOfLineStart, file->copiesUntil});
    }
    return memory;
}

void CodexLogFollower::resume(const CodexLogFollowerMemory& memory,
                              std::function<void()> forgotten) {
    files_.clear();
    resumed_ = true;
    forgotten_ = std::move(forgotten);
    for (const auto& remembered : memory.files) {
        auto file = std::make_unique<FollowedFile>();
        file->identity = remembered.identity;
        file->seen.isRegularFile = true;
        file->seen.size = remembered.size;
        file->seen.modified = remembered.modified;
        file->seen.identity = remembered.identity;
        file->offset = std::min(remembered.offset, remembered.size);
        file->skipping = remembered.skipping;
        file->unsureOfLineStart = remembered.unsureOfLineStart && file->offset > 0;
        file->copiesUntil = remembered.copiesUntil;
        files_[sessionsFolder() + "/" + remembered.path] = std::move(file);
    }
    settledAsOf_ = memory.settledAsOf;
    // Files met from now on are new sessions (or forks): each is searched.
    searched_ = true;
    status_.candidateLines = memory.candidateLines;
    status_.acceptedLines = memory.acceptedLines;
}

bool CodexLogFollower::memoryStillHolds() const {
    return std::all_of(files_.begin(), files_.end(), [this](const auto& entry) {
        const auto found = sessionFiles_.find(entry.first);
        if (found == sessionFiles_.end()) {
            return false;
        }
        const FileStatus& now = found->second;
        const FileStatus& then = entry.second->seen;
        return now.identity == then.identity && now.size >= then.size &&
               (now.size > then.size || now.modified == then.modified);
    });
}

void CodexLogFollower::forgetMemory() {
    files_.clear();
    settledAsOf_.reset();
    searched_ = false;
    status_.candidateLines = 0;
    status_.acceptedLines = 0;
    if (forgotten_) {
        forgotten_();
    }
}

std::vector<std::string> CodexLogFollower::foldersToWatch() const {
    std::vector<std::string> folders;
    folders.reserve(folders_.size());
    for (const auto& folder : folders_) {
        if (folder.problem == FileProblem::none) {
            folders.push_back(folder.path);
        }
    }
    if (folders.empty()) {
        folders.push_back(sessionsFolder());
    }
    std::sort(folders.begin(), folders.end());
    return folders;
}

}  // namespace gaugely
