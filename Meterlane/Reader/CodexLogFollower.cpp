#include "Meterlane/Reader/CodexLogFollower.h"

#include <algorithm>
#include <set>

#include "Meterlane/Reader/CodexLogFollowedFile.h"

// How the follower keeps its cost down: the tree sessions/YYYY/MM/DD is listed, and every session
// file in it statted, only on the first look, every `looksPerFullScan` looks, and when a folder
// that gains entries as Codex works (the sessions, year and month folders, and the day folders of
// the followed files and of the newest day) shows a new modification time. Other looks stat
// those few folders and the followed files, nothing else. A session resumed in an old day's file
// that is not followed is therefore noticed at the next full scan.

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

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
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
    if (!scanned_ || ++looksSinceScan_ >= limits_.looksPerFullScan || watchedFoldersChanged()) {
        scan();
    } else {
        restatFollowedFiles();
    }
    chooseFollowedFiles();
    for (auto& [path, file] : followed_) {
        follow(path, *file, sessionFiles_.at(path));
    }
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

std::vector<std::string> CodexLogFollower::hotFolders() const {
    std::set<std::string> hot;
    std::string newestDay;
    for (const auto& folder : folders_) {
        if (folder.depth < dayDepth) {
            hot.insert(folder.path);
        } else if (folder.path > newestDay) {
            newestDay = folder.path;
        }
    }
    if (!newestDay.empty()) {
        hot.insert(newestDay);
    }
    for (const auto& [path, file] : followed_) {
        hot.insert(folderOf(path));
    }
    return {hot.begin(), hot.end()};
}

bool CodexLogFollower::watchedFoldersChanged() {
    const std::vector<std::string> hot = hotFolders();
    for (const auto& folder : folders_) {
        if (!std::binary_search(hot.begin(), hot.end(), folder.path)) {
            continue;
        }
        if (!sameStatus(statusOf(folder.path), folder.problem, folder.status)) {
            return true;
        }
    }
    return false;
}

void CodexLogFollower::restatFollowedFiles() {
    for (const auto& [path, file] : followed_) {
        const FileStatusResult status = statusOf(path);
        if (status.problem == FileProblem::none && status.status.isRegularFile) {
            sessionFiles_[path] = status.status;
            continue;
        }
        if (status.problem != FileProblem::notFound) {
            noteProblem(status.problem == FileProblem::none ? FileProblem::other : status.problem,
                        false);
        }
        sessionFiles_.erase(path);
    }
}

void CodexLogFollower::chooseFollowedFiles() {
    std::vector<std::pair<const std::string*, const FileStatus*>> ranked;
    ranked.reserve(sessionFiles_.size());
    for (const auto& [path, status] : sessionFiles_) {
        ranked.emplace_back(&path, &status);
    }
    const std::size_t count = std::min(limits_.followedFiles, ranked.size());
    // Most recently modified first; on a tie the later name, as Codex names a session by the
    // time it started.
    std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(count),
                      ranked.end(), [](const auto& a, const auto& b) {
                          if (a.second->modified != b.second->modified) {
                              return a.second->modified > b.second->modified;
                          }
                          return *a.first > *b.first;
                      });
    std::set<std::string> chosen;
    for (std::size_t i = 0; i < count; ++i) {
        chosen.insert(*ranked[i].first);
    }
    std::erase_if(followed_, [&](const auto& entry) { return chosen.count(entry.first) == 0; });
    for (const auto& path : chosen) {
        if (followed_.count(path) == 0) {
            followed_.emplace(path, std::make_unique<FollowedFile>());
        }
    }
}

std::vector<std::string> CodexLogFollower::foldersToWatch() const {
    std::vector<std::string> folders = hotFolders();
    if (folders.empty()) {
        folders.push_back(sessionsFolder());
    }
    return folders;
}

}  // namespace gaugely
