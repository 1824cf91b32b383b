#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Platform/TaskGroup.h"
#include "Meterlane/Simulation/CodexTree.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// What Codex's usage section says; settable at any time (the demo lets usage drift).
struct CodexUsage {
    int fiveHourPercentLeft = 72;
    std::string fiveHourReset = "3:45 PM";
    int weeklyPercentLeft = 40;
    std::string weeklyReset = "Sep 12";
    int monthlyPercentLeft = 85;
    std::string monthlyReset = "Oct 3";
    int proWeeklyPercentLeft = 40;
    bool operator==(const CodexUsage&) const = default;
};

// The rows of the expanded "Usage remaining" section for a plan (none for pro, whose menu carries
// the percentage in an item title instead): for plus "5h", "72% left", "Resets 3:45 PM",
// "Weekly", "40% left", "Resets Sep 12".
std::vector<std::string> usageRows(CodexPlan plan, const CodexUsage& usage);
// "Weekly limit 40% left".
std::string proUsageTitle(const CodexUsage& usage);

enum class MenuPlacement { window, application };

// How a value row looks before it settles.
enum class UnsettledRows { placeholder, missing };

// How Codex reacts; may be changed at any time.
struct CodexBehaviour {
    // From an input event reaching Codex to Codex acting on it.
    double inputLatency = 0.01;
    // From a click on the profile control to the menu being in the tree; none: never opens.
    std::optional<double> menuOpenDelay = 0.12;
    // From Return on "Usage remaining" to its rows; none: Return does not expand it.
    std::optional<double> expansionDelay = 0.08;
    // From Escape to the menu leaving the tree; none: Escape is ignored and the menu stays. With
    // the input latency it stays under the 0.05 s after which the reader checks the menu closed.
    std::optional<double> escapeCloseDelay = 0.02;
    // From a click that closes the menu (on the control, outside, on an item) to it closing.
    double clickCloseDelay = 0.05;
    // Value rows (percentages, reset texts) first show unsettled and each settles this much
    // later than the one before; 0: they show their final text at once.
    double rowSettleDelay = 0;
    UnsettledRows unsettledRows = UnsettledRows::placeholder;
    MenuPlacement menuPlacement = MenuPlacement::window;
    // The profile menu's items, top to bottom. "Usage remaining" is the expandable one; in the
    // pro plan's menu it shows the weekly limit title instead and does not expand.
    std::vector<std::string> menuItems{"Settings", "Usage remaining", "Help", "Log out"};

    // Faults that send the reader's shortcuts back to the whole-window walk.
    // This long after opening, the menu is replaced by an equal-looking new element (Codex
    // re-created it); none: never.
    std::optional<double> menuReplacedAfter;
    // A second, empty menu titled like the profile menu appears at the application level with it.
    bool duplicateProfileMenu = false;
    // Each opening puts the menu in the other place (window or application) than the last one.
    bool menuMovesBetweenOpenings = false;
};

// The Codex desktop app as the reader meets it: a running application in the workspace, an
// accessibility tree shaped like Codex's, and a profile menu that answers synthetic (or real)
// clicks and keys the way Codex's does. Clicks and keys reach it only while it is frontmost (its
// window is under the front application's otherwise); a click is a left mouse down and up on the
// same element.
//
// Down moves keyboard focus through the menu's items (the k-th Down focuses the k-th item, and
// stays on the last); Return on "Usage remaining" expands (or collapses) the usage rows, on any
// other item presses it (recorded) and closes the menu; Escape closes the menu; a click on the
// control toggles it, a click elsewhere closes it.
class SimulatedCodex final : public SimulatedAccessibility {
  public:
    static constexpr std::string_view bundleIdentifier = "com.openai.codex";
    static constexpr ProcessID defaultPid = 4242;

    SimulatedCodex(VirtualTime& time, FakeWorkspace& workspace, FakeInput& input,
                   CodexPlan plan = CodexPlan::plus, CodexTreeShape shape = {},
                   ProcessID pid = defaultPid);
    ~SimulatedCodex() override;
    SimulatedCodex(const SimulatedCodex&) = delete;
    SimulatedCodex& operator=(const SimulatedCodex&) = delete;

    CodexBehaviour behaviour;

    CodexPlan plan() const { return plan_; }
    // Takes effect the next time the menu opens.
    void setPlan(CodexPlan plan) { plan_ = plan; }
    const CodexUsage& usage() const { return usage_; }
    // An open menu shows the new values at once (unsettled rows when they settle).
    void setUsage(const CodexUsage& usage);
    // Replaces the plan's usage rows with any text (none: back to the plan's rows).
    void setUsageRows(std::optional<std::vector<std::string>> rows);

