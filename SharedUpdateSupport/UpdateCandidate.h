#pragma once

#include <optional>
#include <string>

namespace gaugely {

// One item of the update feed as the updater judges it. The platform adapter fills it from the
// framework's item: `build` from its machine version, `version` from its display version,
// `informational` for an item that only points to a web page, and the absolute texts of its
// information page and archive links.
struct UpdateCandidate {
    std::string build;
    std::string version;
    bool informational = false;
    std::optional<std::string> information;
    std::optional<std::string> download;

    bool operator==(const UpdateCandidate&) const = default;
};

}  // namespace gaugely
