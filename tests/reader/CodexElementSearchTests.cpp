#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Reader/CodexElementSearch.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"

namespace gaugely {
namespace {

SimulatedTree parse(std::string_view text) {
    std::string error;
    auto tree = SimulatedTree::fromFixture(text, &error);
    EXPECT_TRUE(tree) << error;
    return tree ? std::move(*tree) : SimulatedTree();
}

// Codex's window holding `lines`, each indented as under the window; a whole tree as it is.
SimulatedTree window(std::string_view lines) {
    if (lines.starts_with("AXApplication")) {
        return parse(lines);
    }
    std::string text = "AXApplication\n  AXWindow\n";
    for (const auto& line : text::splitLines(lines)) {
        text += "    " + std::string(line) + "\n";
    }
    return parse(text);
}

struct SearchWorld {
    VirtualTime time;
    FakeWorkspace workspace{time};
    SimulatedAccessibility ax;
    CodexElementSearch search{ax, workspace};
    explicit SearchWorld(SimulatedTree tree) : ax(std::move(tree)) {}
    explicit SearchWorld(std::string_view lines) : SearchWorld(window(lines)) {}
    AXElement app() { return ax.applicationElement(ax.pid()); }
    AXElement find(std::string_view role) { return ax.tree().element(*ax.tree().findByRole(role)); }
};

// A plain application: window, some content, and n extra plain elements under one group.
SimulatedTree plainTree(std::size_t extra) {
    SimulatedTree tree = window(R"(AXPopUpButton description="Open profile menu" expanded=false
AXGroup)");
    const NodeId group = *tree.findByRole("AXGroup");
    for (std::size_t i = 0; i < extra; ++i) {
        tree.add(group, "AXStaticText");
    }
    return tree;
}

TEST(MenuInspection, ClassifiesWhatIsOpen) {
    using P = RefreshMenuPresence;
    using T = RefreshTraversalResult;
    const struct {
        const char* name;
        const char* fixture;
        RefreshMenuInspection expected;
    } cases[] = {
        {"closed",
         R"(AXPopUpButton description="Open profile menu" expanded=false)",
         {P::closed, T::complete}},
        {"label trimmed and case-folded",
         R"(AXPopUpButton description=" OPEN PROFILE MENU\n")",
         {P::closed, T::complete}},
        {"control says expanded but no menu",
         R"(AXPopUpButton description="Open profile menu" expanded=true)",
         {P::uncertain, T::complete}},
        {"no profile control", R"(AXButton title="Send")", {P::uncertain, T::complete}},
        {"profile menu open",
         R"(AXPopUpButton description="Open profile menu" expanded=true
AXMenu title="Open profile menu"
  AXMenuItem title="Usage remaining")",
         {P::open, T::complete}},
        {"profile menu and an untitled menu",
         R"(AXPopUpButton description="Open profile menu"
AXMenu title="Open profile menu"
AXMenu)",
         {P::uncertain, T::complete}},
        {"two profile menus",
         R"(AXMenu title="Open profile menu"
AXMenu title="open profile menu")",
         {P::uncertain, T::complete}},
        {"the app's own menu bar never counts",
         R"(AXApplication
  AXMenuBar
    AXMenuBarItem title="File"
      AXMenu title="File"
  AXWindow
    AXPopUpButton description="Open profile menu")",
         {P::closed, T::complete}},
        {"hidden menus are skipped",
         R"(AXPopUpButton description="Open profile menu"
AXGroup hidden=true
  AXMenu title="Something else")",
         {P::closed, T::complete}},
        {"children unsupported or without value are leaves",
         R"(AXPopUpButton description="Open profile menu"
AXGroup children-error=-25205
AXGroup children-error=-25212)",
         {P::closed, T::complete}},
        {"children that cannot be read",
         R"(AXPopUpButton description="Open profile menu"
AXGroup children-error=-25204)",
         {P::uncertain, T::unavailable}},
        {"an element without a role",
         R"(AXPopUpButton description="Open profile menu"
AXGroup role-error=-25204)",
         {P::uncertain, T::unavailable}},
    };
    for (const auto& c : cases) {
        SearchWorld world(c.fixture);
        EXPECT_EQ(world.search.profileMenuInspection(world.app()), c.expected) << c.name;
    }
}

