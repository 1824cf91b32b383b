#include "Meterlane/Posix/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Meterlane/Posix/FileDescriptor.h"

namespace gaugely {
namespace {

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// mkdir -p with a mode: folders made here hold this user's own data, so nobody else may list
// them. Folders that already exist keep theirs.
int createFolders(const std::filesystem::path& folder) {
    std::filesystem::path prefix;
    for (const auto& part : folder) {
        prefix /= part;
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

WholeFileRead readWholeFile(const std::filesystem::path& path, std::size_t largest,
                            std::string& contents, int& error) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        error = errno;
        return error == ENOENT ? WholeFileRead::absent : WholeFileRead::failed;
    }
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = errno;
            return WholeFileRead::failed;
        }
        if (count == 0) {
            return WholeFileRead::ok;
        }
        // Checked as it grows, so a file that is larger than it said is never held whole.
        if (static_cast<std::size_t>(count) > largest - contents.size()) {
            contents.clear();
            return WholeFileRead::tooLarge;
        }
        contents.append(buffer, static_cast<std::size_t>(count));
    }
}

std::optional<WholeFileWriteFailure> replaceWholeFile(
    const std::filesystem::path& file, std::string_view bytes, std::string_view uniqueSuffix,
    const std::function<void(WholeFileWriteStage)>& observer) {
    const std::filesystem::path folder = file.parent_path().empty() ? "." : file.parent_path();
    if (const int error = createFolders(folder); error != 0) {
        return WholeFileWriteFailure{"creating " + folder.string(), error};
    }
    const std::filesystem::path temporary = file.string() + ".tmp-" + std::string(uniqueSuffix);
    {
        FileDescriptor fd(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!fd) {
            return WholeFileWriteFailure{"creating " + temporary.string(), errno};
        }
        if (!writeAll(fd.get(), bytes) || ::fsync(fd.get()) != 0 || fd.close() != 0) {
            const int error = errno;
            ::unlink(temporary.c_str());
            return WholeFileWriteFailure{"writing " + temporary.string(), error};
        }
    }
    if (observer) {
        observer(WholeFileWriteStage::temporaryFileWritten);
    }
    if (::rename(temporary.c_str(), file.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return WholeFileWriteFailure{"replacing the file", error};
    }
    if (observer) {
        observer(WholeFileWriteStage::renamed);
    }
    // Without this a power loss could undo the rename.
    FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory || ::fsync(directory.get()) != 0) {
        return WholeFileWriteFailure{"flushing " + folder.string(), errno};
    }
    return std::nullopt;
}

}  // namespace gaugely
