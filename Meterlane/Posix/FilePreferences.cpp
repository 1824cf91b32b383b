#include "Meterlane/Posix/FilePreferences.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <system_error>

#include "Meterlane/Posix/WholeFile.h"
#include "Meterlane/Posix/XdgFolders.h"

namespace gaugely {
namespace {

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace

std::filesystem::path FilePreferences::defaultFile(std::string_view domain) {
    return xdgConfigHome() / "gaugely" / (std::string(domain) + ".json");
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
    switch (readWholeFile(file_, std::numeric_limits<std::size_t>::max(), contents, error)) {
        case WholeFileRead::absent:
            return;
        case WholeFileRead::tooLarge:
        case WholeFileRead::failed:
            persistent_ = false;
            warning_("could not read preferences " + file_.string() + ": " + errorText(error) +
                     "; changes will not be saved this session");
            return;
        case WholeFileRead::ok:
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
    changes_.insert_or_assign(std::string(key), value);
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
    changes_.insert_or_assign(std::string(key), std::nullopt);
    writeFile();
}

void FilePreferences::synchronize() {
    if (writePending_) {
        writeFile();
    }
}

PreferenceValues FilePreferences::valuesToWrite() {
    std::string contents;
    int error = 0;
    if (readWholeFile(file_, std::numeric_limits<std::size_t>::max(), contents, error) !=
        WholeFileRead::ok) {
        return values_;
    }
    auto onDisk = decodePreferencesDocument(contents);
    if (!onDisk) {
        moveAside(contents.empty() ? "it is empty" : "it is not a JSON object");
        return values_;
    }
    for (auto& [key, value] : changes_) {
        if (value) {
            onDisk->insert_or_assign(key, *value);
        } else if (const auto found = onDisk->find(key); found != onDisk->end()) {
            onDisk->erase(found);
        }
    }
    return std::move(*onDisk);
}

bool FilePreferences::writeFile() {
    if (!persistent_) {
        return false;
    }
    writePending_ = true;
    // Held until the file is replaced, so another process's write in between is not lost.
    const int folder = ::open(file_.parent_path().empty() ? "." : file_.parent_path().c_str(),
                              O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (folder >= 0) {
        ::flock(folder, LOCK_EX);
    }
    PreferenceValues values = valuesToWrite();
    if (!persistent_) {
        if (folder >= 0) {
            ::close(folder);
        }
        return false;
    }
    const std::string suffix = std::to_string(::getpid()) + "-" + std::to_string(++writeSequence_);
    const auto failure =
        replaceWholeFile(file_, encodePreferencesDocument(values), suffix, writeObserver_);
    if (folder >= 0) {
        ::close(folder);
    }
    if (failure) {
        warning_("could not save preferences " + file_.string() + " (" + failure->step +
                 "): " + errorText(failure->error) + "; the change is kept in memory");
        return false;
    }
    values_ = std::move(values);
    changes_.clear();
    writePending_ = false;
    return true;
}

}  // namespace gaugely
