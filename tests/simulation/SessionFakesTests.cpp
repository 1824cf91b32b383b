#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryLog.h"

namespace gaugely {
namespace {

constexpr uint64_t marker = 0x4D4C4D4F4E49544F;

TEST(MemoryLog, FiltersByCategoryAndLevelAndEchoes) {
    MemoryLog log;
    std::vector<std::string> echoed;
    log.setEcho(
        [&](const LogEntry& entry) { echoed.push_back(entry.category + ": " + entry.line); });
    log.write(logSubsystem, "refresh", LogLevel::info, "Profile click issued");
    log.write(logSubsystem, "automatic-refresh", LogLevel::notice, "tick");
    log.write(logSubsystem, "refresh", LogLevel::error, "Refresh failed");
    EXPECT_EQ(log.lines("refresh"),
              (std::vector<std::string>{"Profile click issued", "Refresh failed"}));
    EXPECT_EQ(log.linesAtLevel(LogLevel::notice), std::vector<std::string>{"tick"});
    EXPECT_TRUE(log.contains("tick"));
    EXPECT_FALSE(log.contains("tic"));
    EXPECT_EQ(echoed.size(), 3u);
    EXPECT_EQ(echoed[1], "automatic-refresh: tick");
}

TEST(FakeWorkspace, ActivationComesLaterOrNever) {
    VirtualTime time;
    FakeWorkspace workspace(time);
    workspace.addApplication({"com.apple.finder", 10, ActivationPolicy::regular});
    workspace.addApplication({"com.openai.codex", 20, ActivationPolicy::regular});
    workspace.setFrontmost(10);

    EXPECT_TRUE(workspace.activate(20, activateIgnoringOtherApps));
    EXPECT_EQ(workspace.frontmostPid(), 10);
    time.advance(0.05);
    EXPECT_EQ(workspace.frontmostApplication()->bundleIdentifier, "com.openai.codex");

    workspace.activationDelay.reset();
    EXPECT_TRUE(workspace.activate(10, 0));
    time.advance(10);
    EXPECT_EQ(workspace.frontmostPid(), 20);

    EXPECT_FALSE(workspace.activate(99, 0));
    EXPECT_EQ(workspace.activations(),
              (std::vector<FakeWorkspace::Activation>{{20, 2}, {10, 0}, {99, 0}}));

    // An application that quits before its activation lands never comes to the front.
    workspace.activationDelay = 0.1;
    workspace.activate(10, 0);
    workspace.removeApplication(10);
    time.advance(1);
    EXPECT_EQ(workspace.frontmostPid(), 20);
    workspace.removeApplication(20);
    EXPECT_FALSE(workspace.frontmostApplication());
}

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

struct TapRecord {
    std::vector<std::pair<InputEventType, int64_t>> seen;
};

TEST(FakeInput, TapsSeeSyntheticAndRealEventsOnTheMainQueue) {
    VirtualTime time;
    FakeInput input(time);
    std::vector<InputEvent> heard;
    auto listener = input.addListener([&](const InputEvent& event) { heard.push_back(event); });
    TapRecord record;
    auto tap = input.createListenOnlyTap(
        eventMaskBit(InputEventType::keyDown) | eventMaskBit(InputEventType::mouseMoved),
        [&](InputEventType type, int64_t userData) {
            record.seen.push_back({type, userData});
        });

    EXPECT_TRUE(input.postKeyPress(36, marker));
    input.injectRealInput(InputEventType::mouseMoved, {5, 6});
    input.injectRealInput(InputEventType::scrollWheel);  // outside the tap's mask
    EXPECT_EQ(heard.size(), 4u);
    EXPECT_TRUE(record.seen.empty());  // not inside the step that posted

    time.runUntilIdle();
    const std::vector<std::pair<InputEventType, int64_t>> expected{
        {InputEventType::keyDown, static_cast<int64_t>(marker)}, {InputEventType::mouseMoved, 0}};
    EXPECT_EQ(record.seen, expected);
    EXPECT_EQ(input.postedKeyPresses(), std::vector<uint16_t>{36});
    EXPECT_EQ(input.postedEvents().size(), 2u);

    // A tap destroyed with deliveries pending hears nothing more.
    input.injectRealInput(InputEventType::keyDown, {}, 1);
    tap.reset();
    time.runUntilIdle();
    EXPECT_EQ(record.seen.size(), 2u);
    EXPECT_EQ(input.liveTapCount(), 0u);
}

TEST(FakeInput, DisabledTapIsToldWhyAndIsDeafUntilEnabled) {
    VirtualTime time;
    FakeInput input(time);
    TapRecord record;
    auto tap = input.createListenOnlyTap(eventMaskBit(InputEventType::keyDown),
                                         [&](InputEventType type, int64_t userData) {
                                             record.seen.push_back({type, userData});
                                         });
    input.disableTap(0, InputEventType::tapDisabledByUserInput);
    EXPECT_FALSE(input.tapIsEnabled(0));
    input.injectRealKeyPress(1);
    time.runUntilIdle();
    tap->setEnabled(true);
    input.injectRealKeyPress(2);
    time.runUntilIdle();
    const std::vector<std::pair<InputEventType, int64_t>> expected{
        {InputEventType::tapDisabledByUserInput, 0}, {InputEventType::keyDown, 0}};
    EXPECT_EQ(record.seen, expected);
}

TEST(FakeInput, CreationFailureKnobs) {
    const struct {
        const char* name;
        std::optional<std::size_t> mouseBefore;
        std::optional<std::size_t> keysBefore;
        std::vector<bool> mouseResults;  // three mouse events
        std::vector<bool> keyResults;    // two key presses
    } cases[] = {
        {"never fails", std::nullopt, std::nullopt, {true, true, true}, {true, true}},
        {"mouse at once", 0, std::nullopt, {false, false, false}, {true, true}},
        {"mouse after two", 2, std::nullopt, {true, true, false}, {true, true}},
        {"keys after one", std::nullopt, 1, {true, true, true}, {true, false}},
    };
    for (const auto& c : cases) {
        VirtualTime time;
        FakeInput input(time);
        input.mouseEventsBeforeFailure = c.mouseBefore;
        input.keyPressesBeforeFailure = c.keysBefore;
        std::vector<bool> mouse;
        for (auto type : {InputEventType::mouseMoved, InputEventType::leftMouseDown,
                          InputEventType::leftMouseUp}) {
            mouse.push_back(input.postMouseEvent(type, {1, 1}, marker));
        }
        std::vector<bool> keys{input.postKeyPress(125, marker), input.postKeyPress(53, marker)};
        EXPECT_EQ(mouse, c.mouseResults) << c.name;
        EXPECT_EQ(keys, c.keyResults) << c.name;
        const auto posted = std::count(mouse.begin(), mouse.end(), true) +
                            2 * std::count(keys.begin(), keys.end(), true);
        EXPECT_EQ(input.postedEvents().size(), static_cast<std::size_t>(posted)) << c.name;
    }

    VirtualTime time;
    FakeInput input(time);
    input.tapCreationFails = true;
    EXPECT_EQ(input.createListenOnlyTap(~uint64_t{0}, [](InputEventType, int64_t) {}), nullptr);
}

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
