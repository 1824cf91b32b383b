#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace gaugely {

// The official public releases, so the installed version can be shown with the day it was
// released. Kept beside the updater model, whose version line reads it.
struct OfficialPublicReleaseMetadata {
    std::string_view version;
    std::string_view build;
    std::string_view publicReleaseDate;

    bool operator==(const OfficialPublicReleaseMetadata&) const = default;
};

struct OfficialPublicReleaseRegistry {
    static constexpr OfficialPublicReleaseMetadata gaugely101Build1{"1.0.1", "1",
                                                                    "September 12, 2026"};
    static constexpr OfficialPublicReleaseMetadata gaugely102Build2{"1.0.2", "2",
                                                                    "September 19, 2026"};
    static constexpr OfficialPublicReleaseMetadata gaugely103Build3{"1.0.3", "3",
                                                                    "September 22, 2026"};
    static constexpr std::array records{gaugely101Build1, gaugely102Build2, gaugely103Build3};

    // The record whose version and build both equal the arguments exactly.
    [[nodiscard]] static std::optional<OfficialPublicReleaseMetadata> record(
        std::string_view version, std::string_view build);

    // "Version 1.0.3 · Released September 22, 2026" for a known release, else "Version 1.0.3".
    [[nodiscard]] static std::string installedVersionText(std::string_view version,
                                                          std::string_view build);
};

}  // namespace gaugely
