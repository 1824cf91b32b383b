#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Regex.h"

// Codex's words: every label and pattern that the element searches and the menu parsers match.
// When Codex renames a control or rewords its usage menu, this is the one file that changes.
// Pure; the compiled patterns are built once per thread.
namespace gaugely::codexVocabulary {

// The Codex desktop application.
inline constexpr std::string_view bundleIdentifier = "com.openai.codex";
// The profile control's description and the profile menu's title (trimmed, any case).
inline constexpr std::string_view profileMenuLabel = "Open profile menu";
// The row that expands into the usage section (compared lower-cased).
inline constexpr std::string_view usageRemainingLabel = "usage remaining";
// The row as Codex titles it, for a simulated or recorded menu.
inline constexpr std::string_view usageRemainingTitle = "Usage remaining";
// The pro plan's older layout: the item that carries the value (trimmed, any case).
inline constexpr std::string_view proUsageItemLabel = "Usage";
// Window labels of the expanded section (trimmed, any case).
inline constexpr std::string_view weeklyLabel = "weekly";
inline constexpr std::string_view monthlyLabel = "Monthly";

// Patterns, in the ICU syntax they are written for.
// The five-hour label line, untrimmed ("5h", "5 hours"); case-insensitive.
inline constexpr std::string_view fiveHourLabelPattern = R"(^5\s*(?:h|hour|hours)$)";
// The first "NN %" of a section.
inline constexpr std::string_view percentagePattern = R"(\b(\d{1,3})\s*%)";
// A five-hour reset time after, or before, its label within 240 characters.
inline constexpr std::string_view fiveHourResetAfterLabelPattern =
    R"((?is)(?:5\s*(?:h|hour|hours)|5-hour)[\s\S]{0,240}?\b(\d{1,2}:\d{2}\s*(?:AM|PM))\b)";
inline constexpr std::string_view fiveHourResetBeforeLabelPattern =
    R"((?is)\b(\d{1,2}:\d{2}\s*(?:AM|PM))\b[\s\S]{0,240}?(?:5\s*(?:h|hour|hours)|5-hour))";
// A weekly reset date after, or before, its label within 240 characters.
inline constexpr std::string_view weeklyResetAfterLabelPattern =
    R"((?is)weekly[\s\S]{0,240}?\b((?:Jan(?:uary)?|Feb(?:ruary)?|Mar(?:ch)?|Apr(?:il)?|May|Jun(?:e)?|Jul(?:y)?|Aug(?:ust)?|Sep(?:t(?:ember)?)?|Oct(?:ober)?|Nov(?:ember)?|Dec(?:ember)?)\.?\s+\d{1,2}(?:,?\s+\d{4})?)\b)";
inline constexpr std::string_view weeklyResetBeforeLabelPattern =
    R"((?is)\b((?:Jan(?:uary)?|Feb(?:ruary)?|Mar(?:ch)?|Apr(?:il)?|May|Jun(?:e)?|Jul(?:y)?|Aug(?:ust)?|Sep(?:t(?:ember)?)?|Oct(?:ober)?|Nov(?:ember)?|Dec(?:ember)?)\.?\s+\d{1,2}(?:,?\s+\d{4})?)\b[\s\S]{0,240}?weekly)";
// The monthly window's reset date anywhere in its section.
inline constexpr std::string_view monthDatePattern =
    R"((?i)\b((?:Jan(?:uary)?|Feb(?:ruary)?|Mar(?:ch)?|Apr(?:il)?|May|Jun(?:e)?|Jul(?:y)?|Aug(?:ust)?|Sep(?:t(?:ember)?)?|Oct(?:ober)?|Nov(?:ember)?|Dec(?:ember)?)\.?\s+\d{1,2}(?:,?\s+\d{4})?)\b)";
// The pro plan's whole item title, case as Codex writes it; 0 to 100, no leading zero.
inline constexpr std::string_view proTitlePattern = R"(\AWeekly limit (100|[1-9]?\d)% left\z)";
// A whole line that is a usage value: a percentage ("72% left", "--% left" while loading), or a
// reset time or date, with or without "Resets" before it; case-insensitive.
inline constexpr std::string_view usageValueLinePattern =
    R"(^\s*(?:(?:\d{1,3}|--)\s*%(?:\s+left)?|(?:resets\s+)?(?:\d{1,2}:\d{2}\s*(?:AM|PM)|(?:Jan(?:uary)?|Feb(?:ruary)?|Mar(?:ch)?|Apr(?:il)?|May|Jun(?:e)?|Jul(?:y)?|Aug(?:ust)?|Sep(?:t(?:ember)?)?|Oct(?:ober)?|Nov(?:ember)?|Dec(?:ember)?)\.?\s+\d{1,2}(?:,?\s+\d{4})?|--))\s*$)";
// The pro plan's older layout: a value line under the "Usage" label.
inline constexpr std::string_view proValuePattern = R"(^\s*(100|[1-9]?\d)\s*%\s+left\s*$)";

// Compiled once per thread.
const Regex& fiveHourLabel();
const Regex& percentage();
const Regex& fiveHourResetAfterLabel();
const Regex& fiveHourResetBeforeLabel();
const Regex& weeklyResetAfterLabel();
const Regex& weeklyResetBeforeLabel();
const Regex& monthDate();
const Regex& proTitle();
const Regex& proValue();
const Regex& usageValueLine();

// The comparisons, each as the searches and parsers make it.
bool isProfileLabel(const std::optional<std::string>& text);
// A menu line that is the usage row itself.
bool isUsageRemainingLine(std::string_view line);
// Any text that mentions the usage row.
bool mentionsUsageRemaining(std::string_view text);
bool isProUsageItemLabel(std::string_view line);
bool isFiveHourLabel(std::string_view line);
bool isWeeklyLabel(std::string_view line);
bool isMonthlyLabel(std::string_view line);
// Any label above.
bool isVocabularyLabel(std::string_view text);
// What a recording keeps of Codex's text: our labels, usage values, the pro plan's title.
bool isUsageValueText(std::string_view text);

}  // namespace gaugely::codexVocabulary