TEST(MenuInspection, EndsWithinItsBudgetOnHostileTrees) {
    using P = RefreshMenuPresence;
    using T = RefreshTraversalResult;
    {
        // 4 elements of structure plus 2,596 texts: 2,600 in all.
        SearchWorld world(plainTree(2596));
        EXPECT_EQ(world.search.profileMenuInspection(world.app()),
                  (RefreshMenuInspection{P::uncertain, T::limitReached}));
        EXPECT_EQ(world.ax.callCount(AXCall::copyMultipleAttributeValues), 2500u);
    }
    {
        // Exactly the budget: everything is seen.
        SearchWorld world(plainTree(2496));
        EXPECT_EQ(world.search.profileMenuInspection(world.app()),
                  (RefreshMenuInspection{P::closed, T::complete}));
    }
    {
        SearchWorld world(R"(AXPopUpButton description="Open profile menu"
AXGroup
  AXGroup
    @2
  AXStaticText AXValue="beside the cycle")");
        EXPECT_EQ(world.search.profileMenuInspection(world.app()).traversal, T::limitReached);
        EXPECT_FALSE(world.search.profileMenuElement(world.app()));
    }
    {
        // A chain far deeper than any recursion would survive, with the rest of the window after.
        SimulatedTree tree = plainTree(0);
        NodeId node = *tree.findByRole("AXGroup");
        tree.add(tree.parent(node).value_or(tree.root()), "AXStaticText");
        for (int depth = 0; depth < 20000; ++depth) {
            node = tree.add(node, "AXGroup");
        }
        SearchWorld world(std::move(tree));
        EXPECT_EQ(world.search.profileMenuInspection(world.app()).traversal, T::limitReached);
    }
}

TEST(ElementSearch, FindsTheControlAndMenusByTheirOwnRules) {
    SearchWorld world(R"(AXPopUpButton description="Model"
  AXPopUpButton description="Open profile menu"
AXMenu title="Model"
  AXMenu title="Open profile menu"
    AXMenuItem title="Usage remaining")");
    // A profile control inside another pop-up button is never found; a profile menu inside
    // another menu is.
    EXPECT_FALSE(world.search.profileMenuControl(world.app()));
    EXPECT_TRUE(world.search.profileMenuElement(world.app()));
}

TEST(ElementSearch, OrderedMenuTextDropsOnlyConsecutiveRepeats) {
    const struct {
        const char* fixture;
        std::vector<std::string> expected;
    } cases[] = {
        {"AXMenu\n  AXStaticText title=\"A\" AXValue=\"A\" description=\"B\"", {"A", "B"}},
        {"AXMenu\n  AXMenuItem title=\"A\"\n  AXMenuItem title=\"C\"\n  AXMenuItem title=\"A\"",
         {"A", "C", "A"}},
        {R"(AXMenu
  AXMenuItem title="  Usage remaining \n"
  AXStaticText AXValue="   "
  AXStaticText AXValue=42
  AXStaticText AXValue="5h")",
         {"Usage remaining", "5h"}},
    };
    for (const auto& c : cases) {
        SearchWorld world(parse(c.fixture));
        EXPECT_EQ(world.search.orderedMenuText(world.app()), c.expected) << c.fixture;
    }
}

TEST(ElementSearch, UsageIsExpandedOnlyWhenTheMenuShowsTheSchemasWindows) {
    const struct {
        const char* name;
        std::vector<std::string> rows;  // beside the items, inside the menu
        QuotaSchema schema;
        bool expanded;
    } cases[] = {
        {"collapsed: only items", {}, QuotaSchema::dualWindow, false},
        {"plus rows", {"5h", "Weekly"}, QuotaSchema::dualWindow, true},
        {"5 hours spelled out", {"5 hours", " weekly "}, QuotaSchema::dualWindow, true},
        {"weekly missing", {"5h"}, QuotaSchema::dualWindow, false},
        {"monthly", {"Monthly"}, QuotaSchema::monthlyOnly, true},
        {"monthly wanted, weekly shown", {"Weekly"}, QuotaSchema::monthlyOnly, false},
    };
    for (const auto& c : cases) {
        std::string menu = R"(AXMenu title="Open profile menu"
  AXMenuItem title="Settings"
  AXMenuItem title="Usage remaining")";
        for (const std::string& row : c.rows) {
            menu += "\n  AXStaticText AXValue=\"" + row + "\"";
        }
        SearchWorld world(menu);
        EXPECT_EQ(world.search.usageRemainingIsExpanded(world.app(), c.schema), c.expanded)
            << c.name;
    }
}

