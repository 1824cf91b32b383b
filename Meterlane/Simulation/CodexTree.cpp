#include "Meterlane/Simulation/CodexTree.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace gaugely {

namespace {

constexpr Rect windowFrame{{0, 0}, {1280, 800}};
constexpr Rect sidebarFrame{{0, 0}, {260, 800}};
constexpr Rect paneFrame{{300, 0}, {980, 800}};

// Texts of an ordinary session. None of them is a label the reader looks for, so only the
// elements that matter can ever match.
constexpr std::array<std::string_view, 8> threadTitles{
    "Fix flaky parser test",     "Refactor settings view", "Add retry to uploader",
    "Explain the build failure", "Update dependencies",    "Write release notes",
    "Speed up cold start",       "Review pull request 42",
};
constexpr std::array<std::string_view, 8> paragraphs{
    "Ready",
    "I updated the parser and ran the tests.",
    "All 214 tests pass.",
    "main",
    "+12 \u221212",
    "Today",
    "Ask Codex anything",
    "Worked for 2m 13s",
};
constexpr std::array<std::string_view, 6> buttons{"New thread", "Send",  "Attach",
                                                  "Copy",       "Retry", "Stop"};
constexpr std::array<std::string_view, 3> links{"Open in editor", "View diff", "Docs"};

// Lays leaves out row by row inside a region, wrapping back to the top, so no generated element
// ever strays outside its pane (and over the profile control).
class Rows {
  public:
    Rows(Rect region, double top, double bottom) : region_(region), top_(top), bottom_(bottom) {
        y_ = top_;
    }
    Rect next() {
        const Rect frame{{region_.minX() + 8, y_}, {region_.size.width - 16, 20}};
        y_ += 24;
        if (y_ + 20 > bottom_) {
            y_ = top_;
        }
        return frame;
    }

  private:
    Rect region_;
    double top_;
    double bottom_;
    double y_;
};

// Fills `parent` with `budget` elements: sections of groups of leaves, a few levels deep.
void fill(SimulatedTree& tree, NodeId parent, std::size_t budget, Rows& rows,
          std::size_t& variety) {
    auto take = [&]() {
        if (budget == 0) {
            return false;
        }
        --budget;
        return true;
    };
    while (take()) {
        const NodeId section = tree.add(parent, "AXGroup");
        for (int group = 0; group < 3 && take(); ++group) {
            const NodeId list = tree.add(section, "AXGroup");
            const int leaves = 2 + static_cast<int>(variety % 4);
            for (int leaf = 0; leaf < leaves && take(); ++leaf) {
                ++variety;
                switch (variety % 6) {
                    case 0:
                    case 1: {
                        const NodeId text = tree.add(list, "AXStaticText");
                        tree.set(text, ax::value,
                                 std::string(paragraphs[variety % paragraphs.size()]));
                        tree.setFrame(text, rows.next());
                        break;
                    }
                    case 2: {
                        const NodeId button = tree.add(list, "AXButton");
                        tree.set(button, ax::title, std::string(buttons[variety % buttons.size()]));
                        tree.setActions(button, {"AXPress"});
                        tree.setFrame(button, rows.next());
                        break;
                    }
                    case 3: {
                        // A link carries its text in a static text child, as Chromium's do.
                        const NodeId link = tree.add(list, "AXLink");
                        const auto title = std::string(links[variety % links.size()]);
                        tree.set(link, ax::title, title);
                        tree.setActions(link, {"AXPress"});
                        tree.setFrame(link, rows.next());
                        if (take()) {
                            const NodeId text = tree.add(link, "AXStaticText");
                            tree.set(text, ax::value, title);
                        }
                        break;
                    }
                    case 4: {
                        const NodeId row = tree.add(list, "AXButton");
                        tree.set(row, ax::description,
                                 std::string(threadTitles[variety % threadTitles.size()]));
                        tree.setFrame(row, rows.next());
                        break;
                    }
                    default: {
                        // A pop-up button that is not the profile control.
                        const NodeId picker = tree.add(list, "AXPopUpButton");
                        tree.set(picker, ax::description, std::string("Select model"));
                        tree.set(picker, ax::expanded, false);
                        tree.setActions(picker, {"AXPress", "AXShowMenu"});
                        tree.setFrame(picker, rows.next());
                        if (take()) {
                            const NodeId text = tree.add(picker, "AXStaticText");
                            tree.set(text, ax::value, std::string("GPT-5-Codex"));
                        }
                        break;
                    }
                }
            }
        }
    }
}

void addMenuBar(SimulatedTree& tree) {
    const NodeId bar = tree.add(tree.root(), "AXMenuBar");
    const std::array<std::pair<std::string_view, std::array<std::string_view, 3>>, 6> menus{{
        {"Codex", {"About Codex", "Settings\u2026", "Quit Codex"}},
        {"File", {"New Thread", "Open Folder\u2026", "Close Window"}},
        {"Edit", {"Undo", "Copy", "Paste"}},
        {"View", {"Reload", "Toggle Sidebar", "Actual Size"}},
        {"Window", {"Minimize", "Zoom", "Bring All to Front"}},
        {"Help", {"Codex Help", "Release Notes", "Report an Issue"}},
    }};
    double x = 40;
    for (const auto& [title, items] : menus) {
        const NodeId barItem = tree.add(bar, "AXMenuBarItem");
        tree.set(barItem, ax::title, std::string(title));
        tree.setFrame(barItem, Rect{{x, -24}, {60, 24}});
        x += 64;
        const NodeId menu = tree.add(barItem, "AXMenu");
        tree.set(menu, ax::hidden, false);
        for (const auto item : items) {
            const NodeId entry = tree.add(menu, "AXMenuItem");
            tree.set(entry, ax::title, std::string(item));
            tree.setActions(entry, {"AXPress", "AXCancel"});
        }
    }
}

}  // namespace

