#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Meterlane/Simulation/CodexTree.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/SimulatedTree.h"
#include "Meterlane/Simulation/TreeRecording.h"

namespace gaugely::simulated_tree_tests {
namespace {

constexpr std::string_view fixture = R"(
# A small Codex-like tree.
AXApplication title="Codex"
  AXWindow title="Codex" frame=0,0,1280,800
    AXGroup frame=0,0,260,800
      AXPopUpButton description="Open profile menu" frame=20,700,32,32 expanded=false actions=AXPress,AXShowMenu
        AXImage
    AXMenu title="Open profile menu"
      AXMenuItem title="Usage remaining" actions=AXPress focused=false
      AXStaticText value="5h"
      AXStaticText value="72 %  left" AXCustomThing=3.5
      AXGroup children-error=-25205 hidden=true expanded=true focused=true
      AXGroup title="no parent" parent-error=-25204 actions-error=-25204
      @2
)";

SimulatedTree parse(std::string_view text) {
    std::string error;
    auto tree = SimulatedTree::fromFixture(text, &error);
    EXPECT_TRUE(tree) << error;
    return tree ? std::move(*tree) : SimulatedTree();
}

// Hidden elements, children errors and cycles: the element search's fixture tables
// (MenuInspection) turn on how they read.
TEST(TreeFixture, ReadsAsARealApplicationAnswers) {
    SimulatedAccessibility ax(parse(fixture));
    const auto& tree = ax.tree();
    const auto app = ax.applicationElement(4242);
    const auto control = tree.element(*tree.findByRole("AXPopUpButton"));
    const auto menu = *tree.findByRole("AXMenu");
    const auto orphan = tree.element(tree.children(menu)[4]);
    const auto percent = tree.element(*tree.findByRole("AXStaticText", "72 %  left"));

    const struct {
        const char* name;
        AXElement element;
        std::string_view attribute;
        int32_t error;
        AXValue value;
    } cases[] = {
        {"description", control, ax::description, ax::success, std::string("Open profile menu")},
        {"flag", control, ax::expanded, ax::success, false},
        {"position", control, ax::position, ax::success, Point{20, 700}},
        {"common attribute not given", control, ax::title, ax::noValue, {}},
        {"unknown attribute", control, "AXNoSuchThing", ax::attributeUnsupported, {}},
        {"number", percent, "AXCustomThing", ax::success, 3.5},
        {"parent error", orphan, ax::parent, -25204, {}},
        {"application has no parent", app, ax::parent, ax::noValue, {}},
        {"empty child list", percent, ax::children, ax::success, std::vector<AXElement>{}},
        {"parent", percent, ax::parent, ax::success, tree.element(menu)},
    };
    for (const auto& c : cases) {
        const auto result = ax.copyAttributeValue(c.element, c.attribute);
        EXPECT_EQ(result.error, c.error) << c.name;
        EXPECT_EQ(result.value, c.value) << c.name;
    }
    EXPECT_EQ(ax.copyActionNames(control), (std::vector<std::string>{"AXPress", "AXShowMenu"}));
    EXPECT_EQ(ax.copyActionNames(orphan), std::nullopt);
    EXPECT_EQ(ax.copyActionNames(percent), std::vector<std::string>{});
}

TEST(TreeFixture, MalformedTextSaysWhereAndWhy) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"", "line 1: no elements"},
        {"  AXApplication", "line 1: the first element must not be indented"},
        {"AXApplication\nAXWindow", "line 2: only one root element is allowed"},
        {"AXApplication\n    AXWindow", "line 2: indented deeper than the line above allows"},
        {"AXApplication\n\tAXWindow", "line 2: indent with spaces, not tabs"},
        {"AXApplication\n  AXWindow title", "line 2: expected key=value, got 'title'"},
        {"AXApplication\n  AXWindow frame=1,2,3", "line 2: frame needs x,y,width,height"},
        {"AXApplication\n  @3", "line 2: '@3' names no element declared so far"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_FALSE(SimulatedTree::fromFixture(c.text, &error)) << c.text;
        EXPECT_EQ(error, c.error) << c.text;
    }
}

// The fixture text goes both ways: a tree written and read back is the same tree, and a recording
// keeps only our labels and usage values of Codex's text.
TEST(TreeFixtureWriter, WhatIsWrittenReadsBackTheSame) {
    const std::string_view fixtures[] = {
        R"(AXApplication title="Codex"
  AXWindow title="Codex" frame=0,0,1280,800.5
    AXPopUpButton description="Open profile menu" expanded=false actions=AXPress,AXShowMenu
      AXImage position=3,4
    AXGroup children-error=-25205 hidden=true AXCustom=2.25
    AXStaticText value="a \"quoted\"\\path\nwith\ttabs" title-error=-25204 actions-error=-25200
    @2
)",
        "AXApplication\n  AXGroup\n    AXGroup\n      @1\n      @2\n",
    };
    for (const std::string_view fixture : fixtures) {
        std::string error;
        const auto tree = SimulatedTree::fromFixture(fixture, &error);
        ASSERT_TRUE(tree) << error;
        const std::string written = tree->toFixture();
        const auto again = SimulatedTree::fromFixture(written, &error);
        ASSERT_TRUE(again) << error << "\n" << written;
        EXPECT_EQ(again->toFixture(), written);
        EXPECT_EQ(again->size(), tree->size());
    }
    // The simulated Codex's whole window, too.
    const CodexTree codex = buildCodexTree(CodexTreeShape{});
    const auto read = SimulatedTree::fromFixture(codex.tree.toFixture());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), codex.tree.size());
    EXPECT_EQ(read->toFixture(), codex.tree.toFixture());
}

TEST(TreeRecording, KeepsOnlyOurLabelsAndUsageValues) {
    const struct {
        std::string_view text;
        bool kept;
    } cases[] = {
        {"Open profile menu", true},
        {" usage remaining ", true},
        {"5h", true},
        {"Usage", true},
        {"72% left", true},
        {"--% left", true},
        {"Resets 3:45\u202FPM", true},
        {"Resets Sep 12", true},
        {"Oct 3, 2026", true},
        {"Weekly limit 40% left", true},
        {"jane@example.com", false},
        {"Jane Appleseed", false},
        {"Fix the 40% regression", false},
        {"Meeting Sep 12 with Bob", false},
        {"https://chatgpt.com/c/123", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(redactedText(c.text) == c.text, c.kept) << c.text;
        EXPECT_EQ(redactedText(c.text) == redactedPlaceholder, !c.kept) << c.text;
    }
}

}  // namespace
}  // namespace gaugely::simulated_tree_tests
