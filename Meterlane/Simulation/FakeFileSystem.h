#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Meterlane/Platform/FileSystem.h"
#include "Meterlane/Simulation/ObserverList.h"

namespace gaugely {

// A file tree in memory for the log reader's tests: folders, files, symbolic links (loops
// included), problems planted on paths, and the ways a log changes under a reader: appended,
// truncated, replaced by a new file of the same name (rotation), deleted. An open file behaves
// as on POSIX: it sees appends and truncation of its own file, and keeps the old contents once
// the name is replaced or deleted.
//
// Paths are absolute, '/'-separated. Modification times of files are what the test says; a
// folder's changes whenever an entry is added or removed in it. Every call is counted and every
// path asked about is recorded, so a test can show what was never touched.
class FakeFileSystem final : public FileSystem {
  public:
    FakeFileSystem() = default;
    FakeFileSystem(const FakeFileSystem&) = delete;
    FakeFileSystem& operator=(const FakeFileSystem&) = delete;

    DirectoryListing list(const std::string& folder) override;
    FileStatusResult status(const std::string& path) override;
    OpenedFile open(const std::string& path) override;
    // None while `refuseWatching` is set. The subscription is told of every change made through
    // this class in one of its folders, and of `notifyChange`.
    std::unique_ptr<Subscription> watch(const std::vector<std::string>& folders,
                                        std::function<void()> changed) override;

    // Creates the folder and any missing parents.
    void addFolder(const std::string& path);
    // A new file under the name (a new identity, as after a rotation); parents are created.
    void writeFile(const std::string& path, std::string contents, Date modified);
    // To the same file; creates it when missing.
    void append(const std::string& path, std::string_view bytes, Date modified);
    void truncate(const std::string& path, std::size_t size, Date modified);
    void setModified(const std::string& path, Date modified);
    // A file, link or folder with everything below it.
    void remove(const std::string& path);
    // `target` absolute, or relative to the link's folder.
    void addSymbolicLink(const std::string& path, std::string target);
    // Listing or opening the path, and reaching anything below it, fails with `problem`; its
    // own status still works, as with a folder or file whose permissions deny everything.
    void setProblem(const std::string& path, FileProblem problem);
    void notifyChange(const std::string& folder);

    bool refuseWatching = false;

    struct Counters {
        std::size_t lists = 0;
        std::size_t statuses = 0;
        std::size_t opens = 0;
        std::size_t watches = 0;
        uint64_t bytesRead = 0;
    };
    const Counters& counters() const { return *counters_; }
    // Every path given to list, status, open or watch, in order.
    const std::vector<std::string>& accessedPaths() const { return accessed_; }
    // The folders of each watch request, in order.
    const std::vector<std::vector<std::string>>& watchRequests() const { return watchRequests_; }
    std::size_t activeWatches() const { return watchers_.size(); }

  private:
    struct FileData;
    enum class Kind { folder, file, link };
    struct Node {
        Kind kind = Kind::folder;
        std::shared_ptr<FileData> data;
        std::string target;
        Date modified;
        uint64_t identity = 0;
    };
    struct Resolution {
        FileProblem problem = FileProblem::none;
        std::string path;
    };
    class OpenFile;

    Resolution resolve(const std::string& path) const;
    // Counts and records the call, then resolves the path with its own planted problem: what
    // listing or opening it meets.
    Resolution reach(const std::string& path, std::size_t& counter);
    Node* node(const std::string& resolvedPath);
    void entryChanged(const std::string& path);
    Node& fileAt(const std::string& path, Date modified);

    std::map<std::string, Node> nodes_;
    std::map<std::string, FileProblem> problems_;
    std::shared_ptr<Counters> counters_ = std::make_shared<Counters>();
    std::vector<std::string> accessed_;
    std::vector<std::vector<std::string>> watchRequests_;
    ObserverList<const std::string&> watchers_;
    uint64_t nextIdentity_ = 1;
    double folderClock_ = 0;
};

}  // namespace gaugely
