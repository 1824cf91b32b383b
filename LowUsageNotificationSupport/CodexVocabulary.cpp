#include "LowUsageNotificationSupport/CodexVocabulary.h"

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely::codexVocabulary {

namespace {

// Each pattern is compiled once per thread, the first time it is used.
template <const std::string_view& pattern, unsigned flags = Regex::none>
const Regex& compiledOnce() {
    static thread_local const Regex regex(pattern, flags);
    return regex;
}

}  // namespace

const Regex& fiveHourLabel() {
    return compiledOnce<fiveHourLabelPattern, Regex::caseInsensitive>();
}

const Regex& percentage() {
    return compiledOnce<percentagePattern>();
}

const Regex& fiveHourResetAfterLabel() {
    return compiledOnce<fiveHourResetAfterLabelPattern>();
}

const Regex& fiveHourResetBeforeLabel() {
    return compiledOnce<fiveHourResetBeforeLabelPattern>();
}

const Regex& weeklyResetAfterLabel() {
    return compiledOnce<weeklyResetAfterLabelPattern>();
}

const Regex& weeklyResetBeforeLabel() {
    return compiledOnce<weeklyResetBeforeLabelPattern>();
}

const Regex& monthDate() {
    return compiledOnce<monthDatePattern>();
}

const Regex& proTitle() {
    return compiledOnce<proTitlePattern>();
}

const Regex& proValue() {
    return compiledOnce<proValuePattern>();
}

const Regex& usageValueLine() {
    return compiledOnce<usageValueLinePattern, Regex::caseInsensitive>();
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
