#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Meterlane/Simulation/Simulation.h"

namespace gaugely::simulated_codex_tests {
namespace {

using Texts = std::vector<std::string>;

constexpr uint64_t marker = 0x4D4C4D4F4E49544F;
constexpr uint16_t down = 125;
constexpr uint16_t enter = 36;
constexpr uint16_t escape = 53;

// What the reader does, in the reader's terms: a marked click at a point, marked key presses.
void click(Simulation& sim, Point point) {
    for (auto type :
         {InputEventType::mouseMoved, InputEventType::leftMouseDown, InputEventType::leftMouseUp}) {
        sim.input.postMouseEvent(type, point, marker);
    }
}

Point centre(const Rect& frame) {
    return {frame.minX() + frame.size.width / 2, frame.minY() + frame.size.height / 2};
}

void clickControl(Simulation& sim) {
    click(sim, centre(*sim.codex.tree().frame(*sim.codex.controlNode())));
}

void press(Simulation& sim, uint16_t key, int times = 1) {
    for (int i = 0; i < times; ++i) {
        sim.input.postKeyPress(key, marker);
    }
}

TEST(SimulatedCodex, ClickFocusExpandAndCloseAsCodexDoes) {
    Simulation sim;
    auto& codex = sim.codex;
    const auto control = codex.controlElement();
    EXPECT_EQ(codex.copyAttributeValue(control, ax::expanded).value, AXValue(false));

    clickControl(sim);
    sim.time.advance(0.12);
    EXPECT_FALSE(codex.menuIsOpen());  // input latency + open delay
    sim.time.advance(0.01);
    ASSERT_TRUE(codex.menuIsOpen());
    EXPECT_EQ(codex.copyAttributeValue(control, ax::expanded).value, AXValue(true));
    EXPECT_EQ(codex.tree().parent(*codex.menuNode()), codex.tree().findByRole("AXWindow"));
    EXPECT_EQ(codex.menuTexts(), (Texts{"Settings", "Usage remaining", "Help", "Log out"}));
    const auto menu = codex.menuElement();
    EXPECT_EQ(codex.copyAttributeValue(menu, ax::title).value,
              AXValue(std::string("Open profile menu")));

    const auto items = codex.tree().children(*codex.menuNode());
    EXPECT_EQ(codex.copyActionNames(codex.tree().element(items[1]))->front(), "AXPress");

    press(sim, down, 2);
    sim.time.advance(0.01);
    EXPECT_EQ(codex.focusedItem(), "Usage remaining");
    press(sim, enter);
    sim.time.advance(0.08);
    EXPECT_FALSE(codex.usageIsExpanded());
    sim.time.advance(0.01);
    EXPECT_EQ(codex.menuTexts(),
              (Texts{"Settings", "Usage remaining", "5h", "72% left", "Resets 3:45 PM", "Weekly",
                     "40% left", "Resets Sep 12", "Help", "Log out"}));
    EXPECT_EQ(codex.tree().role(codex.tree().children(*codex.menuNode())[2]), "AXStaticText");

    press(sim, escape);
    sim.time.runUntilIdle();
    EXPECT_FALSE(codex.menuIsOpen());
    EXPECT_EQ(codex.copyAttributeValue(control, ax::expanded).value, AXValue(false));
    EXPECT_EQ(codex.copyAttributeValue(menu, ax::role).error, ax::invalidUIElement);
    EXPECT_TRUE(codex.pressedItems().empty());
    EXPECT_EQ(codex.menuOpenings(), 1u);
    EXPECT_EQ(codex.menuClosings(), 1u);
}

// The reader tests' "nothing pressed" and "menus opened" checks rest on these records.
TEST(SimulatedCodex, ReturnPressesTheFocusedItemAndClicksToggleOrClose) {
    Simulation sim;
    clickControl(sim);
    sim.time.advance(1);
    press(sim, down, 9);  // stops at the last item
    press(sim, 126);      // up
    press(sim, enter);
    sim.time.advance(1);
    EXPECT_EQ(sim.codex.pressedItems(), Texts{"Help"});
    EXPECT_FALSE(sim.codex.menuIsOpen());

    for (const Point second :
         {centre(*sim.codex.tree().frame(*sim.codex.controlNode())), Point{700, 300}}) {
        clickControl(sim);
        sim.time.advance(1);
        ASSERT_TRUE(sim.codex.menuIsOpen());
        click(sim, second);
        sim.time.advance(1);
        EXPECT_FALSE(sim.codex.menuIsOpen());
    }
    EXPECT_EQ(sim.codex.menuOpenings(), 3u);
}

}  // namespace
}  // namespace gaugely::simulated_codex_tests
