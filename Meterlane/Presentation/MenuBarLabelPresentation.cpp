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

}  // namespace gaugely
