#include "Meterlane/Presentation/MenuBarLabelPresentation.h"

namespace gaugely {

MenuBarLabelPresentation MenuBarLabelPresentation::make(const std::string& summary,
                                                        bool templateImageAvailable,
                                                        bool hasUnhandledUpdate) {
    MenuBarLabelPresentation label;
    label.showsTemplateImage = templateImageAvailable;
    label.summary = summary;
    label.showsUpdateBadge = hasUnhandledUpdate;
    // The summary's "·" and "—" read badly aloud; the words around them carry the meaning.
    label.accessibilityLabel = "Codex usage: " + summary;
    if (hasUnhandledUpdate) {
        label.accessibilityLabel += ", " + std::string(updateBadgeAccessibilityLabel);
    }
    return label;
}

Point MenuBarLabelPresentation::updateBadgeOrigin(Size buttonSize, bool flipped) {
    constexpr double fromTrailingEdge = 1;
    constexpr double fromTop = 2;
    const double x = buttonSize.width - updateBadgeSide - fromTrailingEdge;
    const double y = flipped ? fromTop : buttonSize.height - updateBadgeSide - fromTop;
    return Point{x, y};
}

}  // namespace gaugely
