#pragma once

#include <optional>
#include <string>
#include <string_view>

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

    // The stored bytes: CBOR, since a status line reads the record back at every shell prompt and
    // binary reads several times faster than JSON text. Text, as earlier versions stored, still
    // decodes; none on anything else.
    std::string encoded() const;
    static std::optional<CodexLogProgress> decode(std::string_view bytes);
};

}  // namespace gaugely
