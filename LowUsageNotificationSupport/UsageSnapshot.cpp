#include "LowUsageNotificationSupport/UsageSnapshot.h"

#include <charconv>

#include "LowUsageNotificationSupport/Regex.h"
#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

const std::string& UsageSnapshot::percentage(QuotaWindow window) const {
    switch (window) {
        case QuotaWindow::fiveHour:
            return fiveHour;
        case QuotaWindow::weekly:
            return weekly;
        case QuotaWindow::monthly:
            return monthly;
    }
    return monthly;
}

const std::string& UsageSnapshot::reset(QuotaWindow window) const {
    switch (window) {
        case QuotaWindow::fiveHour:
            return fiveHourReset;
        case QuotaWindow::weekly:
            return weeklyReset;
        case QuotaWindow::monthly:
            return monthlyReset;
    }
    return monthlyReset;
}

Json UsageSnapshot::toJson() const {
    Json json = Json::object();
    json["fiveHour"] = fiveHour;
    json["fiveHourReset"] = fiveHourReset;
    json["weekly"] = weekly;
    json["weeklyReset"] = weeklyReset;
    json["monthly"] = monthly;
    json["monthlyReset"] = monthlyReset;
    return json;
}

std::optional<UsageSnapshot> UsageSnapshot::fromJson(const Json& json) {
    auto fiveHour = jsonString(json, "fiveHour");
    auto fiveHourReset = jsonString(json, "fiveHourReset");
    auto weekly = jsonString(json, "weekly");
    auto weeklyReset = jsonString(json, "weeklyReset");
    auto monthly = jsonString(json, "monthly");
    auto monthlyReset = jsonString(json, "monthlyReset");
    if (!fiveHour || !fiveHourReset || !weekly || !weeklyReset || !monthly || !monthlyReset) {
        return std::nullopt;
    }
    return UsageSnapshot{std::move(*fiveHour), std::move(*fiveHourReset),
                         std::move(*weekly),   std::move(*weeklyReset),
                         std::move(*monthly),  std::move(*monthlyReset)};
}

std::optional<int> percentageValue(std::string_view text) {
    // Only the percent sign is removed; an inner space ("72 %") is deliberately a failure.
    const std::string digits = text::replacingAll(text, "%", "");
    if (digits.empty()) {
        return std::nullopt;
    }
    std::string_view number = digits;
    bool negative = false;
    if (number.front() == '+' || number.front() == '-') {
        negative = number.front() == '-';
        number.remove_prefix(1);
    }
    if (number.empty()) {
        return std::nullopt;
    }
    unsigned long long magnitude = 0;
    const auto [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), magnitude);
    if (error != std::errc() || end != number.data() + number.size()) {
        return std::nullopt;
    }
    // Negative values are rejected, except "-0", which is zero.
    if (negative && magnitude != 0) {
        return std::nullopt;
    }
    if (magnitude > 100) {
        return std::nullopt;
    }
    return static_cast<int>(magnitude);
}

std::vector<std::pair<QuotaWindow, int>> quotaPercentages(const UsageSnapshot& snapshot,
                                                          QuotaSchema schema) {
    std::vector<std::pair<QuotaWindow, int>> result;
    for (const QuotaWindow window : requiredWindows(schema)) {
        if (const auto value = percentageValue(snapshot.percentage(window))) {
            result.emplace_back(window, *value);
        }
    }
    return result;
}

namespace {

const Regex& fiveHourResetShape() {
    static thread_local const Regex pattern(R"((?i)^\d{1,2}:\d{2}\s*(?:AM|PM)$)");
    return pattern;
}

const Regex& dateResetShape() {
    static thread_local const Regex pattern(
        R"((?i)^(?:Jan(?:uary)?|Feb(?:ruary)?|Mar(?:ch)?|Apr(?:il)?|May|Jun(?:e)?|Jul(?:y)?|Aug(?:ust)?|Sep(?:t(?:ember)?)?|Oct(?:ober)?|Nov(?:ember)?|Dec(?:ember)?)\.?\s+(?:[1-9]|[12]\d|3[01])(?:,?\s+\d{4})?$)");
    return pattern;
}

}  // namespace

bool isCompleteUsageSnapshot(const UsageSnapshot& snapshot, QuotaSchema schema) {
    if (schema == QuotaSchema::proGeneralWeeklyPercentageOnly) {
        return percentageValue(snapshot.weekly).has_value();
    }
    for (const QuotaWindow window : requiredWindows(schema)) {
        if (!percentageValue(snapshot.percentage(window))) {
            return false;
        }
        const Regex& pattern =
            window == QuotaWindow::fiveHour ? fiveHourResetShape() : dateResetShape();
        if (!pattern.matchesEntirely(text::trimmed(snapshot.reset(window)))) {
            return false;
        }
    }
    return true;
}

}  // namespace gaugely
