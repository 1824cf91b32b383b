#include "LowUsageNotificationSupport/CodexVocabulary.h"

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely::codexVocabulary {

const Regex& fiveHourLabel() {
    static thread_local const Regex pattern(fiveHourLabelPattern, Regex::caseInsensitive);
    return pattern;
}

const Regex& percentage() {
    static thread_local const Regex pattern(percentagePattern);
    return pattern;
}

const Regex& fiveHourResetAfterLabel() {
    static thread_local const Regex pattern(fiveHourResetAfterLabelPattern);
    return pattern;
}

const Regex& fiveHourResetBeforeLabel() {
    static thread_local const Regex pattern(fiveHourResetBeforeLabelPattern);
    return pattern;
}

const Regex& weeklyResetAfterLabel() {
    static thread_local const Regex pattern(weeklyResetAfterLabelPattern);
    return pattern;
}

const Regex& weeklyResetBeforeLabel() {
    static thread_local const Regex pattern(weeklyResetBeforeLabelPattern);
    return pattern;
}

const Regex& monthDate() {
    static thread_local const Regex pattern(monthDatePattern);
    return pattern;
}

const Regex& proTitle() {
    static thread_local const Regex pattern(proTitlePattern);
    return pattern;
}

const Regex& proValue() {
    static thread_local const Regex pattern(proValuePattern);
    return pattern;
}

const Regex& usageValueLine() {
    static thread_local const Regex pattern(usageValueLinePattern, Regex::caseInsensitive);
    return pattern;
}

bool isProfileLabel(const std::optional<std::string>& text) {
    return text && text::equalsIgnoringCase(text::trimmed(*text), profileMenuLabel);
}

bool isUsageRemainingLine(std::string_view line) {
    return text::lowercased(text::trimmed(line)) == usageRemainingLabel;
}

bool mentionsUsageRemaining(std::string_view text) {
    return text::contains(text::lowercased(text), usageRemainingLabel);
}

bool isProUsageItemLabel(std::string_view line) {
    return text::equalsIgnoringCase(text::trimmed(line), proUsageItemLabel);
}

bool isFiveHourLabel(std::string_view line) {
    return fiveHourLabel().containsMatch(line);
}

bool isWeeklyLabel(std::string_view line) {
    return text::equalsIgnoringCase(text::trimmed(line), weeklyLabel);
}

bool isMonthlyLabel(std::string_view line) {
    return text::equalsIgnoringCase(text::trimmed(line), monthlyLabel);
}

bool isVocabularyLabel(std::string_view text) {
    return isProfileLabel(std::string(text)) || isUsageRemainingLine(text) ||
           isProUsageItemLabel(text) || isFiveHourLabel(text) || isWeeklyLabel(text) ||
           isMonthlyLabel(text);
}

bool isUsageValueText(std::string_view text) {
    return usageValueLine().containsMatch(text) || proTitle().containsMatch(text);
}

}  // namespace gaugely::codexVocabulary
