#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {
namespace {

TEST(VirtualTime, RunsWorkByDueTimeThenBySchedulingOrder) {
    VirtualTime time;
    std::vector<std::string> order;
    std::vector<double> at;
    auto record = [&](std::string name) {
        return [&, name] {
            order.push_back(name);
            at.push_back(time.monotonicSeconds());
        };
    };
    auto c = time.asyncAfter(0.5, record("c"));
    auto a = time.asyncAfter(0.1, record("a"));
    auto b = time.asyncAfter(0.1, record("b"));
    TaskHandle nested;
    auto now = time.async([&] {
        order.push_back("now");
        // Scheduled from inside a step with no delay: after everything already due now.
        nested = time.async(record("nested"));
    });
    auto negative = time.asyncAfter(-3, record("negative"));

    EXPECT_EQ(time.runUntilIdle(), 6u);
    EXPECT_EQ(order, (std::vector<std::string>{"now", "negative", "nested", "a", "b", "c"}));
    EXPECT_EQ(at, (std::vector<double>{1000.0, 1000.0, 1000.1, 1000.1, 1000.5}));
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST(VirtualTime, CancellationIsIdempotentAndSafeInAnyState) {
    VirtualTime time;
    int runs = 0;
    auto cancelledEarly = time.asyncAfter(1, [&] { ++runs; });
    auto ranFirst = time.asyncAfter(0.5, [&] { ++runs; });
    TaskHandle selfCancelling;
    selfCancelling = time.scheduleRepeating(0.2, 0.2, 0.1, [&] {
        ++runs;
        selfCancelling.cancel();
    });
    cancelledEarly.cancel();
    cancelledEarly.cancel();
    EXPECT_EQ(time.pendingCount(), 2u);

    time.advance(5);
    EXPECT_EQ(runs, 2);
    ranFirst.cancel();  // after it ran
    EXPECT_EQ(time.pendingCount(), 0u);

    auto orphan = std::make_unique<VirtualTime>()->asyncAfter(1, [] {});
    orphan.cancel();  // the queue is gone
}

TEST(VirtualTime, DroppingAHandleCancelsItsWorkEvenFromInsideTheWork) {
    VirtualTime time;
    int runs = 0;
    {
        auto dropped = time.asyncAfter(1, [&] { ++runs; });
    }
    TaskHandle replaced = time.asyncAfter(1, [&] { ++runs; });
    replaced = time.asyncAfter(2, [&] { ++runs; });
    TaskHandle self;
    self = time.async([&] {
        self = TaskHandle();
        ++runs;  // the closure lives on until this call returns
    });
    time.advance(5);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST(VirtualTime, RepeatingTimersKeepCadenceAndStopWhenTheirHandleIsDropped) {
    VirtualTime time;
    std::vector<double> fires;
    auto timer =
        time.scheduleRepeating(15, 15, 1, [&] { fires.push_back(time.monotonicSeconds()); });
    time.advance(46);
    EXPECT_EQ(fires, (std::vector<double>{1015, 1030, 1045}));
    EXPECT_DOUBLE_EQ(time.monotonicSeconds(), 1046);
    EXPECT_EQ(time.nextDueTime(), 1060.0);

    // A busy main thread makes a firing late, but not the ones after it.
    time.block(20);
    time.advance(0);
    time.advance(14);
    EXPECT_EQ(fires, (std::vector<double>{1015, 1030, 1045, 1066, 1075}));

    timer.cancel();
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST(VirtualTime, RunUntilIdleLeavesRepeatingTimersButRunsThemOnTheWay) {
    VirtualTime time;
    int ticks = 0;
    bool late = false;
    auto timer = time.scheduleRepeating(1, 1, 0, [&] { ++ticks; });
    time.post([&] {});
    auto lateWork = time.asyncAfter(3.5, [&] { late = true; });
    EXPECT_EQ(time.runUntilIdle(), 5u) << "posted work is an item like any other";
    EXPECT_TRUE(late);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(time.pendingCount(), 1u);
    EXPECT_EQ(time.pendingOneShotCount(), 0u);
    EXPECT_EQ(time.runUntilIdle(), 0u);

    // The step bound stops work that keeps rescheduling itself.
    std::function<void()> again = [&] { time.post(again); };
    time.post(again);
    EXPECT_EQ(time.runUntilIdle(10), 10u);
}

TEST(VirtualTime, RunUntilStopsAtThePredicateOrTheTimeout) {
    VirtualTime time;
    bool done = false;
    auto work = time.asyncAfter(2, [&] { done = true; });
    EXPECT_FALSE(time.runUntil([&] { return done; }, 1.5));
    EXPECT_DOUBLE_EQ(time.monotonicSeconds(), 1001.5);
    EXPECT_TRUE(time.runUntil([&] { return done; }, 10));
    EXPECT_DOUBLE_EQ(time.monotonicSeconds(), 1002);
}

}  // namespace
}  // namespace gaugely
