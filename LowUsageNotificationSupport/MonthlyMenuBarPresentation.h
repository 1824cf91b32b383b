#pragma once

#include <string>
#include <string_view>

namespace gaugely {

// How a single-window summary is drawn.
enum class MonthlyMenuBarPresentation { standard, compact, minimal };

// "M 63%", "63%" or "63" for the percentage text "63%".
std::string summary(std::string_view percentage, MonthlyMenuBarPresentation presentation);

}  // namespace gaugely