    // The version its bundle carries (CFBundleShortVersionString, CFBundleVersion), as the
    // workspace tells it for the running process; an update installed changes it at once.
    static constexpr std::string_view defaultVersion = "1.0.0";
    static constexpr std::string_view defaultBuild = "100";
    void setVersion(std::string version, std::string build);
    const std::string& version() const { return version_; }

    // The process. Quitting leaves the workspace and invalidates every handle; launching again
    // gives a new process (a new pid) with a fresh tree, in front.
    bool isRunning() const { return running_; }
    void quit();
    void launch();
    void bringToFront();
    // A fresh tree of the given shape (the menu closed).
    void rebuild(const CodexTreeShape& shape);
    // Any tree, such as a fixture: the profile control, window and open profile menu are found
    // in it by their roles and labels, and react as usual.
    void loadTree(SimulatedTree tree);

    // Fault knobs.
    // The user opened the menu (and expanded the usage rows) before the run; nothing focused.
    void openMenuAsUser(bool expanded);
    void setControlFrame(const Rect& frame);
    // Something painted over the control (a toast) takes the hit test at its centre.
    void setControlOccluded(bool occluded);

    // Observations.
    bool menuIsOpen() const;
    bool usageIsExpanded() const;
    std::optional<std::string> focusedItem() const;
    std::optional<NodeId> controlNode() const;
    std::optional<NodeId> menuNode() const;
    AXElement controlElement() const;
    AXElement menuElement() const;
    // The open menu's texts, in order: item titles and row values.
    std::vector<std::string> menuTexts() const;
    std::size_t menuOpenings() const { return openings_; }
    // How long the menu was last open, and the round trips the reader made meanwhile (until now,
    // while it is still open).
    struct MenuOpening {
        double seconds = 0;
        std::size_t roundTrips = 0;
    };
    std::optional<MenuOpening> lastMenuOpening() const;
    std::size_t menuClosings() const { return closings_; }
    // Items pressed (Return or click) other than the usage expansion: "Log out" must never be.
    const std::vector<std::string>& pressedItems() const { return pressed_; }

  private:
    struct Row {
        NodeId node = 0;  // 0: not in the tree
        bool settled = true;
    };

    void adoptTree(SimulatedTree tree, std::optional<NodeId> window, std::optional<NodeId> control);
    void onInput(const InputEvent& event);
    void click(NodeId target);
    void key(uint16_t code);
    void later(double seconds, std::function<void()> work);
    void laterForMenu(double seconds, std::function<void()> work);

    void openMenu();
    void closeMenu();
    void focus(NodeId item);
    void moveFocus(int step);
    void activateFocused();
    void expand(bool settledAtOnce);
    void collapse();
    void renderRows();
    void layoutMenu();

    std::vector<std::string> currentRows() const;
    std::vector<NodeId> menuItemNodes() const;
    std::optional<NodeId> usageItemNode() const;
    bool isWithin(NodeId node, NodeId ancestor) const;

    VirtualTime& time_;
    FakeWorkspace& workspace_;
    FakeInput& input_;
    std::unique_ptr<Subscription> listening_;
    CodexTreeShape shape_;
    CodexPlan plan_;
    CodexUsage usage_;
    std::optional<std::vector<std::string>> rowsOverride_;

    void registerProcess();

    std::string version_{defaultVersion};
    std::string build_{defaultBuild};
    bool running_ = true;
    uint64_t generation_ = 0;  // bumped when the process or its tree is replaced
    std::optional<NodeId> window_;
    std::optional<NodeId> control_;
    std::optional<NodeId> menu_;
    std::optional<NodeId> usageItem_;
    std::optional<NodeId> overlay_;
    std::optional<NodeId> duplicate_;
    // Bumped when the menu opens or closes: work for one opening does nothing in the next.
    uint64_t openingSerial_ = 0;
    bool opening_ = false;
    std::optional<NodeId> pressedDown_;
    std::vector<Row> rows_;
    uint64_t expansion_ = 0;  // bumped whenever the rows start over, so stale settles do nothing
    std::size_t openings_ = 0;
    double openedAt_ = 0;
    std::size_t roundTripsAtOpening_ = 0;
    std::optional<MenuOpening> lastOpening_;
    std::size_t closings_ = 0;
    std::vector<std::string> pressed_;
    // Codex's reactions still to come; they go with it.
    TaskGroup reactions_{time_};
};

}  // namespace gaugely
