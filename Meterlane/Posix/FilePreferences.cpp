#include "Meterlane/Posix/FilePreferences.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <system_error>

namespace gaugely {
namespace {

std::string errorText(int error) {
    return std::generic_category().message(error);
}

// Closes on every path out of the write.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    // Reports close's own failure: on some file systems that is where a write error surfaces.
    int close() {
        const int result = ::close(fd_);
        fd_ = -1;
        return result;
    }

  private:
    int fd_;
};

enum class ReadResult { ok, absent, failed };

ReadResult readWholeFile(const std::filesystem::path& path, std::string& contents, int& error) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        error = errno;
        return error == ENOENT ? ReadResult::absent : ReadResult::failed;
    }
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = errno;
            return ReadResult::failed;
        }
        if (count == 0) {
            return ReadResult::ok;
        }
        contents.append(buffer, static_cast<std::size_t>(count));
    }
}

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

}  // namespace

std::filesystem::path FilePreferences::defaultFile(std::string_view domain) {
    std::filesystem::path base;
    // The XDG rules ignore a relative value.
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && config[0] == '/') {
        base = config;
    } else if (const char* home = std::getenv("HOME"); home && home[0] != '\0') {
        base = std::filesystem::path(home) / ".config";
    } else {
        base = ".config";
    }
    return base / "gaugely" / (std::string(domain) + ".json");
}

void FilePreferences::warnOnStandardError(const std::string& message) {
    std::cerr << "gaugely: " << message << '\n';
}

FilePreferences::FilePreferences(std::filesystem::path file, WarningHandler warning)
    : file_(std::move(file)), warning_(std::move(warning)) {
    if (!warning_) {
        warning_ = [](const std::string&) {};
    }
    load();
}

void FilePreferences::load() {
    std::string contents;
    int error = 0;
    switch (readWholeFile(file_, contents, error)) {
        case ReadResult::absent:
            return;
        case ReadResult::failed:
            persistent_ = false;
            warning_("could not read preferences " + file_.string() + ": " + errorText(error) +
                     "; changes will not be saved this session");
            return;
        case ReadResult::ok:
            break;
    }
    if (auto values = decodePreferencesDocument(contents)) {
        values_ = std::move(*values);
        return;
    }
    moveAside(contents.empty() ? "it is empty" : "it is not a JSON object");
}

void FilePreferences::moveAside(const std::string& reason) {
    const std::string prefix = "preferences " + file_.string() + " cannot be used (" + reason + ")";
    const std::string base = file_.string() + ".corrupt-";
    for (unsigned n = 1; n < 10000; ++n) {
        const std::filesystem::path candidate = base + std::to_string(n);
        std::error_code ec;
        if (std::filesystem::exists(std::filesystem::symlink_status(candidate, ec))) {
            continue;
        }
        if (::rename(file_.c_str(), candidate.c_str()) != 0) {
            persistent_ = false;
            warning_(prefix + " and could not be moved aside: " + errorText(errno) +
                     "; starting empty, changes will not be saved this session");
            return;
        }
        warning_(prefix + "; moved it to " + candidate.string() + " and started empty");
        return;
    }
    persistent_ = false;
    warning_(prefix + " and there is no free name to move it aside; starting empty, changes will " +
             "not be saved this session");
}

template <class T>
const T* FilePreferences::find(std::string_view key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? nullptr : std::get_if<T>(&found->second);
}

bool FilePreferences::hasObject(std::string_view key) {
    // Apple's C++ library has no heterogeneous contains() yet.
    return values_.find(key) != values_.end();
}

std::optional<bool> FilePreferences::boolValue(std::string_view key) {
    const bool* value = find<bool>(key);
    return value ? std::optional<bool>(*value) : std::nullopt;
}

std::optional<std::string> FilePreferences::stringValue(std::string_view key) {
    const std::string* value = find<std::string>(key);
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

std::optional<std::string> FilePreferences::dataValue(std::string_view key) {
    const PreferenceData* value = find<PreferenceData>(key);
    return value ? std::optional<std::string>(value->bytes) : std::nullopt;
}

std::optional<Date> FilePreferences::dateValue(std::string_view key) {
    const Date* value = find<Date>(key);
    return value ? std::optional<Date>(*value) : std::nullopt;
}

void FilePreferences::store(std::string_view key, PreferenceValue value) {
    values_.insert_or_assign(std::string(key), std::move(value));
    writeFile();
}

void FilePreferences::setBool(std::string_view key, bool value) {
    store(key, value);
}

void FilePreferences::setString(std::string_view key, std::string_view value) {
    store(key, std::string(value));
}

void FilePreferences::setData(std::string_view key, std::string_view bytes) {
    store(key, PreferenceData{std::string(bytes)});
}

void FilePreferences::setDate(std::string_view key, Date value) {
    // JSON has no spelling for these; storing one would read back as something else.
    if (!std::isfinite(value.timeIntervalSinceReferenceDate)) {
        warning_("ignored a date that is not a finite number for \"" + std::string(key) + "\"");
        return;
    }
    store(key, value);
}

void FilePreferences::remove(std::string_view key) {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return;
    }
    values_.erase(found);
    writeFile();
}

void FilePreferences::synchronize() {
    if (writePending_) {
        writeFile();
    }
}

bool FilePreferences::writeFile() {
    if (!persistent_) {
        return false;
    }
    writePending_ = true;
    const std::filesystem::path folder = file_.parent_path().empty() ? "." : file_.parent_path();
    const auto fail = [&](const std::string& step, int error) {
        warning_("could not save preferences " + file_.string() + " (" + step +
                 "): " + errorText(error) + "; the change is kept in memory");
        return false;
    };

    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) {
        return fail("creating " + folder.string(), ec.value());
    }

    // Same folder as the file, so the rename stays on one file system and is atomic.
    const std::filesystem::path temporary = file_.string() + ".tmp-" + std::to_string(::getpid()) +
                                            "-" + std::to_string(++writeSequence_);
    {
        FileDescriptor fd(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!fd) {
            return fail("creating " + temporary.string(), errno);
        }
        const std::string text = encodePreferencesDocument(values_);
        if (!writeAll(fd.get(), text) || ::fsync(fd.get()) != 0 || fd.close() != 0) {
            const int error = errno;
            ::unlink(temporary.c_str());
            return fail("writing " + temporary.string(), error);
        }
    }
    if (writeObserver_) {
        writeObserver_(WriteStage::temporaryFileWritten);
    }
    if (::rename(temporary.c_str(), file_.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return fail("replacing the file", error);
    }
    if (writeObserver_) {
        writeObserver_(WriteStage::renamed);
    }
    // The rename itself lives in the folder; without this a power loss could undo it.
    FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory || ::fsync(directory.get()) != 0) {
        return fail("flushing " + folder.string(), errno);
    }
    writePending_ = false;
    return true;
}

}  // namespace gaugely
