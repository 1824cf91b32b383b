#include "Meterlane/Reader/CodexLogProgress.h"

#include <algorithm>
#include <array>

#include "LowUsageNotificationSupport/JsonDate.h"

namespace gaugely {
namespace {

std::optional<uint64_t> readCount(const Json* member) {
    if (!member || !member->is_number_unsigned()) {
        return std::nullopt;
    }
    return member->get<uint64_t>();
}

std::optional<uint64_t> readCount(const Json& object, std::string_view key) {
    return readCount(jsonMember(object, key));
}

std::optional<bool> readBool(const Json* member) {
    if (!member || !member->is_boolean()) {
        return std::nullopt;
    }
    return member->get<bool>();
}

// Below the sessions folder and nowhere else: year, month and day folders and a file name.
bool isRememberedPath(const std::string& path) {
    if (path.empty() || path.front() == '/' || path.find('\0') != std::string::npos) {
        return false;
    }
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = std::string_view(path).substr(start, end - start);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        start = end + 1;
    }
    return true;
}

// A remembered file is written as a list of its fields in this order, not as an object: with a
// few hundred files, repeating the names would make up almost half of the record.
constexpr std::array<const char*, 8> fileFields{
    "path",     "identity",          "size",       "modified", "offset",
    "skipping", "unsureOfLineStart", "copiesUntil"};

Json fileJson(const CodexLogFollowerMemory::File& file) {
    return Json::array({file.path, file.identity, file.size,
                        file.modified.timeIntervalSinceReferenceDate, file.offset, file.skipping,
                        file.unsureOfLineStart, jsonDate(file.copiesUntil)});
}

std::optional<CodexLogFollowerMemory::File> fileFromJson(const Json& entry) {
    // Records written before the list form name each field. The list is read in place: copying
    // it into a named object cost a status line more than reading the whole state file.
    const bool listed = entry.is_array() && entry.size() == fileFields.size();
    if (!listed && !entry.is_object()) {
        return std::nullopt;
    }
    const auto field = [&entry, listed](std::size_t index) -> const Json* {
        return listed ? &entry[index] : jsonMember(entry, fileFields[index]);
    };
    CodexLogFollowerMemory::File file;
    const Json* path = field(0);
    const auto identity = readCount(field(1));
    const auto size = readCount(field(2));
    const auto offset = readCount(field(4));
    const auto skipping = readBool(field(5));
    const auto unsure = readBool(field(6));
    std::optional<Date> modified;
    if (!path || !path->is_string() || !isRememberedPath(path->get_ref<const std::string&>()) ||
        !identity || !size || !offset || *offset > *size || !skipping || !unsure ||
        !readJsonDate(field(3), modified) || !modified ||
        !readJsonDate(field(7), file.copiesUntil)) {
        return std::nullopt;
    }
    file.path = path->get<std::string>();
    file.identity = *identity;
    file.size = *size;
    file.modified = *modified;
    file.offset = *offset;
    file.skipping = *skipping;
    file.unsureOfLineStart = *unsure;
    return file;
}

}  // namespace

Json CodexLogProgress::toJson() const {
    Json files = Json::array();
    for (const auto& file : source.follower.files) {
        files.push_back(fileJson(file));
    }
    Json json = Json::object();
    json["codexFolder"] = codexFolder;
    json["files"] = std::move(files);
    json["settledAsOf"] = jsonDate(source.follower.settledAsOf);
    json["candidateLines"] = source.follower.candidateLines;
    json["acceptedLines"] = source.follower.acceptedLines;
    json["unrecognisedLines"] = source.unrecognisedLines;
    json["copiedLines"] = source.copiedLines;
    json["newestLineAt"] = jsonDate(source.newestLineAt);
    json["sourceSettledAsOf"] = jsonDate(source.settledAsOf);
    json["readings"] = readings.toJson();
    return json;
}

std::optional<CodexLogProgress> CodexLogProgress::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    CodexLogProgress progress;
    const auto folder = jsonString(json, "codexFolder");
    const Json* files = jsonMember(json, "files");
    const Json* readings = jsonMember(json, "readings");
    const auto candidate = readCount(json, "candidateLines");
    const auto accepted = readCount(json, "acceptedLines");
    const auto unrecognised = readCount(json, "unrecognisedLines");
    const auto copied = readCount(json, "copiedLines");
    if (!folder || folder->empty() || !files || !files->is_array() || !readings || !candidate ||
        !accepted || !unrecognised || !copied ||
        !readJsonDate(json, "settledAsOf", progress.source.follower.settledAsOf) ||
        !readJsonDate(json, "newestLineAt", progress.source.newestLineAt) ||
        !readJsonDate(json, "sourceSettledAsOf", progress.source.settledAsOf)) {
        return std::nullopt;
    }
    for (const Json& entry : *files) {
        auto file = fileFromJson(entry);
        if (!file) {
            return std::nullopt;
        }
        progress.source.follower.files.push_back(std::move(*file));
    }
    auto decoded = CodexLogReadings::fromJson(*readings);
    if (!decoded) {
        return std::nullopt;
    }
    progress.codexFolder = *folder;
    progress.source.follower.candidateLines = *candidate;
    progress.source.follower.acceptedLines = *accepted;
    progress.source.unrecognisedLines = *unrecognised;
    progress.source.copiedLines = *copied;
    progress.readings = std::move(*decoded);
    return progress;
}

std::string CodexLogProgress::encoded() const {
    const std::vector<std::uint8_t> bytes = Json::to_cbor(toJson());
    return std::string(bytes.begin(), bytes.end());
}

std::optional<CodexLogProgress> CodexLogProgress::decode(std::string_view bytes) {
    if (!bytes.empty() && bytes.front() == '{') {
        return decodeJson<CodexLogProgress>(bytes);
    }
    const Json json = Json::from_cbor(bytes.begin(), bytes.end(), /*strict=*/true,
                                      /*allow_exceptions=*/false);
    if (json.is_discarded()) {
        return std::nullopt;
    }
    return fromJson(json);
}

}  // namespace gaugely
