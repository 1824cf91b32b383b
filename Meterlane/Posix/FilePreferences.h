#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Posix/PreferencesDocument.h"
#include "Meterlane/Posix/WholeFile.h"

namespace gaugely {

// User defaults of one domain kept in one JSON file (see PreferencesDocument.h for the form).
//
// Every change rewrites the whole file atomically: a temporary file in the same folder is
// written and flushed to disk, renamed over the old one, and the folder is flushed, so after a
// crash at any point the file is either the old or the new version, never a mix.
//
// Several processes may share one file (a user service watching and a shell prompt's runs): a
// write reads the file again under a lock on its folder and puts only this store's own changes
// onto what it finds, so one process never writes back another's keys as it first read them.
//
// A file that cannot be decoded is moved aside ("<name>.corrupt-<n>") with a warning and the
// store starts empty; it is never silently discarded. A file that exists but cannot be read at
// all (or moved aside) turns the store memory-only, so a failed read can never lead to the
// file being overwritten.
class FilePreferences final : public Preferences {
  public:
    using WarningHandler = std::function<void(const std::string& message)>;

    // Where the crash tests interrupt a write.
    using WriteStage = WholeFileWriteStage;
    using WriteObserver = std::function<void(WriteStage)>;

    // $XDG_CONFIG_HOME/gaugely/<domain>.json, or ~/.config/gaugely/<domain>.json when it is unset
    // or not absolute.
    static std::filesystem::path defaultFile(std::string_view domain);

    // Prints "gaugely: <message>" on stderr.
    static void warnOnStandardError(const std::string& message);

    explicit FilePreferences(std::filesystem::path file,
                             WarningHandler warning = &FilePreferences::warnOnStandardError);

    FilePreferences(const FilePreferences&) = delete;
    FilePreferences& operator=(const FilePreferences&) = delete;

    bool hasObject(std::string_view key) override;
    std::optional<bool> boolValue(std::string_view key) override;
    std::optional<std::string> stringValue(std::string_view key) override;
    std::optional<std::string> dataValue(std::string_view key) override;
    std::optional<Date> dateValue(std::string_view key) override;

    void setBool(std::string_view key, bool value) override;
    void setString(std::string_view key, std::string_view value) override;
    void setData(std::string_view key, std::string_view bytes) override;
    void setDate(std::string_view key, Date value) override;
    void remove(std::string_view key) override;

    // Retries a write that failed earlier; otherwise there is nothing pending.
    void synchronize() override;

    const std::filesystem::path& file() const { return file_; }
    // False once the file could neither be read nor moved aside: changes then stay in memory.
    bool isPersistent() const { return persistent_; }

    void setWriteObserverForTesting(WriteObserver observer) {
        writeObserver_ = std::move(observer);
    }

  private:
    template <class T>
    const T* find(std::string_view key) const;
    void store(std::string_view key, PreferenceValue value);
    void load();
    void moveAside(const std::string& reason);
    bool writeFile();
    PreferenceValues valuesToWrite();

    std::filesystem::path file_;
    WarningHandler warning_;
    WriteObserver writeObserver_;
    PreferenceValues values_;
    // This store's changes since its last write, a removal as no value.
    std::map<std::string, std::optional<PreferenceValue>, std::less<>> changes_;
    bool persistent_ = true;
    bool writePending_ = false;
    unsigned writeSequence_ = 0;
};

}  // namespace gaugely
