#pragma once

#include <optional>
#include <string_view>

namespace gaugely {

// Only the released application wears the template icon, so a development or test build running
// beside it can be told apart in the menu bar.
struct MenuBarBrandingPolicy {
    static constexpr std::string_view productionBundleIdentifier = "com.vostrel.gaugely";

    static constexpr bool shouldShowProductionTemplateIcon(
        std::optional<std::string_view> bundleIdentifier) {
        return bundleIdentifier == productionBundleIdentifier;
    }
};

}  // namespace gaugely
