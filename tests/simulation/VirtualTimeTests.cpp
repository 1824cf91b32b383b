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
    time.asyncAfter(0.5, record("c"));
    time.asyncAfter(0.1, record("a"));
    time.asyncAfter(0.1, record("b"));
    time.async([&] {
        order.push_back("now");
        // Scheduled from inside a step with no delay: after everything already due now.
        time.async(record("nested"));
    });
    time.asyncAfter(-3, record("negative"));

    EXPECT_EQ(time.runUntilIdle(), 6u);
    EXPECT_EQ(order, (std::vector<std::string>{"now", "negative", "nested", "a", "b", "c"}));
    EXPECT_EQ(at, (std::vector<double>{1000.0, 1000.0, 1000.1, 1000.1, 1000.5}));
    EXPECT_EQ(time.pendingCount(), 0u);
}

}  // namespace
}  // namespace gaugely
