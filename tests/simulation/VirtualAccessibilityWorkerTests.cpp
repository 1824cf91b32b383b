#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely::worker_tests {
namespace {

constexpr double start = VirtualTime::defaultMonotonicStart;
constexpr double timeout = 2.0;
using Texts = std::vector<std::string>;

// A worker over a bare simulated application whose root's title a test can change mid-job.
struct WorkerWorld {
    explicit WorkerWorld(double latency) {
        ax.setRoundTripCost(&time, latency);
        ax.tree().set(ax.tree().root(), ax::title, std::string("first"));
    }

    // A job that reads the root's title `reads` times and returns what it read, noting on the
    // side when it began and ended (the main queue waits meanwhile, so that is safe).
    AccessibilityJobHandle submitReads(std::string name, int reads,
                                       std::vector<std::string>* delivered = nullptr) {
        const ProcessID pid = ax.pid();
        return worker.submit(
            [this, name, reads, pid](Accessibility& port) {
                trace.push_back("begin " + name);
                const AXElement application = port.applicationElement(pid);
                std::vector<std::string> titles;
                for (int i = 0; i < reads; ++i) {
                    const auto read = port.copyAttributeValue(application, ax::title);
                    const std::string* title = read.get<std::string>();
                    titles.push_back(title ? *title : "failed");
                }
                trace.push_back("end " + name);
                return titles;
            },
            [this, name, delivered](std::vector<std::string> titles) {
                deliveredAt.push_back(time.monotonicSeconds());
                trace.push_back("deliver " + name);
                if (delivered) {
                    *delivered = std::move(titles);
                }
            });
    }

    // Something due on the main queue every `seconds` (a redraw, a scheduler tick), so a job hands
    // over at every round trip longer than that.
    void tickEvery(double seconds) {
        tick = time.scheduleRepeating(seconds, seconds, 0, [] {});
    }

