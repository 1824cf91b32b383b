#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"

namespace gaugely {
namespace {

constexpr uint64_t marker = 0x4D4C4D4F4E49544F;

// A subscription dropped (a reader that quit) is never called again.
TEST(FakeWorkspace, NotificationsReachOnlyLiveSubscriptions) {
    VirtualTime time;
    FakeWorkspace workspace(time);
    int wakes = 0;
    int activations = 0;
    auto wake = workspace.observeDidWake([&] { ++wakes; });
    auto active = workspace.observeDidBecomeActive([&] { ++activations; });
    workspace.postWake();
    workspace.postDidBecomeActive();
    wake.reset();
    workspace.postWake();
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(activations, 1);
}

// Applications see each event at once; a tap hears only the events of its mask, on the main queue
// as a run-loop source would, and nothing once destroyed. Only synthetic events are recorded as
// posted: the safety checks of the reader tests rest on that record.
TEST(FakeInput, TapsHearTheirEventsOnTheMainQueue) {
    VirtualTime time;
    FakeInput input(time);
    std::size_t heard = 0;
    auto listener = input.addListener([&](const InputEvent&) { ++heard; });
    std::vector<std::pair<InputEventType, int64_t>> seen;
    auto tap = input.createListenOnlyTap(
        eventMaskBit(InputEventType::keyDown) | eventMaskBit(InputEventType::mouseMoved),
        [&](InputEventType type, int64_t userData) {
            seen.push_back({type, userData});
        });

    EXPECT_TRUE(input.postKeyPress(36, marker));
    input.injectRealInput(InputEventType::mouseMoved, {5, 6});
    input.injectRealInput(InputEventType::scrollWheel);
    EXPECT_EQ(heard, 4u);
    EXPECT_TRUE(seen.empty());
    time.runUntilIdle();
    EXPECT_EQ(seen, (std::vector<std::pair<InputEventType, int64_t>>{
                        {InputEventType::keyDown, static_cast<int64_t>(marker)},
                        {InputEventType::mouseMoved, 0}}));
    EXPECT_EQ(input.postedKeyPresses(), std::vector<uint16_t>{36});
    EXPECT_EQ(input.postedEvents().size(), 2u);

    input.injectRealInput(InputEventType::keyDown, {}, 1);
    tap.reset();
    time.runUntilIdle();
    EXPECT_EQ(seen.size(), 2u);
}

// The platform's idle time counts synthetic events too: the reader's own click resets it.
TEST(FakeInput, IdleTimeCountsEveryKindOfInput) {
    VirtualTime time;
    FakeInput input(time);
    EXPECT_GE(input.secondsSinceLastInputEvent(), 10);
    input.setLastInputSecondsAgo(3);
    time.advance(2);
    EXPECT_DOUBLE_EQ(input.secondsSinceLastInputEvent(), 5);
    input.postMouseEvent(InputEventType::mouseMoved, {}, marker);
    time.advance(1);
    EXPECT_DOUBLE_EQ(input.secondsSinceLastInputEvent(), 1);
    input.injectRealInput(InputEventType::flagsChanged);
    EXPECT_DOUBLE_EQ(input.secondsSinceLastInputEvent(), 0);
}

}  // namespace
}  // namespace gaugely
