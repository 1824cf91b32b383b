#pragma once

#include <optional>
#include <string>

#include "LowUsageNotificationSupport/CodexLogReadings.h"
#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Reader/CodexLogSource.h"

namespace gaugely {

// How far the logs of one Codex folder have been read, and what was found there, kept between
// runs of a command that reads them once and exits: the next run reads only what was appended
// since. Bound to the folder it was read from; a record of another folder is not used.
struct CodexLogProgress {
    // The folder as the follower read it ("~" expanded).
    std::string codexFolder;
    CodexLogSourceMemory source;
    CodexLogReadings readings;

    bool operator==(const CodexLogProgress&) const = default;

    Json toJson() const;
    // None unless every field reads; a remembered file's path must lie below the sessions folder.
    static std::optional<CodexLogProgress> fromJson(const Json& json);
};

}  // namespace gaugely
