// What the app and the tool say about reading Codex's logs: the chosen folder as a user writes it
// ("~/.codex", not the expanded home path), and one status line saying where the logs were looked
// for and, when nothing came of it, why. Pure text; the caller supplies the time of day.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "Meterlane/Reader/CodexLogSource.h"

namespace gaugely {

// `folder` with the home folder written as "~"; any other path as it is.
std::string abbreviatedCodexFolder(std::string_view folder, std::string_view homeFolder);

// The sessions folder under a Codex folder written as above ("~/.codex/sessions").
std::string codexSessionsFolder(std::string_view shownCodexFolder);

// The time of day a user reads ("2:04 PM").
using TimeOfDayText = std::function<std::string(Date date)>;

// Where the words that say how to choose a plan point: the settings window's picker, or the
// command's option.
enum class PlanChoiceHint { settings, commandLine };

// "Reading ~/.codex/sessions · newest usage line at 2:04 PM", or why nothing can be shown.
std::string codexLogsStatusText(const CodexLogsState& state, std::string_view shownSessionsFolder,
                                CodexPlan plan, const TimeOfDayText& timeOfDay,
                                PlanChoiceHint hint = PlanChoiceHint::settings);

}  // namespace gaugely
