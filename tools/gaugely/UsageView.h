#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Platform/UserNotificationCenter.h"
#include "Meterlane/Presentation/StatusLinePresentation.h"
#include "Meterlane/Reader/UsageReader.h"
#include "tools/gaugely/LivePanel.h"

namespace gaugely::tool {

// What `gaugely usage` prints. For people: a reading as text, appended, or redrawn in place on a
// terminal with --watch below the events, which stay. For programs, on standard output only:
// with --json one JSON object a line, each with its "type" ("reading", "notification",
// "status"); with --format or --waybar one line for each change of what it shows. Messages about
// the command itself (errors, the desktop's absence) go to standard error as text in every
// style but the live one, so standard output stays parseable.
class UsageView {
  public:
    enum class Style { text, live, json, format, waybar };

    // `now`: the wall clock, for the dates of times and the age of a reading. `line`: the
    // --format template (for --waybar, its text).
    UsageView(std::ostream& out, std::ostream& err, const TimeFormatter& formatter,
              std::function<Date()> now, std::string homeFolder, Style style,
              std::optional<StatusLineTemplate> line = std::nullopt);

    void reading(const UsageReader& reader);
    // Nothing to show and the command ends: why, on standard error (and, for a status line, its
    // line without a reading, so a bar still shows something).
    void nothingFound(const UsageReader& reader);
    // Nothing to show yet while watching.
    void waiting(const UsageReader& reader);
    // A notification shown here rather than on the desktop: above the live reading, as text or
    // a JSON object on standard output, or on standard error beside a status line.
    void notification(const NotificationRequest& request);
    // A message about the command itself: on standard error, or above the live reading.
    void notice(const std::string& line);
    void close();

    // The shown reading or status again, when a status line shows its age or staleness: printed
    // only if its line has changed since.
    void refresh(const UsageReader& reader, bool hasReading);
    bool showsAge() const { return style_ == Style::format || style_ == Style::waybar; }

  private:
    std::string statusLine(const UsageReader& reader) const;
    // Prints a status line (--format, --waybar) unless it is the one printed last.
    void statusLineOutput(const UsageReader& reader, bool hasReading);
    void printLine(const std::string& line);
    void draw(std::vector<std::string> lines);
    void hints(const UsageReader& reader, std::ostream& stream) const;

    std::ostream& out_;
    std::ostream& err_;
    const TimeFormatter& formatter_;
    std::function<Date()> now_;
    std::string homeFolder_;
    Style style_;
    std::optional<StatusLineTemplate> line_;
    bool drewAny_ = false;
    std::optional<std::string> lastLine_;
    LivePanel panel_;
};

}  // namespace gaugely::tool
