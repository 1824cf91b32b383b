// The shapes `gaugely usage` writes for programs rather than people: the JSON objects of --json
// (one a line, each with its "type"), the one line of --format TEMPLATE, and the object Waybar's
// custom modules read (--waybar). Each is made from the reader's state as it stands; the view
// decides when to print.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Platform/UserNotificationCenter.h"
#include "Meterlane/Presentation/StatusLinePresentation.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely::tool {

// What the shapes need besides the reader: the formatter for times, and now.
struct UsageFormatContext {
    const TimeFormatter& formatter;
    Date now;
};

// {"type":"reading", "plan", "source", "readAt", "menuBar", "windows": [{"window", "title",
// "remaining" (a number, null when Codex gave none), "text" ("72%"), "reset", "resetsAt",
// "pace"}]}.
Json readingJson(const UsageReader& reader, const UsageFormatContext& context);

// {"type":"notification", "kind" ("lowUsage" or "reset"), "window" (the first window it is
// about), "windows", "title", "body"}.
Json notificationJson(const NotificationRequest& request);

// {"type":"status", "text"}: why there is no reading to show while watching.
Json statusJson(const std::string& text);

// The values of the placeholders `wanted` names (all when none is given); without a reading,
// only the plan and "—" for each share. Only what a template shows is worked out: a status line
// in a prompt formats no time it does not print.
std::map<std::string, std::string> statusLineValues(
    const UsageReader& reader, bool hasReading, const UsageFormatContext& context,
    const std::function<bool(std::string_view name)>& wanted = {});

// Waybar's object: "text" (the template's line, or the menu bar text), "alt" and "class" (the
// usage level, "stale" beside it when the reading may be outdated, "unavailable" without one),
// "tooltip" (the popover's lines, or `status` without a reading) and "percentage" (the lowest
// share of the plan's windows). Text and tooltip are escaped for Pango markup, which Waybar reads.
Json waybarJson(const UsageReader& reader, bool hasReading, const std::string& status,
                const std::optional<StatusLineTemplate>& line, const UsageFormatContext& context);

}  // namespace gaugely::tool
