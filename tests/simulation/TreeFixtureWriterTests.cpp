// The fixture text goes both ways: a tree written and read back is the same tree, and a recording
// keeps only our labels and usage values of Codex's text.
#include <gtest/gtest.h>

#include "Meterlane/Simulation/CodexTree.h"
#include "Meterlane/Simulation/TreeRecording.h"

namespace gaugely {
namespace {

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
}  // namespace gaugely
