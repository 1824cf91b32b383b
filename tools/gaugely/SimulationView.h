#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Meterlane/Platform/AlertPresenter.h"
#include "Meterlane/Platform/UserNotificationCenter.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Startup/AppAssembly.h"
#include "tools/gaugely/LivePanel.h"

namespace gaugely::tool {

// What the user sees of Gaugely at one moment: the menu bar label, the refresh item beside it,
// and the popover.
struct GaugelyScreen {
    std::string menuBarText;
    bool refreshing = false;
    std::optional<int> countdown;
    PopoverViewModel popover;
};

GaugelyScreen captureScreen(const UsageReader& reader, const TimeFormatter& formatter);
// What the app shows: its label (with the update badge, drawn as a dot and its accessibility
// label) and popover, as the Mac's status item and popover draw them.
GaugelyScreen captureScreen(const AppAssembly& app);

// The label as text: the template icon as a small gauge glyph, then the summary.
std::string menuBarLabelText(const std::string& summary);
// The refresh item: its symbol drawn as ↻ or ◌, and its tooltip.
std::string refreshItemText(bool refreshing);
// The popover's content, one line per row; a usage section is one line with its bar, and its pace
// on a line of its own below.
std::vector<std::string> popoverLines(const PopoverViewModel& popover);
// A bar of `width` cells, filled in proportion to `progress` (0 to 1).
std::string progressBar(double progress, std::size_t width);
// "+00:12.400", or "+1:02:03.400" past an hour.
std::string elapsedStamp(double seconds);

// Whether a line of the refresh trace is the one that ends a run ("… final outcome …"), which a
// terminal shows even when the trace's stages are left out.
bool isRunOutcomeLine(std::string_view traceLine);

// Shows a simulation as it runs. `lines`: every event and every change of the screen is one
// appended, time-stamped line, the same on every run (for pipes and tests). `live`: events scroll
// by above a panel that is redrawn in place (for a terminal).
class SimulationView {
  public:
    enum class Style { lines, live };

    // `elapsed`: seconds of simulated time since the start, for the time stamps. `colour`: the
    // live panel may mark what the user did and what was notified (never in the lines style).
    SimulationView(std::ostream& out, Style style, std::function<double()> elapsed,
                   std::size_t columns = 80, bool colour = false);

    // A line without a time stamp, printed at once (headers, summaries).
    void say(std::string_view text);
    // What happens in the world: the user's actions, Codex's usage changing.
    void note(std::string_view text);
    void logEntry(const LogEntry& entry);
    void notification(const NotificationRequest& request);
    // One of the app's modal alerts: its message, its text line by line, its buttons and choices.
    void alert(const AlertRequest& request);

    // Prints the events so far, then what changed on the screen (lines), or redraws the panel
    // with `footer` as its last line (live).
    void show(const GaugelyScreen& screen, std::string_view footer);
    // The panel stays where it is and later text goes below it.
    void close();

  private:
    enum class Emphasis { none, userAction, notification };
    struct Event {
        double at = 0;
        std::string text;
        std::vector<std::string> more;  // indented continuation lines
        Emphasis emphasis = Emphasis::none;
    };

    void queue(std::string text, Emphasis emphasis = Emphasis::none);
    void printEvent(const Event& event);
    void drawPanel(const GaugelyScreen& screen, std::string_view footer);
    std::string rule(std::string_view title) const;

    std::ostream& out_;
    Style style_;
    std::function<double()> elapsed_;
    std::size_t columns_;
    bool colour_;
    std::vector<Event> events_;
    // What was last shown, so only changes are printed.
    std::optional<std::string> shownMenuBar_;
    std::optional<std::optional<int>> shownCountdown_;
    std::optional<std::vector<std::string>> shownPopover_;
    LivePanel panel_;
};

}  // namespace gaugely::tool
