#pragma once

// Reads a Sparkle appcast the way the framework reads each item, so a feed can be checked before
// it is published: which build and version each item names, where its links lead once resolved
// against the feed's address, and what it carries.
//
// The XML is read with libxml2 without network access, without loading any DTD and without
// expanding entities: a document type declaration is refused outright (real appcasts have none,
// and entity tricks start there). Files over `appcastSizeLimit` are refused before parsing.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "SharedUpdateSupport/UpdateCandidate.h"

namespace gaugely {

inline constexpr std::size_t appcastSizeLimit = 4 * 1024 * 1024;

struct AppcastItem {
    std::string title;
    UpdateCandidate candidate;
    // Why the framework could not read the item at all (no version, no enclosure), or none.
    std::optional<std::string> unreadable;
    bool hasEdSignature = false;
    // The enclosure states a length above zero.
    bool hasLength = false;
    std::string descriptionHTML;
};

// The items of /rss/channel/item in feed order, or the reason the document is unreadable. Links
// are resolved against `feedURL` when one is given.
[[nodiscard]] std::variant<std::vector<AppcastItem>, std::string> readAppcast(
    std::string_view xml, std::optional<std::string_view> feedURL);

}  // namespace gaugely
