#include "LowUsageNotificationSupport/UsageMenuPatterns.h"

#include "LowUsageNotificationSupport/Regex.h"

namespace gaugely::usageMenuPatterns {

std::optional<std::string> firstPercentage(std::string_view text) {
    static thread_local const Regex pattern(R"(\b(\d{1,3})\s*%)");
    std::optional<Regex::Match> match = pattern.firstMatch(text);
    if (!match) {
        return std::nullopt;
    }
    return std::move(match->groups[1]) + "%";
}

}  // namespace gaugely::usageMenuPatterns