    VirtualTime time;
    SimulatedAccessibility ax;
    VirtualAccessibilityWorker worker{time, ax, timeout};
    TaskHandle tick;
    std::vector<std::string> trace;
    std::vector<double> deliveredAt;
};

TEST(VirtualAccessibilityWorker, JobsRunOneAtATimeInOrderAndLastTheirRoundTripsTimesTheLatency) {
    struct Case {
        double latency;
        std::vector<int> reads;
        double tick;  // 0: nothing else on the main queue
    };
    for (const Case& c :
         std::vector<Case>{{0, {3, 1, 2}, 0}, {0.01, {5, 0, 4}, 0}, {0.01, {5, 0, 4}, 0.003}}) {
        SCOPED_TRACE(testing::Message() << c.latency << " " << c.tick);
        WorkerWorld world(c.latency);
        if (c.tick > 0) {
            world.tickEvery(c.tick);
        }
        std::vector<AccessibilityJobHandle> handles;
        std::vector<std::string> expectedTrace;
        std::vector<double> expectedAt;
        double end = start;
        int total = 0;
        for (std::size_t i = 0; i < c.reads.size(); ++i) {
            const std::string name(1, static_cast<char>('a' + i));
            handles.push_back(world.submitReads(name, c.reads[i]));
            expectedTrace.insert(expectedTrace.end(), {"begin " + name, "end " + name});
            end += c.reads[i] * c.latency;
            expectedAt.push_back(end);
            total += c.reads[i];
        }
        // Nothing starts inside the step that submits.
        EXPECT_TRUE(world.trace.empty());
        world.time.runUntilIdle();

        // Each job ends before the next begins, and results come back in submission order.
        std::stable_partition(world.trace.begin(), world.trace.end(), [](const std::string& event) {
            return !event.starts_with("deliver");
        });
        expectedTrace.insert(expectedTrace.end(), {"deliver a", "deliver b", "deliver c"});
        EXPECT_EQ(world.trace, expectedTrace);
        ASSERT_EQ(world.deliveredAt.size(), expectedAt.size());
        for (std::size_t i = 0; i < expectedAt.size(); ++i) {
            EXPECT_NEAR(world.deliveredAt[i], expectedAt[i], 1e-9) << i;
        }
        // The round trips were the worker's time, never the main thread's.
        EXPECT_EQ(world.worker.roundTrips(), static_cast<std::size_t>(total));
        EXPECT_EQ(world.ax.roundTrips(), static_cast<std::size_t>(total));
        EXPECT_NEAR(world.worker.busySeconds(), total * c.latency, 1e-9);
        EXPECT_EQ(world.ax.blockedSeconds(), 0.0);
        EXPECT_TRUE(world.worker.idle());
        // The application element a job gets, and the process, carry the messaging timeout.
        EXPECT_EQ(world.ax.messagingTimeout(world.ax.applicationElement(world.ax.pid())), timeout);
        EXPECT_EQ(world.ax.messagingTimeout(world.ax.systemWideElement()), timeout);
    }
}

TEST(VirtualAccessibilityWorker, ACancelledJobDeliversNothingAndLeavesNoWorkBehind) {
    // A job cancelled while under way, by its handle or by dropping it, is the case of
    // RefreshRun.ARunGivenUpInTheMiddleOfAWalkLeavesNoWorkBehind.
    enum class When { beforeStart, beforeDelivery, afterDelivery };
    struct Case {
        When when;
        std::size_t answered;  // round trips the simulated application answered for the first job
        bool delivered;
    };
    // The first job makes 5 round trips of 10 ms; the second (2 round trips) always runs.
    for (const Case& c : std::vector<Case>{
             {When::beforeStart, 0, false},
             {When::beforeDelivery, 5, false},
             {When::afterDelivery, 5, true},
         }) {
        SCOPED_TRACE(static_cast<int>(c.when));
        WorkerWorld world(0.01);
        world.tickEvery(0.005);
        AccessibilityJobHandle first = world.submitReads("first", 5);
        auto second = world.submitReads("second", 2);

        if (c.when == When::beforeDelivery) {
            world.time.runUntil([&] { return world.worker.pendingDeliveries() == 1; }, 1);
            EXPECT_EQ(world.worker.queuedJobs(), 1u);  // the second has not started yet
        } else if (c.when == When::afterDelivery) {
            world.time.runUntil([&] { return world.deliveredAt.size() == 1; }, 1);
        }
        first.cancel();
        EXPECT_EQ(world.worker.pendingDeliveries(), 0u);
        world.time.runUntilIdle();

        std::erase_if(world.trace,
                      [](const std::string& event) { return !event.starts_with("deliver"); });
        EXPECT_EQ(world.trace, (c.delivered ? Texts{"deliver first", "deliver second"}
                                            : Texts{"deliver second"}));
        EXPECT_EQ(world.ax.roundTrips(), c.answered + 2);
        EXPECT_TRUE(world.worker.idle());
        EXPECT_EQ(world.time.pendingOneShotCount(), 0u);
    }
}

TEST(VirtualAccessibilityWorker, GoingAwayMidJobRunsTheJobOutAndDeliversNothing) {
    VirtualTime time;
    SimulatedAccessibility ax;
    ax.setRoundTripCost(&time, 0.01);
    auto tick = time.scheduleRepeating(0.005, 0.005, 0, [] {});
    bool delivered = false;
    int failed = 0;
    {
        VirtualAccessibilityWorker worker(time, ax, timeout);
        const ProcessID pid = ax.pid();
        auto job = worker.submit(
            [&failed, pid](Accessibility& port) {
                const AXElement application = port.applicationElement(pid);
                for (int i = 0; i < 100; ++i) {
                    if (port.copyAttributeValue(application, ax::role).error ==
                        ax::cannotComplete) {
                        ++failed;
                    }
                }
                return 0;
            },
            [&](int) { delivered = true; });
        time.runUntil([&] { return worker.roundTrips() == 3; }, 1);
    }
    time.runUntilIdle();
    EXPECT_FALSE(delivered);
    EXPECT_EQ(ax.roundTrips(), 2u);
    EXPECT_EQ(failed, 98);
    EXPECT_EQ(time.pendingOneShotCount(), 0u);
    EXPECT_NEAR(time.monotonicSeconds(), start + 0.02, 1e-9);
}

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
}  // namespace gaugely::worker_tests
