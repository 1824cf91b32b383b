// What status lines (a shell prompt, tmux, a desktop bar) show of a reading: the placeholders a
// user's template may hold and their texts, and how low the usage stands, for a bar's colour.
// Pure text and values; the caller gathers the reading and writes the times.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/UsagePace.h"

namespace gaugely {

// A template such as "5h {5h} · W {weekly} ({age} ago)". Placeholders are names in braces; "{{"
// and "}}" are literal braces. The names:
//
//   {plan}                         the plan: "Plus", "Free / Go", "Pro"
//   {menubar}                      the menu bar text: "5h 72% · W 40%"
//   {age}                          the reading's age: "0m", "4m", "2h", "3d"
//   {5h} {weekly} {monthly}        the window's remaining share: "72%", or "—"
//   {5h.reset} {weekly.reset} …    when the window resets: "21:15", "Nov 28, 09:00"
//   {5h.pace} {weekly.pace} …      its pace: "runs out 20:05", "lasts until reset"
//
// A window the reading lacks shows "—" for its share and nothing for its reset and pace.
class StatusLineTemplate {
  public:
    // The template, or why it cannot be used (an unknown name, a brace left open).
    static std::variant<StatusLineTemplate, std::string> parse(std::string_view text);

    // Every name a template may hold, in the order above.
    static const std::vector<std::string>& placeholderNames();

    // The line with each placeholder replaced by its value; a name without a value is empty.
    std::string expand(const std::map<std::string, std::string>& values) const;
    // Whether the template holds the placeholder `name`.
    bool uses(std::string_view name) const;

  private:
    struct Piece {
        bool isPlaceholder = false;
        std::string text;  // the literal text, or the placeholder's name
    };
    std::vector<Piece> pieces_;
};

// The name a window goes by in templates: "5h", "weekly", "monthly".
std::string_view statusLineWindowName(QuotaWindow window);

// "0m" under a minute, then whole minutes, hours or days: short enough for a prompt.
std::string statusLineAgeText(double seconds);

// The pace in a few words: "runs out " + the time, "lasts until reset", or nothing without an
// estimate.
std::string statusLinePaceText(const UsagePaceEstimate& estimate, const std::string& runsOutTime);

// How low the usage stands, by the thresholds the low-usage notifications use: `low` when a window
// is at or below its threshold (whether its notification is on or not), `exhausted` when one is
// at 0%.
enum class UsageLevel { normal, low, exhausted };

UsageLevel usageLevel(const std::vector<std::pair<QuotaWindow, int>>& remaining,
                      const LowUsageAlertSettings& thresholds);

std::string_view usageLevelName(UsageLevel level);

}  // namespace gaugely
