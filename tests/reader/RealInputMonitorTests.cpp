#include <gtest/gtest.h>

#include "Meterlane/Reader/RealInputMonitor.h"
#include "Meterlane/Simulation/FakeInput.h"

namespace gaugely {
namespace {

struct MonitorWorld {
    VirtualTime time;
    FakeInput input{time};
    RealInputMonitor monitor{input};
};

TEST(RealInputMonitor, TellsOurOwnEventsFromTheUsers) {
    const struct {
        const char* name;
        std::function<void(FakeInput&)> act;
        bool detected;
    } cases[] = {
        {"marked Return", [](FakeInput& in) { in.postKeyPress(36, syntheticEventMarker); }, false},
        {"marked click",
         [](FakeInput& in) {
             in.postMouseEvent(InputEventType::leftMouseDown, {1, 1}, syntheticEventMarker);
         },
         false},
        {"real key press", [](FakeInput& in) { in.injectRealKeyPress(0); }, true},
        {"real mouse move", [](FakeInput& in) { in.injectRealInput(InputEventType::mouseMoved); },
         true},
        {"real scroll", [](FakeInput& in) { in.injectRealInput(InputEventType::scrollWheel); },
         true},
        {"event marked by someone else",
         [](FakeInput& in) { in.postKeyPress(36, syntheticEventMarker + 1); }, true},
        {"tap disabled by timeout",
         [](FakeInput& in) { in.disableAllTaps(InputEventType::tapDisabledByTimeout); }, false},
        {"tap disabled by user input",
         [](FakeInput& in) { in.disableAllTaps(InputEventType::tapDisabledByUserInput); }, true},
    };
    for (const auto& c : cases) {
        MonitorWorld world;
        ASSERT_TRUE(world.monitor.start()) << c.name;
        c.act(world.input);
        // The tap reports on the main run loop, after the current step.
        world.time.runUntilIdle();
        EXPECT_EQ(world.monitor.realInputDetected(), c.detected) << c.name;
        // A disabled tap is switched back on at once, whatever disabled it.
        EXPECT_TRUE(world.input.tapIsEnabled(0)) << c.name;
    }
}

TEST(RealInputMonitor, StartsOnceAndStopsCleanly) {
    MonitorWorld world;
    EXPECT_TRUE(world.monitor.start());
    EXPECT_FALSE(world.monitor.start());
    world.monitor.stop();
    EXPECT_EQ(world.input.liveTapCount(), 0u);
    world.input.injectRealKeyPress(0);
    world.time.runUntilIdle();
    EXPECT_FALSE(world.monitor.realInputDetected());

    world.input.tapCreationFails = true;
    RealInputMonitor refused(world.input);
    EXPECT_FALSE(refused.start());
}

}  // namespace
}  // namespace gaugely