CodexTree buildCodexTree(const CodexTreeShape& shape) {
    CodexTree result;
    SimulatedTree& tree = result.tree;
    const NodeId app = tree.root();
    tree.set(app, ax::title, std::string("Codex"));

    const NodeId window = tree.add(app, "AXWindow");
    tree.set(window, ax::title, std::string("Codex"));
    tree.setFrame(window, windowFrame);
    result.window = window;

    const NodeId split = tree.add(window, "AXGroup");
    const NodeId webArea = tree.add(split, "AXWebArea");
    tree.set(webArea, ax::title, std::string("Codex"));
    tree.setFrame(webArea, windowFrame);

    const double placement = std::clamp(shape.controlPlacement, 0.0, 1.0);
    const auto before = static_cast<std::size_t>(
        std::llround(placement * static_cast<double>(shape.webContentElements)));
    std::size_t variety = 0;

    const NodeId sidebar = tree.add(webArea, "AXGroup");
    tree.set(sidebar, ax::description, std::string("Sidebar"));
    tree.setFrame(sidebar, sidebarFrame);
    Rows sidebarRows(sidebarFrame, 60, 680);
    fill(tree, sidebar, before, sidebarRows, variety);

    const NodeId control = tree.add(sidebar, "AXPopUpButton");
    tree.set(control, ax::description, std::string("Open profile menu"));
    tree.set(control, ax::expanded, false);
    tree.setActions(control, {"AXPress", "AXShowMenu"});
    tree.setFrame(control, shape.controlFrame);
    result.control = control;
    const NodeId avatar = tree.add(control, "AXImage");
    const auto& frame = shape.controlFrame;
    if (frame.size.width > 8 && frame.size.height > 8) {
        tree.setFrame(avatar, Rect{{frame.origin.x + 4, frame.origin.y + 4},
                                   {frame.size.width - 8, frame.size.height - 8}});
    }

    const NodeId pane = tree.add(webArea, "AXGroup");
    tree.set(pane, ax::description, std::string("Conversation"));
    tree.setFrame(pane, paneFrame);
    Rows paneRows(paneFrame, 20, 780);
    fill(tree, pane, shape.webContentElements - std::min(before, shape.webContentElements),
         paneRows, variety);

    NodeId link = pane;
    for (std::size_t depth = 0; depth < shape.deepChainDepth; ++depth) {
        link = tree.add(link, "AXGroup");
    }
    if (shape.cyclic) {
        tree.link(pane, window);
    }
    if (shape.menuBar) {
        addMenuBar(tree);
    }
    return result;
}

}  // namespace gaugely
