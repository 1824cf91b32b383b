#pragma once

#include <optional>
#include <string>
#include <string_view>

// Pieces shared by the usage menu readers. Internal to this library.
namespace gaugely::usageMenuPatterns {

// The first "NN %" in `text`, written back without the inner space ("72 %" → "72%"). The capture
// admits three digits; values above 100 are rejected later, by the completeness test.
std::optional<std::string> firstPercentage(std::string_view text);

}  // namespace gaugely::usageMenuPatterns