TEST(ElementSearch, UsageControlIsTheNearestPressableAncestorOfItsLabel) {
    SearchWorld world(R"(AXMenu title="Open profile menu"
  AXGroup
    AXButton actions=AXPress
      AXStaticText AXValue="Usage remaining"
  AXMenuItem title="Settings")");
    const AXElement control = world.search.usageRemainingControl(world.app());
    ASSERT_TRUE(control);
    EXPECT_EQ(control, world.find("AXButton"));
    EXPECT_EQ(world.search.usageRemainingMenu(world.app()), world.find("AXMenu"));
}

TEST(ElementSearch, ProUsageItemAndCodexLookUp) {
    SearchWorld world(R"(AXApplication
  AXMenu title="Open profile menu"
    AXMenuItem title="Settings"
    AXMenuItem
      AXStaticText AXValue=" usage "
      AXStaticText AXValue="40% left")");
    const AXElement item = world.search.proUsageProfileMenuItem(world.find("AXMenu"));
    ASSERT_TRUE(item);
    EXPECT_EQ(world.search.title(item), std::nullopt);

    // Only the first regular Codex in the platform's order is used.
    world.workspace.addApplication({"com.openai.codex", 10, ActivationPolicy::accessory});
    world.workspace.addApplication({"com.example.other", 11, ActivationPolicy::regular});
    world.workspace.addApplication({"com.openai.codex", 12, ActivationPolicy::regular});
    world.workspace.addApplication({"com.openai.codex", 13, ActivationPolicy::regular});
    EXPECT_EQ(world.search.findCodexApplication()->processIdentifier, 12);
    world.workspace.setFrontmost(11);
    EXPECT_FALSE(world.search.isCodexFrontmost());
    world.workspace.setFrontmost(13);
    EXPECT_TRUE(world.search.isCodexFrontmost());
}

TEST(ElementSearch, OneRoundTripPerElementWithinAStep) {
    SearchWorld world(plainTree(1000));
    const AXElement app = world.app();
    world.ax.resetCallCounts();
    (void)world.search.profileMenuInspection(app);
    (void)world.search.profileMenuControl(app);
    (void)world.search.profileMenuElement(app);
    EXPECT_EQ(world.ax.roundTrips(), world.ax.tree().size());
    // The next step reads afresh: Codex's tree may have changed.
    world.search.forgetReads();
    (void)world.search.profileMenuElement(app);
    EXPECT_EQ(world.ax.roundTrips(), 2 * world.ax.tree().size());
}

// Codex's application element carries the messaging timeout, and so does this process's default
// (a timeout covers only the element it is set on); making the element costs no round trip.
TEST(ElementSearch, TheApplicationElementCarriesTheMessagingTimeout) {
    SearchWorld world(plainTree(10));
    const RunningApplication codex{"com.openai.codex", world.ax.pid()};
    EXPECT_EQ(world.ax.messagingTimeout(world.ax.systemWideElement()), std::nullopt);
    world.ax.resetCallCounts();
    const AXElement application = world.search.applicationElement(codex);
    EXPECT_EQ(application, world.app());
    EXPECT_EQ(world.ax.messagingTimeout(application), CodexElementSearch::messagingTimeoutSeconds);
    EXPECT_EQ(world.ax.messagingTimeout(world.ax.systemWideElement()),
              CodexElementSearch::messagingTimeoutSeconds);
    EXPECT_EQ(world.ax.roundTrips(), 0u);
}

}  // namespace
}  // namespace gaugely
