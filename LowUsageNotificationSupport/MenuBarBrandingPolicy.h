#pragma once

#include <optional>
#include <string_view>

#include "ProductFacts.h"

namespace gaugely {

// Only the released application wears the template icon, so a development or test build running
// beside it can be told apart in the menu bar.
struct MenuBarBrandingPolicy {
    static constexpr std::string_view productionBundleIdentifier = product::bundleIdentifier;

    static constexpr bool shouldShowProductionTemplateIcon(
        std::optional<std::string_view> bundleIdentifier) {
        return bundleIdentifier == productionBundleIdentifier;
    }
};

}  // namespace gaugely
