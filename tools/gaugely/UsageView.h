#pragma once

#include <ostream>
#include <string>

#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Reader/UsageReader.h"
#include "tools/gaugely/LivePanel.h"

namespace gaugely::tool {

// What `gaugely usage` prints: a reading as text (appended, or redrawn in place on a terminal
// with --watch, below the events, which stay) or as one JSON object a line; and, when the logs
// give nothing, where it looked and why.
class UsageView {
  public:
    enum class Style { text, live, json };

    UsageView(std::ostream& out, std::ostream& err, const TimeFormatter& formatter,
              std::string homeFolder, Style style);

    void reading(const UsageReader& reader);
    // Nothing to show and the command ends: on standard error.
    void nothingFound(const UsageReader& reader);
    // Nothing to show yet while watching.
    void waiting(const UsageReader& reader);
    // Something that happened (a notification shown here): it stays above the live reading. In
    // JSON mode it goes to standard error, so standard output stays one reading a line.
    void event(const std::string& line);
    // A message about the command itself: on standard error, or above the live reading.
    void notice(const std::string& line);
    void close();

  private:
    std::string statusLine(const UsageReader& reader) const;
    std::string isoText(Date date) const;
    void draw(std::vector<std::string> lines);

    std::ostream& out_;
    std::ostream& err_;
    const TimeFormatter& formatter_;
    std::string homeFolder_;
    Style style_;
    bool drewAny_ = false;
    LivePanel panel_;
};

}  // namespace gaugely::tool
