#include "tools/gaugely/UsageFormats.h"

#include <algorithm>
#include <sstream>

#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Notifications/UsageNotificationDispatcher.h"
#include "Meterlane/Presentation/DatedTimeText.h"
#include "Meterlane/Presentation/PopoverInputFromReader.h"
#include "Meterlane/Presentation/PopoverViewModel.h"

namespace gaugely::tool {

namespace {

constexpr std::string_view noValue = "\u2014";

std::string isoText(Date date, const TimeFormatter& formatter) {
    return formatter.format(date, "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC").value_or("");
}

Json optionalIsoText(std::optional<Date> date, const TimeFormatter& formatter) {
    return date ? Json(isoText(*date, formatter)) : Json();
}

std::string runsOutText(const UsagePaceEstimate& pace, const UsageFormatContext& context) {
    return pace.runsOutAt ? datedTimeText(*pace.runsOutAt, context.now, false, context.formatter)
                          : std::string();
}

PlanQuotaConfiguration planConfiguration(const UsageReader& reader) {
    return PlanQuotaConfiguration::configuration(reader.codexPlan());
}

// Pango markup is what Waybar reads in its text and tooltip, unless told otherwise.
std::string escapedForPango(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

// The popover's content in a few lines: each window's share and reset, its pace, the status and
// the time of the reading.
std::string tooltipText(const UsageReader& reader, const UsageFormatContext& context) {
    PopoverInput input = popoverInput(reader);
    input.datedTimesNow = context.now;
    const PopoverViewModel popover = PopoverViewModel::make(input, context.formatter);
    std::vector<std::string> lines{std::string(title(reader.codexPlan()))};
    for (const UsageSection& section : popover.sections) {
        std::string line = section.title + " " + section.percentage;
        if (section.resetLine) {
            line += " \u00B7 " + *section.resetLine;
        }
        lines.push_back(std::move(line));
        if (section.paceLine) {
            lines.push_back(*section.paceLine);
        }
    }
    if (popover.statusLine) {
        lines.push_back(popover.statusLine->text);
    }
    if (popover.lastUpdatedText) {
        lines.push_back(*popover.lastUpdatedText);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

}  // namespace

Json readingJson(const UsageReader& reader, const UsageFormatContext& context) {
    const TimeFormatter& formatter = context.formatter;
    Json json = Json::object();
    json["type"] = "reading";
    json["plan"] = rawValue(reader.codexPlan());
    json["source"] = rawValue(reader.snapshotSource());
    json["readAt"] = optionalIsoText(reader.lastUpdated(), formatter);
    json["menuBar"] = reader.menuBarUsageSummary();
    Json windows = Json::array();
    const PlanQuotaConfiguration configuration = planConfiguration(reader);
    for (const QuotaWindow window : requiredWindows(configuration.schema)) {
        Json entry = Json::object();
        const std::string& text = reader.snapshot().percentage(window);
        const auto remaining = percentageValue(text);
        entry["window"] = rawValue(window);
        entry["title"] = configuration.lowUsageNotificationTitle(window);
        entry["remaining"] = remaining ? Json(*remaining) : Json();
        entry["text"] = text;
        entry["reset"] = reader.snapshot().reset(window);
        entry["resetsAt"] = optionalIsoText(reader.windowResetsAt(window), formatter);
        // The window's reset time has passed with no newer line: shown as reset.
        entry["resetPassed"] = reader.windowsShownAsReset().contains(window);
        const UsagePaceEstimate pace = reader.usagePace(window);
        if (pace.kind == UsagePaceEstimate::Kind::noEstimate) {
            entry["pace"] = Json();
        } else {
            Json paceJson = Json::object();
            paceJson["runsOut"] = pace.kind == UsagePaceEstimate::Kind::runsOut;
            paceJson["runsOutAt"] = optionalIsoText(pace.runsOutAt, formatter);
            paceJson["text"] = usagePaceText(window, pace, runsOutText(pace, context)).value_or("");
            entry["pace"] = std::move(paceJson);
        }
        windows.push_back(std::move(entry));
    }
    json["windows"] = std::move(windows);
    return json;
}

Json notificationJson(const NotificationRequest& request) {
    Json json = Json::object();
    json["type"] = "notification";
    const auto info = [&](std::string_view key) {
        const auto found = request.userInfo.find(std::string(key));
        return found == request.userInfo.end() ? std::string() : found->second;
    };
    const std::string kind = info(notificationKindKey);
    json["kind"] = kind.empty() ? Json() : Json(kind);
    Json windows = Json::array();
    std::istringstream names(info(notificationWindowsKey));
    for (std::string name; names >> name;) {
        windows.push_back(name);
    }
    json["window"] = windows.empty() ? Json() : windows.front();
    json["windows"] = std::move(windows);
    json["title"] = request.title;
    json["body"] = request.body;
    return json;
}

Json statusJson(const std::string& text) {
    Json json = Json::object();
    json["type"] = "status";
    json["text"] = text;
    return json;
}

std::map<std::string, std::string> statusLineValues(
    const UsageReader& reader, bool hasReading, const UsageFormatContext& context,
    const std::function<bool(std::string_view name)>& wanted) {
    const auto wants = [&wanted](std::string_view name) { return !wanted || wanted(name); };
    std::map<std::string, std::string> values;
    values["plan"] = title(reader.codexPlan());
    if (wants("menubar")) {
        values["menubar"] =
            hasReading ? reader.menuBarUsageSummary()
                       : menuBarUsageSummary(true, reader.codexPlan(), reader.menuBarDisplay(), {});
    }
    const auto readAt = reader.lastUpdated();
    values["age"] = hasReading && readAt ? statusLineAgeText(context.now.timeIntervalSince(*readAt))
                                         : std::string();
    const std::vector<QuotaWindow>& planWindows = requiredWindows(planConfiguration(reader).schema);
    for (const QuotaWindow window : allCases<QuotaWindow>()) {
        const std::string name(statusLineWindowName(window));
        const bool shown = hasReading && std::find(planWindows.begin(), planWindows.end(),
                                                   window) != planWindows.end();
        const std::string& share = reader.snapshot().percentage(window);
        values[name] = shown && percentageValue(share) ? share : std::string(noValue);
        if (!shown) {
            continue;
        }
        const auto resetsAt = reader.windowResetsAt(window);
        if (!wants(name + ".reset")) {
            // Not shown: no time formatted.
        } else if (resetsAt && reader.snapshotSource() == UsageSource::codexLogs) {
            values[name + ".reset"] =
                datedTimeText(*resetsAt, context.now, false, context.formatter);
        } else if (reader.snapshot().reset(window) != notFoundText) {
            values[name + ".reset"] = reader.snapshot().reset(window);
        }
        if (wants(name + ".pace")) {
            const UsagePaceEstimate pace = reader.usagePace(window);
            values[name + ".pace"] = statusLinePaceText(pace, runsOutText(pace, context));
        }
    }
    return values;
}

Json waybarJson(const UsageReader& reader, bool hasReading, const std::string& status,
                const std::optional<StatusLineTemplate>& line, const UsageFormatContext& context) {
    const auto values = statusLineValues(
        reader, hasReading, context,
        [&line](std::string_view name) { return line ? line->uses(name) : name == "menubar"; });
    Json json = Json::object();
    json["text"] = escapedForPango(line ? line->expand(values) : values.at("menubar"));
    if (!hasReading) {
        json["alt"] = "unavailable";
        json["tooltip"] = escapedForPango(std::string(title(reader.codexPlan())) + "\n" + status);
        json["class"] = Json::array({"unavailable"});
        return json;
    }
    const auto remaining = quotaPercentages(reader.snapshot(), planConfiguration(reader).schema);
    const UsageLevel level = usageLevel(remaining, reader.lowUsageAlertSettings());
    json["alt"] = usageLevelName(level);
    json["tooltip"] = escapedForPango(tooltipText(reader, context));
    Json classes = Json::array({usageLevelName(level)});
    if (reader.currentSnapshotMayBeStale()) {
        classes.push_back("stale");
    }
    json["class"] = std::move(classes);
    if (!remaining.empty()) {
        int lowest = 100;
        for (const auto& [window, percent] : remaining) {
            lowest = std::min(lowest, percent);
        }
        json["percentage"] = lowest;
    }
    return json;
}

}  // namespace gaugely::tool
