#include "SharedUpdateSupport/OfficialPublicReleaseRegistry.h"

namespace gaugely {

std::optional<OfficialPublicReleaseMetadata> OfficialPublicReleaseRegistry::record(
    std::string_view version, std::string_view build) {
    for (const OfficialPublicReleaseMetadata& candidate : records) {
        if (candidate.version == version && candidate.build == build) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::string OfficialPublicReleaseRegistry::installedVersionText(std::string_view version,
                                                                std::string_view build) {
    std::string text = "Version " + std::string(version);
    if (const auto found = record(version, build)) {
        text += " · Released " + std::string(found->publicReleaseDate);
    }
    return text;
}

}  // namespace gaugely
