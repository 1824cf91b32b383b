#include "Meterlane/Simulation/FakeFileSystem.h"

#include <algorithm>
#include <cstring>

namespace gaugely {
namespace {

std::vector<std::string> components(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        if (slash > start) {
            parts.push_back(path.substr(start, slash - start));
        }
        start = slash + 1;
    }
    return parts;
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// The most links one lookup follows, as the kernel's limit.
constexpr int maximumLinkHops = 40;

}  // namespace

struct FakeFileSystem::FileData {
    std::string contents;
    Date modified;
    uint64_t identity = 0;
};

class FakeFileSystem::OpenFile final : public ReadableFile {
  public:
    OpenFile(std::shared_ptr<FileData> data, std::shared_ptr<Counters> counters)
        : data_(std::move(data)), counters_(std::move(counters)) {}

    FileStatusResult status() override {
        FileStatus status;
        status.isRegularFile = true;
        status.size = data_->contents.size();
        status.modified = data_->modified;
        status.identity = data_->identity;
        return FileStatusResult{FileProblem::none, status};
    }

    std::ptrdiff_t read(uint64_t offset, char* buffer, std::size_t length) override {
        const std::string& contents = data_->contents;
        if (offset >= contents.size()) {
            return 0;
        }
        const std::size_t count =
            std::min<std::size_t>(length, contents.size() - static_cast<std::size_t>(offset));
        std::memcpy(buffer, contents.data() + offset, count);
        counters_->bytesRead += count;
        return static_cast<std::ptrdiff_t>(count);
    }

