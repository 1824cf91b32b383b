#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Platform/TimeFormatter.h"

namespace gaugely {

// The newest update the feed offered, as the update notice keeps it and the settings show it.
// Stored as JSON {"build", "version", "releaseDate"?, "notes"}; an absent release date is left
// out, and a record with any field of the wrong type fails to decode.
struct UpdateOffer {
    // Decimal integer text, read with readBuildNumber when compared.
    std::string build;
    std::string version;
    // Already in display form ("September 22, 2026").
    std::optional<std::string> releaseDate;
    // Plain text; lines end with a line feed.
    std::string notes;

    static constexpr std::size_t highlightLineLimit = 3;
    static constexpr std::size_t highlightCharacterLimit = 600;

    // The collapsed view: the first three non-empty lines of the notes, at most 600 characters.
    [[nodiscard]] std::string highlights() const;
    // Whether the full notes hold more than the highlights show.
    [[nodiscard]] bool hasMoreNotes() const;

    // A release day as every user reads it, whatever their own locale and zone: "MMMM d, yyyy" in
    // en_US_POSIX and the release time zone. None when the system does not know that zone.
    [[nodiscard]] static std::optional<std::string> officialReleaseDate(
        const TimeFormatter& formatter, Date date, std::string_view timeZone);

    Json toJson() const;
    static std::optional<UpdateOffer> fromJson(const Json& json);

    bool operator==(const UpdateOffer&) const = default;
};

}  // namespace gaugely
