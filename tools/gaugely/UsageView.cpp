#include "tools/gaugely/UsageView.h"

#include <unistd.h>

#include <utility>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Presentation/CodexLogsPresentation.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "tools/gaugely/SimulationView.h"
#include "tools/gaugely/StateText.h"
#include "tools/gaugely/Terminal.h"

namespace gaugely::tool {

UsageView::UsageView(std::ostream& out, std::ostream& err, const TimeFormatter& formatter,
                     std::string homeFolder, Style style)
    : out_(out),
      err_(err),
      formatter_(formatter),
      homeFolder_(std::move(homeFolder)),
      style_(style),
      panel_(out, [] { return static_cast<std::size_t>(terminalColumns(STDOUT_FILENO, 80)); }) {}

std::string UsageView::isoText(Date date) const {
    return formatter_.format(date, "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC").value_or("");
}

std::string UsageView::statusLine(const UsageReader& reader) const {
    return codexLogsStatusText(
        reader.codexLogsState(),
        codexSessionsFolder(abbreviatedCodexFolder(reader.codexLogsFolderPath(), homeFolder_)),
        reader.codexPlan(), [this](Date date) { return formatter_.timeOfDay(date, false); },
        PlanChoiceHint::commandLine);
}

void UsageView::reading(const UsageReader& reader) {
    const GaugelyScreen screen = captureScreen(reader, formatter_);
    if (style_ == Style::json) {
        Json json = Json::object();
        json["plan"] = rawValue(reader.codexPlan());
        json["source"] = rawValue(reader.snapshotSource());
        json["readAt"] = reader.lastUpdated() ? Json(isoText(*reader.lastUpdated())) : Json();
        json["menuBar"] = screen.menuBarText;
        Json windows = Json::array();
        const auto configuration = PlanQuotaConfiguration::configuration(reader.codexPlan());
        for (const QuotaWindow window : requiredWindows(configuration.schema)) {
            Json entry = Json::object();
            entry["window"] = rawValue(window);
            entry["title"] = configuration.lowUsageNotificationTitle(window);
            entry["remaining"] = reader.snapshot().percentage(window);
            entry["reset"] = reader.snapshot().reset(window);
            const auto resetsAt = reader.windowResetsAt(window);
            entry["resetsAt"] = resetsAt ? Json(isoText(*resetsAt)) : Json();
            // The window's reset time has passed with no newer line: shown as reset.
            entry["resetPassed"] = reader.windowsShownAsReset().contains(window);
            const UsagePaceEstimate pace = reader.usagePace(window);
            if (pace.kind == UsagePaceEstimate::Kind::noEstimate) {
                entry["pace"] = Json();
            } else {
                Json paceJson = Json::object();
                paceJson["runsOut"] = pace.kind == UsagePaceEstimate::Kind::runsOut;
                paceJson["runsOutAt"] = pace.runsOutAt ? Json(isoText(*pace.runsOutAt)) : Json();
                paceJson["text"] =
                    usagePaceText(
                        window, pace,
                        pace.runsOutAt
                            ? usagePaceTimeText(*pace.runsOutAt, reader.lastUpdated(), formatter_)
                            : std::string())
                        .value_or("");
                entry["pace"] = std::move(paceJson);
            }
            windows.push_back(std::move(entry));
        }
        json["windows"] = std::move(windows);
        out_ << json.dump() << std::endl;
        return;
    }
    std::vector<std::string> lines;
    lines.push_back(std::string(title(reader.codexPlan())) + " \u00B7 " + statusLine(reader));
    lines.push_back(" " + menuBarLabelText(screen.menuBarText));
    for (const std::string& line : popoverLines(screen.popover)) {
        // The app's refresh controls mean nothing here: this command never reads the menu.
        if (line == screen.popover.automaticRefreshStatusText ||
            line == "[" + screen.popover.refreshActionTitle + "]") {
            continue;
        }
        lines.push_back(" " + line);
    }
    draw(lines);
}

void UsageView::draw(std::vector<std::string> lines) {
    if (style_ == Style::live) {
        lines.push_back("\u2500\u2500 Ctrl-C stops \u2500\u2500");
        panel_.draw(std::move(lines));
        return;
    }
    if (drewAny_) {
        out_ << "\n";
    }
    for (const std::string& line : lines) {
        out_ << line << "\n";
    }
    drewAny_ = true;
    out_.flush();
}

void UsageView::event(const std::string& line) {
    if (style_ == Style::live) {
        panel_.event(line);
        return;
    }
    std::ostream& stream = style_ == Style::json ? err_ : out_;
    stream << line << "\n";
    stream.flush();
}

void UsageView::notice(const std::string& line) {
    if (style_ == Style::live) {
        panel_.event(line);
        return;
    }
    err_ << line << "\n";
    err_.flush();
}

void UsageView::nothingFound(const UsageReader& reader) {
    err_ << "gaugely usage: " << statusLine(reader) << "\n";
    if (reader.codexLogsState().refusal == CodexLogRefusal::missingWindow) {
        err_ << "gaugely usage: choose your plan with --plan freeGo, --plan plus or --plan pro\n";
    }
}

void UsageView::waiting(const UsageReader& reader) {
    if (style_ == Style::json) {
        return;
    }
    draw({std::string(title(reader.codexPlan())) + " \u00B7 " + statusLine(reader)});
}

void UsageView::close() {
    panel_.close();
    out_.flush();
}

}  // namespace gaugely::tool
