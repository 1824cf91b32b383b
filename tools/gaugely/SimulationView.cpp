#include "tools/gaugely/SimulationView.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "Meterlane/Presentation/PopoverInputFromReader.h"
#include "Meterlane/Presentation/RefreshControlPresentation.h"
#include "tools/gaugely/Terminal.h"

namespace gaugely::tool {

namespace {

// The stamp "[+00:12.400] " and the indent that lines continuation rows up under its text.
constexpr std::size_t stampWidth = 13;
constexpr std::size_t barWidth = 20;
constexpr std::string_view gaugeGlyph = "\u25D4";  // ◔

// The title, share, bar and reset on one line; the pace, a sentence of its own, on the next,
// under the bar, so neither runs off an 80-column terminal.
std::vector<std::string> sectionLines(const UsageSection& section, std::size_t titleWidth) {
    std::string line = paddedToWidth(section.title, titleWidth) + "  " +
                       paddedToWidth(section.percentage, 4) + "  ";
    const std::size_t barColumn = displayWidth(line);
    line += progressBar(section.progress, barWidth);
    if (section.resetLine) {
        line += "  " + *section.resetLine;
    }
    std::vector<std::string> lines{line};
    if (section.paceLine) {
        lines.push_back(std::string(barColumn, ' ') + *section.paceLine);
    }
    return lines;
}

}  // namespace

GaugelyScreen captureScreen(const UsageReader& reader, const TimeFormatter& formatter) {
    GaugelyScreen screen;
    screen.menuBarText = reader.menuBarUsageSummary();
    screen.refreshing = reader.automationInProgress();
    screen.countdown = reader.countdown();
    screen.popover = PopoverViewModel::make(popoverInput(reader), formatter);
    return screen;
}

GaugelyScreen captureScreen(const AppAssembly& app) {
    const MenuBarLabelPresentation label = app.menuBarLabel(true);
    GaugelyScreen screen;
    screen.menuBarText = label.summary;
    if (label.showsUpdateBadge) {
        screen.menuBarText +=
            std::string(" \u25CF ") + MenuBarLabelPresentation::updateBadgeAccessibilityLabel;
    }
    // The item is disabled exactly while a refresh runs.
    screen.refreshing = !app.refreshControl().isEnabled;
    screen.countdown = app.reader().countdown();
    screen.popover = app.popover();
    return screen;
}

std::string menuBarLabelText(const std::string& summary) {
    return std::string(gaugeGlyph) + " " + summary;
}

std::string refreshItemText(bool refreshing) {
    const RefreshControlPresentation item = RefreshControlPresentation::make(refreshing);
    std::string text = refreshing ? "\u25CC " : "\u21BB ";  // ◌ or ↻
    text += item.toolTip;
    if (!item.isEnabled) {
        text += " (disabled)";
    }
    return text;
}

std::vector<std::string> popoverLines(const PopoverViewModel& popover) {
    std::vector<std::string> lines;
    if (popover.blockTitle) {
        lines.push_back(*popover.blockTitle);
    }
    if (popover.blockText) {
        lines.push_back(*popover.blockText);
    }
    if (popover.blockActionTitle) {
        lines.push_back("[" + *popover.blockActionTitle + "]");
    }
    std::size_t titleWidth = 0;
    for (const UsageSection& section : popover.sections) {
        titleWidth = std::max(titleWidth, displayWidth(section.title));
    }
    for (const UsageSection& section : popover.sections) {
        for (std::string& line : sectionLines(section, titleWidth)) {
            lines.push_back(std::move(line));
        }
    }
    if (popover.showsFooter) {
        if (popover.statusLine) {
            // The orange of a warning becomes a mark in plain text.
            lines.push_back((popover.statusLine->style == StatusLineStyle::warning ? "! " : "") +
                            popover.statusLine->text);
        }
        if (popover.lastUpdatedText) {
            lines.push_back(*popover.lastUpdatedText);
        }
        lines.push_back(popover.automaticRefreshStatusText);
        lines.push_back("[" + popover.refreshActionTitle + "]");
    }
    if (popover.inputMonitoringNotice) {
        lines.push_back(popover.inputMonitoringNotice->text + " [" +
                        popover.inputMonitoringNotice->actionTitle + "]");
    }
    if (popover.updatedNote) {
        lines.push_back(*popover.updatedNote);
    }
    if (popover.updateOffer) {
        lines.push_back(popover.updateOffer->text + " [" + popover.updateOffer->actionTitle + "]");
    }
    return lines;
}

std::string progressBar(double progress, std::size_t width) {
    const double clamped = std::isfinite(progress) ? std::min(std::max(progress, 0.0), 1.0) : 0;
    const auto filled = static_cast<std::size_t>(std::lround(clamped * static_cast<double>(width)));
    std::string bar;
    for (std::size_t i = 0; i < width; ++i) {
        bar += i < filled ? "\u2588" : "\u2591";  // █ or ░
    }
    return bar;
}

std::string elapsedStamp(double seconds) {
    const long long milliseconds = std::llround(std::max(seconds, 0.0) * 1000.0);
    const long long hours = milliseconds / 3'600'000;
    const long long minutes = milliseconds / 60'000 % 60;
    const double rest = static_cast<double>(milliseconds % 60'000) / 1000.0;
    char text[40];
    if (hours > 0) {
        std::snprintf(text, sizeof text, "+%lld:%02lld:%06.3f", hours, minutes, rest);
    } else {
        std::snprintf(text, sizeof text, "+%02lld:%06.3f", minutes, rest);
    }
    return text;
}

bool isRunOutcomeLine(std::string_view traceLine) {
    return traceLine.find("final outcome ") != std::string_view::npos;
}

SimulationView::SimulationView(std::ostream& out, Style style, std::function<double()> elapsed,
                               std::size_t columns, bool colour)
    : out_(out),
      style_(style),
      elapsed_(std::move(elapsed)),
      columns_(std::max<std::size_t>(columns, 40)),
      colour_(colour && style == Style::live),
      panel_(out, [this] { return columns_; }) {}

void SimulationView::say(std::string_view text) {
    panel_.clear();
    out_ << text << "\n";
    out_.flush();
}

void SimulationView::queue(std::string text, Emphasis emphasis) {
    events_.push_back(Event{elapsed_(), std::move(text), {}, emphasis});
}

void SimulationView::note(std::string_view text) {
    queue("\u25B8 " + std::string(text), Emphasis::userAction);  // ▸
}

void SimulationView::logEntry(const LogEntry& entry) {
    queue(entry.category + ": " + entry.line);
}

void SimulationView::notification(const NotificationRequest& request) {
    queue("notification: [" + request.title + "] " + request.body, Emphasis::notification);
}

void SimulationView::alert(const AlertRequest& request) {
    Event event{elapsed_(), "alert: " + request.message, {}, Emphasis::notification};
    std::size_t start = 0;
    while (start <= request.informativeText.size()) {
        const std::size_t end = request.informativeText.find('\n', start);
        event.more.push_back(request.informativeText.substr(start, end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    std::string controls;
    for (const std::string& button : request.buttons) {
        controls += (controls.empty() ? "[" : " [") + button + "]";
    }
    if (!request.choices.empty()) {
        controls += "  choices:";
        for (std::size_t i = 0; i < request.choices.size(); ++i) {
            controls += (i ? " | " : " ") + request.choices[i];
        }
    }
    event.more.push_back(controls);
    events_.push_back(std::move(event));
}

void SimulationView::printEvent(const Event& event) {
    // Cyan for what the user did, bold yellow for what reached them.
    const char* start = !colour_                                   ? ""
                        : event.emphasis == Emphasis::userAction   ? "\x1b[36m"
                        : event.emphasis == Emphasis::notification ? "\x1b[1;33m"
                                                                   : "";
    const char* end = *start != '\0' ? "\x1b[0m" : "";
    out_ << "[" << elapsedStamp(event.at) << "] " << start << event.text << end << "\n";
    for (const std::string& line : event.more) {
        // An empty line stays empty rather than ending in spaces.
        out_ << (line.empty() ? std::string() : std::string(stampWidth + 2, ' ') + line) << "\n";
    }
}

std::string SimulationView::rule(std::string_view title) const {
    std::string line = "\u2500\u2500 " + std::string(title) + " ";  // ──
    const std::size_t width = displayWidth(line);
    for (std::size_t i = width; i + 1 < columns_; ++i) {
        line += "\u2500";
    }
    return line;
}

void SimulationView::drawPanel(const GaugelyScreen& screen, std::string_view footer) {
    std::vector<std::string> lines;
    lines.push_back(rule("menu bar"));
    const std::string label = " " + menuBarLabelText(screen.menuBarText);
    const std::string item = refreshItemText(screen.refreshing);
    const std::size_t gap = columns_ > displayWidth(label) + displayWidth(item) + 4
                                ? columns_ - 2 - displayWidth(label) - displayWidth(item)
                                : 3;
    lines.push_back(label + std::string(gap, ' ') + item);
    lines.push_back(rule("popover"));
    for (const std::string& line : popoverLines(screen.popover)) {
        lines.push_back(" " + line);
    }
    lines.push_back(rule(footer));
    panel_.draw(std::move(lines));
}

void SimulationView::show(const GaugelyScreen& screen, std::string_view footer) {
    if (style_ == Style::live) {
        panel_.clear();
        for (const Event& event : events_) {
            printEvent(event);
        }
        events_.clear();
        drawPanel(screen, footer);
        out_.flush();
        return;
    }

    for (const Event& event : events_) {
        printEvent(event);
    }
    events_.clear();
    const double now = elapsed_();
    const std::string menuBar =
        menuBarLabelText(screen.menuBarText) + "   " + refreshItemText(screen.refreshing);
    if (shownMenuBar_ != menuBar) {
        printEvent(Event{now, "menu bar: " + menuBar, {}});
        shownMenuBar_ = menuBar;
    }
    if (shownCountdown_ != screen.countdown) {
        if (screen.countdown) {
            printEvent(Event{now, "countdown: " + std::to_string(*screen.countdown), {}});
        }
        shownCountdown_ = screen.countdown;
    }
    std::vector<std::string> popover = popoverLines(screen.popover);
    if (shownPopover_ != popover) {
        printEvent(Event{now, "popover:", popover});
        shownPopover_ = std::move(popover);
    }
    out_.flush();
}

void SimulationView::close() {
    panel_.close();
    out_.flush();
}

}  // namespace gaugely::tool
