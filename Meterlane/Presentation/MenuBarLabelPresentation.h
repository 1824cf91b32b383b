#pragma once

#include <optional>
#include <string>

#include "Meterlane/Platform/Accessibility.h"

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

    // The badge: a dot at the label's top right corner, 1 point in from the trailing edge and 2
    // below the top, clear of the digits.
    static constexpr double updateBadgeSide = 7;
    // Where the badge's frame starts in the label button's own coordinates. Views differ in which
    // way y grows (`flipped`: downwards from the top), and a status bar button's orientation is
    // the system's to choose, so the button says which it is.
    static Point updateBadgeOrigin(Size buttonSize, bool flipped);

    bool operator==(const MenuBarLabelPresentation&) const = default;
};

}  // namespace gaugely
