#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"

#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/Regex.h"
#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

Json ProProfileUsageValues::toJson() const {
    Json json = Json::object();
    json["percentage"] = percentage;
    return json;
}

std::optional<ProProfileUsageValues> ProProfileUsageValues::fromJson(const Json& json) {
    auto percentage = jsonString(json, "percentage");
    if (!percentage) {
        return std::nullopt;
    }
    return ProProfileUsageValues{std::move(*percentage)};
}

ProProfileUsageMenuParser::TitleReading ProProfileUsageMenuParser::readTitles(
    const std::vector<std::string>& profileMenuItemTitles) {
    // The whole title, case as Codex writes it; "(100|[1-9]?\d)" admits 0 to 100, no leading zero.
    const Regex& titlePattern = codexVocabulary::proTitle();
    TitleReading reading;
    for (const std::string& title : profileMenuItemTitles) {
        std::optional<Regex::Match> match = titlePattern.firstMatch(title);
        if (!match) {
            continue;
        }
        if (reading.kind == TitleReading::single) {
            return TitleReading{TitleReading::ambiguous, {}};
        }
        reading = TitleReading{TitleReading::single, std::move(match->groups[1]) + "%"};
    }
    return reading;
}

std::optional<ProProfileUsageValues> ProProfileUsageMenuParser::parse(
    const std::vector<std::string>& orderedText) {
    const Regex& valuePattern = codexVocabulary::proValue();
    constexpr size_t linesAfterLabel = 3;
    for (size_t index = 0; index < orderedText.size(); ++index) {
        if (!codexVocabulary::isProUsageItemLabel(orderedText[index])) {
            continue;
        }
        const size_t end = std::min(orderedText.size(), index + 1 + linesAfterLabel);
        for (size_t next = index + 1; next < end; ++next) {
            if (std::optional<Regex::Match> match = valuePattern.firstMatch(orderedText[next])) {
                return ProProfileUsageValues{std::move(match->groups[1]) + "%"};
            }
        }
    }
    return std::nullopt;
}

}  // namespace gaugely
