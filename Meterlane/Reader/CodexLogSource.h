#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Platform/DocumentStore.h"
#include "Meterlane/Platform/FileSystem.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Reader/CodexLogFollower.h"

namespace gaugely {

// The Codex folder used until the user picks another. An app started from Finder never sees a
// shell's CODEX_HOME, so the app does not look for one.
inline constexpr std::string_view defaultCodexFolder = "~/.codex";

// `folder` with a leading "~" replaced by `homeFolder`.
std::string expandedCodexFolder(std::string_view folder, std::string_view homeFolder);

// What the reader needs to read Codex's logs and keep the usage history; the app and the tool
// hand it in once after creating the reader.
struct CodexLogEnvironment {
    FileSystem& fileSystem;
    DocumentStore& usageHistory;
    const TimeFormatter& timeFormatter;
    std::string homeFolder;
    // Keep how far the logs were read, and what they said, in the defaults, and go on from there
    // when started again: for a process that looks once and exits. The app follows the logs as
    // long as it runs and needs none of it.
    bool keepsProgress = false;
};

// What reading the logs has found so far: the settings window's line and `gaugely usage` say
// where it looked and, when nothing came of it, why.
struct CodexLogsState {
    bool looked = false;
    bool watching = false;
    CodexLogFollowerStatus follower;
    uint64_t unrecognisedLines = 0;
    // Lines a fork copied from its parent, passed over.
    uint64_t copiedLines = 0;
    // The newest usage line seen (of any bucket or shape), whether or not it could be committed.
    std::optional<Date> newestLineAt;
    // The plan the logs show (`plan_type` as written), once a line says.
    std::optional<std::string> logsPlanType;
    // Why the logs' readings were not committed; none once they are.
    std::optional<CodexLogRefusal> refusal;

    bool operator==(const CodexLogsState&) const = default;
};

// What a source learnt, for a later process to go on from (see CodexLogFollowerMemory).
struct CodexLogSourceMemory {
    CodexLogFollowerMemory follower;
    uint64_t unrecognisedLines = 0;
    uint64_t copiedLines = 0;
    std::optional<Date> newestLineAt;
    std::optional<Date> settledAsOf;

    bool operator==(const CodexLogSourceMemory&) const = default;
};

// One running source: a follower of the chosen folder kept looking by a watcher, with the lines
// decoded here so that nothing but rate limits reaches the reader, and a fork's copies of its
// parent's lines never do.
class CodexLogSource {
  public:
    // A decoded line that is a reading of some kind (usage of any bucket, too old a shape, no
    // rate limits); returns the time the readings are settled as of (none while an older line
    // could still matter), which ends a search.
    using LineHandler = std::function<std::optional<Date>(const CodexLogLineDecoding&)>;
    using LookHandler = std::function<void()>;

    CodexLogSource(FileSystem& fileSystem, MainQueue& mainQueue, std::string codexFolder,
                   LineHandler onLine, LookHandler afterLook, CodexLogFollowerLimits limits = {});
    ~CodexLogSource();
    CodexLogSource(const CodexLogSource&) = delete;
    CodexLogSource& operator=(const CodexLogSource&) = delete;

    void start();
    CodexLogsState state() const;
    CodexLogSourceMemory memory() const;
    // Before `start`; `forgotten` runs if the first look finds the memory no longer holds (see
    // CodexLogFollower::resume), and the lines taken must be dropped.
    void resume(const CodexLogSourceMemory& memory, std::function<void()> forgotten);
    const CodexLogFollower& follower() const { return *follower_; }

  private:
    CodexLogFollower::LineVerdict handleLine(std::string_view line,
                                             std::optional<Date> copiesUntil);

    LineHandler onLine_;
    uint64_t unrecognisedLines_ = 0;
    uint64_t copiedLines_ = 0;
    std::optional<Date> newestLineAt_;
    std::optional<Date> settledAsOf_;
    bool looked_ = false;
    std::unique_ptr<CodexLogFollower> follower_;
    std::unique_ptr<CodexLogWatcher> watcher_;
};

}  // namespace gaugely
