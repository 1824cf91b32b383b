#include "Meterlane/Posix/PosixFileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/inotify.h>
#endif

#include <cerrno>
#include <cstring>

#include "Meterlane/Posix/FileDescriptor.h"
#include "Meterlane/Posix/PosixRunLoop.h"

namespace gaugely {
namespace {

FileStatus fileStatusFrom(const struct stat& info) {
    FileStatus status;
    status.isDirectory = S_ISDIR(info.st_mode);
    status.isRegularFile = S_ISREG(info.st_mode);
    status.size = info.st_size > 0 ? static_cast<uint64_t>(info.st_size) : 0;
#ifdef __APPLE__
    const struct timespec& modified = info.st_mtimespec;
#else
    const struct timespec& modified = info.st_mtim;
#endif
    status.modified = Date::fromUnixTime(static_cast<double>(modified.tv_sec) +
                                         static_cast<double>(modified.tv_nsec) * 1e-9);
    // The device is spread over the high bits, so two files with the same inode number on
    // different devices differ.
    status.identity = (static_cast<uint64_t>(info.st_dev) * 0x9E3779B97F4A7C15ull) ^
                      static_cast<uint64_t>(info.st_ino);
    return status;
}

class OpenPosixFile final : public ReadableFile {
  public:
    explicit OpenPosixFile(FileDescriptor fd) : fd_(std::move(fd)) {}

    FileStatusResult status() override {
        struct stat info {};
        if (::fstat(fd_.get(), &info) != 0) {
            return FileStatusResult{fileProblemFromErrno(errno), {}};
        }
        return FileStatusResult{FileProblem::none, fileStatusFrom(info)};
    }

    std::ptrdiff_t read(uint64_t offset, char* buffer, std::size_t length) override {
        for (;;) {
            const ssize_t count = ::pread(fd_.get(), buffer, length, static_cast<off_t>(offset));
            if (count < 0 && errno == EINTR) {
                continue;
            }
            return count;
        }
    }

  private:
    FileDescriptor fd_;
};

#ifdef __linux__
class InotifyWatch final : public Subscription {
  public:
    InotifyWatch(FileDescriptor fd, std::unique_ptr<Subscription> registration)
        : fd_(std::move(fd)), registration_(std::move(registration)) {}
    ~InotifyWatch() override {
        // Off the loop before the descriptor closes, so the loop never polls a closed one.
        registration_.reset();
    }

  private:
    FileDescriptor fd_;
    std::unique_ptr<Subscription> registration_;
};

std::unique_ptr<Subscription> watchWithInotify(PosixRunLoop& runLoop,
                                               const std::vector<std::string>& folders,
                                               std::function<void()> changed) {
    FileDescriptor fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!fd) {
        return nullptr;
    }
    constexpr uint32_t mask = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE |
                              IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    // All or nothing: a folder left unwatched (the user's watch limit reached, say) would hide
    // its sessions' appends, which the caller's poll finds instead.
    for (const auto& folder : folders) {
        if (::inotify_add_watch(fd.get(), folder.c_str(), mask) < 0) {
            return nullptr;
        }
    }
    if (folders.empty()) {
        return nullptr;
    }
    const int raw = fd.get();
    auto registration = runLoop.addDescriptor(raw, [raw, changed = std::move(changed)] {
        // What changed does not matter, only that something did: drain the events and say so
        // once for the whole burst.
        alignas(inotify_event) char events[4096];
        bool any = false;
        for (;;) {
            const ssize_t count = ::read(raw, events, sizeof events);
            if (count > 0) {
                any = true;
                continue;
            }
            if (count < 0 && errno == EINTR) {
                continue;
            }
            break;
        }
        if (any) {
            changed();
        }
    });
    return std::make_unique<InotifyWatch>(std::move(fd), std::move(registration));
}
#endif

}  // namespace

FileProblem fileProblemFromErrno(int error) {
    switch (error) {
        case 0:
            return FileProblem::none;
        case ENOENT:
            return FileProblem::notFound;
        case EACCES:
        case EPERM:
            return FileProblem::permissionDenied;
        case ELOOP:
            return FileProblem::symbolicLinkLoop;
        case ENOTDIR:
            return FileProblem::notADirectory;
        default:
            return FileProblem::other;
    }
}

DirectoryListing PosixFileSystem::list(const std::string& folder) {
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr) {
        return DirectoryListing{fileProblemFromErrno(errno), {}};
    }
    DirectoryListing listing;
    while (listing.entries.size() < largestListing) {
        errno = 0;
        const dirent* entry = ::readdir(directory);
        if (entry == nullptr) {
            if (errno != 0) {
                listing.problem = fileProblemFromErrno(errno);
            }
            break;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        DirectoryEntry item{entry->d_name, entry->d_type == DT_LNK, entry->d_type == DT_DIR};
        if (entry->d_type == DT_UNKNOWN) {
            // Some file systems leave the type out; ask without following a link.
            struct stat info {};
            if (::fstatat(::dirfd(directory), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
                item.isSymbolicLink = S_ISLNK(info.st_mode);
                item.isDirectory = S_ISDIR(info.st_mode);
            }
        }
        listing.entries.push_back(std::move(item));
    }
    ::closedir(directory);
    return listing;
}

FileStatusResult PosixFileSystem::status(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return FileStatusResult{fileProblemFromErrno(errno), {}};
    }
    return FileStatusResult{FileProblem::none, fileStatusFrom(info)};
}

OpenedFile PosixFileSystem::open(const std::string& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) {
        return OpenedFile{fileProblemFromErrno(errno), nullptr};
    }
    return OpenedFile{FileProblem::none, std::make_unique<OpenPosixFile>(std::move(fd))};
}

std::unique_ptr<Subscription> PosixFileSystem::watch(const std::vector<std::string>& folders,
                                                     std::function<void()> changed) {
#ifdef __linux__
    if (runLoop_ != nullptr) {
        return watchWithInotify(*runLoop_, folders, std::move(changed));
    }
#else
    (void)folders;
    (void)changed;
#endif
    return nullptr;
}

}  // namespace gaugely
