// The fast lookups after the run's click: they must end within their budgets on hostile trees,
// fall back to the whole walk when their shortcut no longer holds, and end every run as the
// literal lookups do.
#include <gtest/gtest.h>

#include <functional>

#include "Meterlane/Reader/ProfileMenuLookup.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

constexpr std::string_view menuFixture = R"(
AXApplication
  AXWindow
    AXPopUpButton description="Open profile menu" expanded=true
    AXGroup
    AXMenu title="Open profile menu"
      AXMenuItem title="Settings"
      AXMenuItem title="Usage remaining"
      AXStaticText value="5h"
)";

TEST(ProfileMenuLookup, EndsWithinItsBudgetOnHostileTreesInBothModes) {
    const struct {
        const char* name;
        std::function<void(SimulatedTree&)> harden;
    } cases[] = {
        {"a window with 50,000 children",
         [](SimulatedTree& tree) {
             const NodeId window = *tree.findByRole("AXWindow");
             for (int i = 0; i < 50000; ++i) {
                 tree.add(window, "AXStaticText");
             }
         }},
        {"a group 20,000 deep",
         [](SimulatedTree& tree) {
             NodeId node = *tree.findByRole("AXGroup");
             for (int depth = 0; depth < 20000; ++depth) {
                 node = tree.add(node, "AXGroup");
             }
         }},
        {"a cycle back to the window",
         [](SimulatedTree& tree) {
             tree.link(*tree.findByRole("AXGroup"), *tree.findByRole("AXWindow"));
         }},
        {"a menu whose role and title fail",
         [](SimulatedTree& tree) {
             const NodeId menu = *tree.findByRole("AXMenu");
             tree.setError(menu, ax::role, ax::cannotComplete);
             tree.setError(menu, ax::title, ax::cannotComplete);
         }},
    };
    // A whole-window walk, with the menu text it reads on the way.
    const std::size_t bound =
        CodexElementSearch::applicationBudget + CodexElementSearch::menuTextBudget;
    // What the polls start from: this process's handles, or the way an earlier launch stored.
    const struct {
        ElementLookupMode mode;
        bool storedWay;
    } starts[] = {{ElementLookupMode::literal, false},
                  {ElementLookupMode::fast, false},
                  {ElementLookupMode::fast, true}};
    for (const auto& c : cases) {
        for (const auto [mode, storedWay] : starts) {
            auto tree = SimulatedTree::fromFixture(menuFixture);
            ASSERT_TRUE(tree);
            const AXElement menu = tree->element(*tree->findByRole("AXMenu"));
            c.harden(*tree);
            VirtualTime time;
            FakeWorkspace workspace{time};
            SimulatedAccessibility ax(std::move(*tree));
            CodexElementSearch search(ax, workspace);
            const AXElement app = ax.applicationElement(ax.pid());
            ProfileMenuWay way;
            if (storedWay) {
                way.path = std::vector<ProfileMenuPathStep>{{0, "AXWindow"}};
            } else if (const auto found = ProfileMenuLookup(search, mode).locate(app, menu)) {
                way.handles = found->handles;
            }
            ProfileMenuLookup lookup(search, mode, way);
            const std::function<void()> lookups[] = {
                [&] { (void)lookup.profileMenu(app, menu); },
                [&] { (void)lookup.usageRemainingMenu(app, menu); },
                [&] { (void)lookup.usageRemainingIsExpanded(app, menu, QuotaSchema::dualWindow); },
                [&] {
                    for (int attempt = 0; attempt <= 13; ++attempt) {
                        search.forgetReads();
                        (void)lookup.menuAfterClick(app, {}, attempt, 13);
                    }
                },
            };
            for (const auto& look : lookups) {
                search.forgetReads();
                ax.resetCallCounts();
                look();
                EXPECT_LE(ax.roundTrips(), 14 * bound) << c.name;
            }
            search.forgetReads();
            ax.resetCallCounts();
            (void)lookup.profileMenu(app, menu);
            EXPECT_LE(ax.roundTrips(), bound) << c.name;
        }
    }
}

// What a session's second refresh did, with the fault set before it.
struct SecondRefresh {
    std::optional<RefreshRunOutcome> outcome;
    std::vector<InputEvent> events;
    std::vector<std::string> trace;
    std::size_t roundTrips = 0;
};

SecondRefresh secondRefresh(ElementLookupMode mode,
                            const std::function<void(CodexBehaviour&)>& fault) {
    ReaderWorld world(CodexPlan::plus, CodexTreeShape{.webContentElements = 200});
    UsageReader& reader = world.makeReader();
    reader.setElementLookupMode(mode);
    fault(world.codex.behaviour);
    world.refresh();
    world.time.advance(5);
    world.input.clearPostedEvents();
    world.log.clear();
    world.codex.resetCallCounts();
    world.refresh();
    return {reader.lastRefreshOutcome(), world.input.postedEvents(), world.refreshLines(),
            world.codex.roundTrips()};
}

TEST(ProfileMenuLookup, FaultsThatDefeatTheShortcutsEndRunsAsTheLiteralLookupsDo) {
    const auto plain = secondRefresh(ElementLookupMode::fast, [](CodexBehaviour&) {});
    const struct {
        const char* name;
        std::function<void(CodexBehaviour&)> fault;
        bool fallsBack;  // to a whole walk after the click
    } cases[] = {
        {"menu replaced by an equal-looking element",
         [](CodexBehaviour& b) { b.menuReplacedAfter = 0.05; }, true},
        {"a second menu with the profile title",
         [](CodexBehaviour& b) { b.duplicateProfileMenu = true; }, true},
        {"menu at the application level this time",
         [](CodexBehaviour& b) { b.menuMovesBetweenOpenings = true; }, false},
    };
    for (const auto& c : cases) {
        const auto literal = secondRefresh(ElementLookupMode::literal, c.fault);
        const auto fast = secondRefresh(ElementLookupMode::fast, c.fault);
        EXPECT_EQ(fast.outcome, literal.outcome) << c.name;
        EXPECT_EQ(fast.events, literal.events) << c.name;
        EXPECT_EQ(fast.trace, literal.trace) << c.name;
        // A whole walk of this window is over 200 round trips.
        EXPECT_EQ(fast.roundTrips > plain.roundTrips + 200, c.fallsBack) << c.name;
        EXPECT_LE(fast.roundTrips, literal.roundTrips) << c.name;
    }
}

}  // namespace
}  // namespace gaugely
