#include "tools/gaugely/UsageView.h"

#include <unistd.h>

#include <sstream>
#include <utility>

#include "Meterlane/Presentation/CodexFolderSuggestion.h"
#include "Meterlane/Presentation/CodexLogsPresentation.h"
#include "Meterlane/Presentation/DatedTimeText.h"
#include "Meterlane/Presentation/PopoverInputFromReader.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "tools/gaugely/SimulationView.h"
#include "tools/gaugely/Terminal.h"
#include "tools/gaugely/UsageFormats.h"

namespace gaugely::tool {

UsageView::UsageView(std::ostream& out, std::ostream& err, const TimeFormatter& formatter,
                     std::function<Date()> now, std::string homeFolder, Style style,
                     std::optional<StatusLineTemplate> line)
    : out_(out),
      err_(err),
      formatter_(formatter),
      now_(std::move(now)),
      homeFolder_(std::move(homeFolder)),
      style_(style),
      line_(std::move(line)),
      panel_(out, [] { return static_cast<std::size_t>(terminalColumns(STDOUT_FILENO, 80)); }) {}

std::string UsageView::statusLine(const UsageReader& reader) const {
    const Date now = now_();
    return codexLogsStatusText(
        reader.codexLogsState(),
        codexSessionsFolder(abbreviatedCodexFolder(reader.codexLogsFolderPath(), homeFolder_)),
        reader.codexPlan(),
        [this, now](Date date) { return datedTimeText(date, now, false, formatter_); },
        PlanChoiceHint::commandLine);
}

void UsageView::reading(const UsageReader& reader) {
    const UsageFormatContext context{formatter_, now_()};
    switch (style_) {
        case Style::json:
            printLine(readingJson(reader, context).dump());
            return;
        case Style::format:
        case Style::waybar:
            statusLineOutput(reader, true);
            return;
        case Style::text:
        case Style::live:
            break;
    }
    PopoverInput input = popoverInput(reader);
    input.datedTimesNow = context.now;
    const PopoverViewModel popover = PopoverViewModel::make(input, formatter_);
    std::vector<std::string> lines;
    lines.push_back(std::string(title(reader.codexPlan())) + " \u00B7 " + statusLine(reader));
    lines.push_back(" " + menuBarLabelText(reader.menuBarUsageSummary()));
    for (const std::string& line : popoverLines(popover)) {
        // The app's refresh controls mean nothing here: this command never reads the menu.
        if (line == popover.automaticRefreshStatusText ||
            line == "[" + popover.refreshActionTitle + "]") {
            continue;
        }
        lines.push_back(" " + line);
    }
    draw(lines);
}

void UsageView::statusLineOutput(const UsageReader& reader, bool hasReading) {
    const UsageFormatContext context{formatter_, now_()};
    std::string line;
    if (style_ == Style::waybar) {
        line = waybarJson(reader, hasReading, statusLine(reader), line_, context).dump();
    } else if (line_) {
        line = line_->expand(
            statusLineValues(reader, hasReading, context,
                             [this](std::string_view name) { return line_->uses(name); }));
    }
    if (line != lastLine_) {
        printLine(line);
        lastLine_ = std::move(line);
    }
}

void UsageView::refresh(const UsageReader& reader, bool hasReading) {
    if (showsAge() && lastLine_) {
        statusLineOutput(reader, hasReading);
    }
}

void UsageView::printLine(const std::string& line) {
    out_ << line << "\n";
    out_.flush();
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

void UsageView::notification(const NotificationRequest& request) {
    const std::string text = "notification: " + request.title + ": " + request.body;
    switch (style_) {
        case Style::live:
            panel_.event(text);
            return;
        case Style::json:
            printLine(notificationJson(request).dump());
            return;
        case Style::text:
            printLine(text);
            return;
        case Style::format:
        case Style::waybar:
            // A bar reads every line on standard output as its new text.
            err_ << "gaugely usage: " << text << "\n";
            err_.flush();
            return;
    }
}

void UsageView::notice(const std::string& line) {
    if (style_ == Style::live) {
        panel_.event(line);
        return;
    }
    err_ << line << "\n";
    err_.flush();
}

// What to do about it: where Codex's folder is named, and the folder meant when `sessions` was
// named instead.
void UsageView::hints(const UsageReader& reader, std::ostream& stream) const {
    const CodexLogsState& state = reader.codexLogsState();
    if (state.refusal == CodexLogRefusal::missingWindow) {
        stream << "gaugely usage: choose your plan with --plan freeGo, --plan plus or --plan pro\n";
    }
    if (!codexLogsAreMissing(state)) {
        return;
    }
    const std::string shown = abbreviatedCodexFolder(reader.codexLogsFolderPath(), homeFolder_);
    if (const auto above = codexFolderAboveSessions(shown)) {
        stream << "gaugely usage: " << shown
               << " looks like the sessions folder inside Codex's folder; try --codex-home "
               << *above << "\n";
        return;
    }
    stream << "gaugely usage: Codex's folder was looked for at " << shown
           << "; name another with --codex-home DIR or the CODEX_HOME environment variable\n";
}

void UsageView::nothingFound(const UsageReader& reader) {
    if (style_ == Style::format || style_ == Style::waybar) {
        statusLineOutput(reader, false);
    }
    err_ << "gaugely usage: " << statusLine(reader) << "\n";
    hints(reader, err_);
    err_.flush();
}

void UsageView::waiting(const UsageReader& reader) {
    switch (style_) {
        case Style::json:
            printLine(statusJson(statusLine(reader)).dump());
            return;
        case Style::format:
        case Style::waybar:
            // Before the first look there is nothing to say yet, and a bar would flash "—".
            if (reader.codexLogsState().looked) {
                statusLineOutput(reader, false);
            }
            return;
        case Style::text:
        case Style::live:
            break;
    }
    std::ostringstream hintText;
    hints(reader, hintText);
    std::vector<std::string> lines{std::string(title(reader.codexPlan())) + " \u00B7 " +
                                   statusLine(reader)};
    std::istringstream hintLines(hintText.str());
    for (std::string hint; std::getline(hintLines, hint);) {
        lines.push_back(" " + hint.substr(std::string("gaugely usage: ").size()));
    }
    draw(lines);
}

void UsageView::close() {
    panel_.close();
    out_.flush();
}

}  // namespace gaugely::tool
