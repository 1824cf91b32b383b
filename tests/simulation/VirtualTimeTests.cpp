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

}  // namespace
}  // namespace gaugely
