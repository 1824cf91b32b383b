#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"

#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/Regex.h"
#include "LowUsageNotificationSupport/Text.h"
#include "LowUsageNotificationSupport/UsageMenuPatterns.h"

namespace gaugely {

Json MonthlyUsageValues::toJson() const {
    Json json = Json::object();
    json["percentage"] = percentage;
    json["resetDate"] = resetDate;
    return json;
}

std::optional<MonthlyUsageValues> MonthlyUsageValues::fromJson(const Json& json) {
    auto percentage = jsonString(json, "percentage");
    auto resetDate = jsonString(json, "resetDate");
    if (!percentage || !resetDate) {
        return std::nullopt;
    }
    return MonthlyUsageValues{std::move(*percentage), std::move(*resetDate)};
}

bool MonthlyUsageMenuParser::isMonthlyLabel(std::string_view text) {
    return codexVocabulary::isMonthlyLabel(text);
}

std::optional<MonthlyUsageValues> MonthlyUsageMenuParser::parse(
    const std::vector<std::string>& orderedText) {
    const auto label = std::find_if(orderedText.begin(), orderedText.end(),
                                    [](const std::string& line) { return isMonthlyLabel(line); });
    if (label == orderedText.end()) {
        return std::nullopt;
    }
    const std::string section =
        text::joined(std::vector<std::string>(label, orderedText.end()), "\n");

    std::optional<std::string> percentage = usageMenuPatterns::firstPercentage(section);
    if (!percentage) {
        return std::nullopt;
    }
    const Regex& datePattern = codexVocabulary::monthDate();
    const std::optional<Regex::Match> date = datePattern.firstMatch(section);
    if (!date) {
        // Both values are needed: a percentage without its reset date is a half-drawn menu.
        return std::nullopt;
    }
    return MonthlyUsageValues{std::move(*percentage), text::trimmed(date->groups[1])};
}

}  // namespace gaugely
