#include "SharedUpdateSupport/UpdateOffer.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <vector>

#include "LowUsageNotificationSupport/Text.h"
#include "SharedUpdateSupport/UpdateRecordFields.h"

namespace gaugely {

namespace {

// The first `limit` user-perceived characters of UTF-8 text. A combining mark, a spacing mark
// and whatever a zero-width joiner joins stay with the character before them, so a cut never
// strips an accent or splits a joined emoji.
std::string prefixCharacters(const std::string& text, std::size_t limit) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    std::size_t characters = 0;
    bool joinNext = false;
    int32_t offset = 0;
    while (offset < length) {
        const int32_t start = offset;
        UChar32 c = 0;
        U8_NEXT(bytes, offset, length, c);
        const auto kind = static_cast<UGraphemeClusterBreak>(
            u_getIntPropertyValue(c < 0 ? 0xFFFD : c, UCHAR_GRAPHEME_CLUSTER_BREAK));
        const bool continues = start > 0 && (joinNext || kind == U_GCB_EXTEND ||
                                             kind == U_GCB_SPACING_MARK || kind == U_GCB_ZWJ);
        joinNext = kind == U_GCB_ZWJ;
        if (!continues) {
            if (characters == limit) {
                return text.substr(0, static_cast<std::size_t>(start));
            }
            ++characters;
        }
    }
    return text;
}

}  // namespace

std::string UpdateOffer::highlights() const {
    std::vector<std::string> lines;
    for (std::string& line : text::splitLines(notes)) {
        if (line.empty()) {
            continue;
        }
        lines.push_back(std::move(line));
        if (lines.size() == highlightLineLimit) {
            break;
        }
    }
    return prefixCharacters(text::joined(lines, "\n"), highlightCharacterLimit);
}

bool UpdateOffer::hasMoreNotes() const {
    return highlights() != text::trimmed(notes);
}

std::optional<std::string> UpdateOffer::officialReleaseDate(const TimeFormatter& formatter,
                                                            Date date, std::string_view timeZone) {
    return formatter.format(date, "MMMM d, yyyy", "en_US_POSIX", timeZone);
}

Json UpdateOffer::toJson() const {
    Json json = Json::object();
    json["build"] = build;
    json["version"] = version;
    if (releaseDate) {
        json["releaseDate"] = *releaseDate;
    }
    json["notes"] = notes;
    return json;
}

std::optional<UpdateOffer> UpdateOffer::fromJson(const Json& json) {
    auto build = jsonString(json, "build");
    auto version = jsonString(json, "version");
    auto notes = jsonString(json, "notes");
    if (!build || !version || !notes) {
        return std::nullopt;
    }
    std::optional<std::string> releaseDate;
    if (!isAbsentOrNull(json, "releaseDate")) {
        releaseDate = jsonString(json, "releaseDate");
        if (!releaseDate) {
            return std::nullopt;
        }
    }
    return UpdateOffer{std::move(*build), std::move(*version), std::move(releaseDate),
                       std::move(*notes)};
}

}  // namespace gaugely
