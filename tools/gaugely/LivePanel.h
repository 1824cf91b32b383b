#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace gaugely::tool {

// A panel redrawn in place at the foot of a terminal, with lines that scroll by above it and
// stay there: an event clears the panel, is printed where the panel began, and the panel is
// drawn again below it. Each panel line is cut to the terminal's width (less one column, so
// the cursor never waits at the margin), so the panel takes exactly one row a line and can
// always be cleared exactly; events wrap as the terminal wraps them, since they are never
// redrawn. The width is asked for at every drawing, so a resized terminal is followed.
class LivePanel {
  public:
    LivePanel(std::ostream& out, std::function<std::size_t()> columns);

    // Prints the line above the panel, for good.
    void event(std::string_view line);
    // Replaces the panel's lines.
    void draw(std::vector<std::string> lines);
    // Takes the panel off the screen; the next drawing starts where it was.
    void clear();
    // Leaves the panel where it is; later output goes below it.
    void close();

  private:
    void paint();

    std::ostream& out_;
    std::function<std::size_t()> columns_;
    std::vector<std::string> lines_;
    std::size_t height_ = 0;
};

}  // namespace gaugely::tool
