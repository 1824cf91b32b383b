#include "LowUsageNotificationSupport/UsageMenuText.h"

#include <algorithm>
#include <initializer_list>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/Regex.h"
#include "LowUsageNotificationSupport/Text.h"
#include "LowUsageNotificationSupport/UsageMenuPatterns.h"

namespace gaugely {
namespace {

// The first capture of the first pattern that matches, trimmed; the patterns are tried in order
// because Codex has put the reset text both after and before its window's label.
std::string firstCapture(std::initializer_list<const Regex*> patterns, std::string_view section) {
    for (const Regex* pattern : patterns) {
        if (const std::optional<Regex::Match> match = pattern->firstMatch(section)) {
            return text::trimmed(match->groups[1]);
        }
    }
    return std::string(notFoundText);
}

std::optional<UsageSnapshot> fiveHourAndWeeklySnapshot(const std::vector<std::string>& lines) {
    // The label line as given, untrimmed: "5h", "5 hours".
    const auto fiveHour = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return codexVocabulary::isFiveHourLabel(line);
    });
    if (fiveHour == lines.end()) {
        return std::nullopt;
    }
    const auto weekly = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return codexVocabulary::isWeeklyLabel(line);
    });
    if (weekly == lines.end() || weekly <= fiveHour) {
        return std::nullopt;
    }
    const std::string sectionA = text::joined(std::vector<std::string>(fiveHour, weekly), "\n");
    const std::string sectionB = text::joined(std::vector<std::string>(weekly, lines.end()), "\n");

    // A reset stays tied to its window's label within 240 characters, so a time or date further
    // away belongs to something else.
    const Regex& timeAfterLabel = codexVocabulary::fiveHourResetAfterLabel();
    const Regex& timeBeforeLabel = codexVocabulary::fiveHourResetBeforeLabel();
    const Regex& dateAfterLabel = codexVocabulary::weeklyResetAfterLabel();
    const Regex& dateBeforeLabel = codexVocabulary::weeklyResetBeforeLabel();

    UsageSnapshot snapshot;
    snapshot.fiveHour =
        usageMenuPatterns::firstPercentage(sectionA).value_or(std::string(notFoundText));
    snapshot.fiveHourReset = firstCapture({&timeAfterLabel, &timeBeforeLabel}, sectionA);
    snapshot.weekly =
        usageMenuPatterns::firstPercentage(sectionB).value_or(std::string(notFoundText));
    snapshot.weeklyReset = firstCapture({&dateAfterLabel, &dateBeforeLabel}, sectionB);
    return snapshot;
}

}  // namespace

std::optional<UsageSnapshot> usageSnapshotFromUsageRemainingMenu(
    CodexPlan selectedPlan, const std::vector<std::string>& orderedText) {
    if (orderedText.empty()) {
        return std::nullopt;
    }
    switch (selectedPlan) {
        case CodexPlan::freeGo: {
            std::optional<MonthlyUsageValues> values = MonthlyUsageMenuParser::parse(orderedText);
            if (!values) {
                return std::nullopt;
            }
            UsageSnapshot snapshot;
            snapshot.monthly = std::move(values->percentage);
            snapshot.monthlyReset = std::move(values->resetDate);
            return snapshot;
        }
        case CodexPlan::plus:
            return fiveHourAndWeeklySnapshot(orderedText);
        case CodexPlan::pro:
            // The pro plan's value is read from the profile item titles, not from this menu.
            return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace gaugely
