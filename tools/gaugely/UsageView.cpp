#include "tools/gaugely/UsageView.h"

#include <utility>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Presentation/CodexLogsPresentation.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "tools/gaugely/SimulationView.h"
#include "tools/gaugely/StateText.h"

namespace gaugely::tool {

UsageView::UsageView(std::ostream& out, std::ostream& err, const TimeFormatter& formatter,
                     std::string homeFolder, Style style)
    : out_(out),
      err_(err),
      formatter_(formatter),
      homeFolder_(std::move(homeFolder)),
      style_(style) {}

std::string UsageView::isoText(Date date) const {
    return formatter_.format(date, "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC").value_or("");
}

std::string UsageView::statusLine(const UsageReader& reader) const {
    return codexLogsStatusText(
        reader.codexLogsState(),
        codexSessionsFolder(abbreviatedCodexFolder(reader.codexLogsFolderPath(), homeFolder_)),
        reader.codexPlan(), [this](Date date) { return formatter_.timeOfDay(date, false); });
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

void UsageView::draw(const std::vector<std::string>& lines) {
    if (style_ == Style::live) {
        // Back over the last drawing, so the reading stays in one place.
        for (std::size_t i = 0; i < drawnLines_; ++i) {
            out_ << "\x1b[1A\x1b[2K";
        }
        drawnLines_ = lines.size() + 1;
    } else if (drawnLines_ > 0) {
        out_ << "\n";
    }
    for (const std::string& line : lines) {
        out_ << line << "\n";
    }
    if (style_ == Style::live) {
        out_ << "\u2500\u2500 Ctrl-C stops \u2500\u2500\n";
    }
    drawnLines_ = std::max<std::size_t>(drawnLines_, 1);
    out_.flush();
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
    out_.flush();
}

}  // namespace gaugely::tool