  private:
    std::shared_ptr<FileData> data_;
    std::shared_ptr<Counters> counters_;
};

FakeFileSystem::Resolution FakeFileSystem::resolve(const std::string& path) const {
    std::vector<std::string> pending = components(path);
    std::reverse(pending.begin(), pending.end());
    std::string current;
    int hops = 0;
    while (!pending.empty()) {
        const std::string part = pending.back();
        pending.pop_back();
        if (part == ".") {
            continue;
        }
        if (part == "..") {
            current = parentOf(current);
            continue;
        }
        if (const auto problem = problems_.find(current); problem != problems_.end()) {
            return Resolution{problem->second, {}};
        }
        const std::string candidate = current + "/" + part;
        const auto found = nodes_.find(candidate);
        if (found == nodes_.end()) {
            return Resolution{FileProblem::notFound, {}};
        }
        const Node& entry = found->second;
        if (entry.kind == Kind::link) {
            if (++hops > maximumLinkHops) {
                return Resolution{FileProblem::symbolicLinkLoop, {}};
            }
            if (!entry.target.empty() && entry.target.front() == '/') {
                current.clear();
            }
            auto target = components(entry.target);
            pending.insert(pending.end(), target.rbegin(), target.rend());
            continue;
        }
        if (entry.kind == Kind::file && !pending.empty()) {
            return Resolution{FileProblem::notADirectory, {}};
        }
        current = candidate;
    }
    return Resolution{FileProblem::none, current};
}

FakeFileSystem::Node* FakeFileSystem::node(const std::string& resolvedPath) {
    const auto found = nodes_.find(resolvedPath);
    return found == nodes_.end() ? nullptr : &found->second;
}

FakeFileSystem::Resolution FakeFileSystem::reach(const std::string& path, std::size_t& counter) {
    ++counter;
    accessed_.push_back(path);
    Resolution resolved = resolve(path);
    if (resolved.problem == FileProblem::none) {
        if (const auto problem = problems_.find(resolved.path); problem != problems_.end()) {
            resolved.problem = problem->second;
        }
    }
    return resolved;
}

DirectoryListing FakeFileSystem::list(const std::string& folder) {
    const Resolution resolved = reach(folder, counters_->lists);
    if (resolved.problem != FileProblem::none) {
        return DirectoryListing{resolved.problem, {}};
    }
    if (const Node* entry = node(resolved.path); entry && entry->kind != Kind::folder) {
        return DirectoryListing{FileProblem::notADirectory, {}};
    }
    DirectoryListing listing;
    const std::string prefix = resolved.path + "/";
    for (auto it = nodes_.lower_bound(prefix); it != nodes_.end(); ++it) {
        const std::string& path = it->first;
        if (path.compare(0, prefix.size(), prefix) != 0) {
            break;
        }
        const std::string name = path.substr(prefix.size());
        if (name.find('/') == std::string::npos) {
            listing.entries.push_back(DirectoryEntry{name, it->second.kind == Kind::link,
                                                     it->second.kind == Kind::folder});
        }
    }
    return listing;
}

FileStatusResult FakeFileSystem::status(const std::string& path) {
    ++counters_->statuses;
    accessed_.push_back(path);
    const Resolution resolved = resolve(path);
    if (resolved.problem != FileProblem::none) {
        return FileStatusResult{resolved.problem, {}};
    }
    FileStatus status;
    const Node* entry = node(resolved.path);
    if (entry == nullptr || entry->kind == Kind::folder) {
        status.isDirectory = true;
        if (entry != nullptr) {
            status.modified = entry->modified;
            status.identity = entry->identity;
        }
    } else {
        status.isRegularFile = true;
        status.size = entry->data->contents.size();
        status.modified = entry->data->modified;
        status.identity = entry->data->identity;
    }
    return FileStatusResult{FileProblem::none, status};
}

OpenedFile FakeFileSystem::open(const std::string& path) {
    const Resolution resolved = reach(path, counters_->opens);
    if (resolved.problem != FileProblem::none) {
        return OpenedFile{resolved.problem, nullptr};
    }
    const Node* entry = node(resolved.path);
    if (entry == nullptr || entry->kind != Kind::file) {
        return OpenedFile{FileProblem::other, nullptr};
    }
    return OpenedFile{FileProblem::none, std::make_unique<OpenFile>(entry->data, counters_)};
}

std::unique_ptr<Subscription> FakeFileSystem::watch(const std::vector<std::string>& folders,
                                                    std::function<void()> changed) {
    ++counters_->watches;
    accessed_.insert(accessed_.end(), folders.begin(), folders.end());
    watchRequests_.push_back(folders);
    if (refuseWatching) {
        return nullptr;
    }
    return watchers_.add([folders, changed = std::move(changed)](const std::string& folder) {
        if (std::find(folders.begin(), folders.end(), folder) != folders.end()) {
            changed();
        }
    });
}

void FakeFileSystem::entryChanged(const std::string& path) {
    const std::string parent = parentOf(path);
    if (Node* folder = node(parent); folder != nullptr) {
        folder->modified = Date{++folderClock_};
    }
    watchers_.notify(parent);
}

void FakeFileSystem::addFolder(const std::string& path) {
    std::string current;
    for (const auto& part : components(path)) {
        current += "/" + part;
        if (nodes_.count(current) == 0) {
            nodes_[current] =
                Node{Kind::folder, nullptr, {}, Date{++folderClock_}, nextIdentity_++};
            entryChanged(current);
        }
    }
}

void FakeFileSystem::writeFile(const std::string& path, std::string contents, Date modified) {
    addFolder(parentOf(path));
    auto data =
        std::make_shared<FileData>(FileData{std::move(contents), modified, nextIdentity_++});
    nodes_[path] = Node{Kind::file, std::move(data), {}, modified, 0};
    entryChanged(path);
}

FakeFileSystem::Node& FakeFileSystem::fileAt(const std::string& path, Date modified) {
    Node* entry = node(path);
    if (entry == nullptr || entry->kind != Kind::file) {
        writeFile(path, {}, modified);
        entry = node(path);
    }
    return *entry;
}

void FakeFileSystem::append(const std::string& path, std::string_view bytes, Date modified) {
    Node& entry = fileAt(path, modified);
    entry.data->contents.append(bytes);
    entry.data->modified = modified;
    watchers_.notify(parentOf(path));
}

void FakeFileSystem::truncate(const std::string& path, std::size_t size, Date modified) {
    Node& entry = fileAt(path, modified);
    entry.data->contents.resize(size);
    entry.data->modified = modified;
    watchers_.notify(parentOf(path));
}

void FakeFileSystem::setModified(const std::string& path, Date modified) {
    if (Node* entry = node(path); entry != nullptr) {
        (entry->kind == Kind::file ? entry->data->modified : entry->modified) = modified;
    }
}

void FakeFileSystem::remove(const std::string& path) {
    nodes_.erase(path);
    const std::string prefix = path + "/";
    for (auto it = nodes_.lower_bound(prefix);
         it != nodes_.end() && it->first.compare(0, prefix.size(), prefix) == 0;) {
        it = nodes_.erase(it);
    }
    entryChanged(path);
}

void FakeFileSystem::addSymbolicLink(const std::string& path, std::string target) {
    addFolder(parentOf(path));
    nodes_[path] = Node{Kind::link, nullptr, std::move(target), Date{}, nextIdentity_++};
    entryChanged(path);
}

void FakeFileSystem::setProblem(const std::string& path, FileProblem problem) {
    problems_[path] = problem;
}

void FakeFileSystem::notifyChange(const std::string& folder) {
    watchers_.notify(folder);
}

}  // namespace gaugely
