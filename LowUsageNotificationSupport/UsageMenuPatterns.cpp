#include "LowUsageNotificationSupport/UsageMenuPatterns.h"

#include "LowUsageNotificationSupport/CodexVocabulary.h"

namespace gaugely::usageMenuPatterns {

std::optional<std::string> firstPercentage(std::string_view text) {
    std::optional<Regex::Match> match = codexVocabulary::percentage().firstMatch(text);
    if (!match) {
        return std::nullopt;
    }
    return std::move(match->groups[1]) + "%";
}

}  // namespace gaugely::usageMenuPatterns
