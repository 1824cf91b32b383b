#pragma once

#include <optional>
#include <string>

namespace gaugely {

// The menu bar label: the template gauge (production identity only), the usage summary in
// monospaced digits, and the red "Update Available" badge while an update waits for the user. The
// AppKit view draws exactly this.
struct MenuBarLabelPresentation {
    bool showsTemplateImage = false;
    std::string summary;
    bool showsUpdateBadge = false;

    // What VoiceOver reads for the image, the badge and the whole item.
    static constexpr const char* templateImageAccessibilityLabel = "Gaugely";
    static constexpr const char* updateBadgeAccessibilityLabel = "Update Available";
    std::string accessibilityLabel;

    // `templateImageAvailable`: the production identity and its image file in the bundle.
    static MenuBarLabelPresentation make(const std::string& summary, bool templateImageAvailable,
                                         bool hasUnhandledUpdate);

    bool operator==(const MenuBarLabelPresentation&) const = default;
};

}  // namespace gaugely
