#include <gtest/gtest.h>

#include <vector>

#include "Meterlane/Simulation/SimulationClockDriver.h"

namespace gaugely {
namespace {

// A real clock that moves only when the driver sleeps, with a CPU clock that charges each work
// item a fixed cost.
struct FakeRealTime {
    double now = 50;
    double cpu = 0;
    std::vector<double> sleeps;
    // Stops once the real clock reaches this.
    std::optional<double> stopAt;
    // A sleep wakes this much before it was asked to end (a signal, a spurious wake-up).
    double wakesEarlyBy = 0;

    RealTimeSource source() {
        return RealTimeSource{
            [this] { return now; },
            [this](double seconds) {
                sleeps.push_back(seconds);
                now += seconds > wakesEarlyBy * 2 ? seconds - wakesEarlyBy : seconds;
            },
            [this] { return stopAt && now >= *stopAt; },
            [this] { return cpu; },
        };
    }
};

TEST(SimulationClockDriver, PlaysItemsAtTheirScaledDueTimesSleepingOnlyBetweenThem) {
    const struct {
        const char* name;
        std::optional<double> speed;
        std::vector<double> sleeps;
        std::vector<double> realTimes;
    } cases[] = {
        {"1x", 1.0, {1.0, 2.0, 2.0}, {51, 53, 53, 55}},
        {"4x", 4.0, {0.25, 0.5, 0.5}, {50.25, 50.75, 50.75, 51.25}},
        // A speed that is not positive plays instantly, like none.
        {"virtual", std::nullopt, {}, {50, 50, 50, 50}},
        {"zero", 0.0, {}, {50, 50, 50, 50}},
    };
    for (const auto& c : cases) {
        VirtualTime time;
        FakeRealTime real;
        // When each item ran on both clocks, and where the clocks stand at the limit.
        std::vector<double> virtualTimes, realTimes;
        const auto record = [&] {
            virtualTimes.push_back(time.monotonicSeconds());
            realTimes.push_back(real.now);
        };
        auto a = time.asyncAfter(1, record);
        auto b = time.asyncAfter(3, record);
        auto c3 = time.asyncAfter(3, record);
        SimulationClockDriver driver(time, c.speed, real.source());
        EXPECT_EQ(driver.run(5), SimulationClockDriver::Ending::timeLimit) << c.name;
        realTimes.push_back(real.now);
        EXPECT_EQ(virtualTimes, (std::vector<double>{1001, 1003, 1003})) << c.name;
        EXPECT_EQ(realTimes, c.realTimes) << c.name;
        EXPECT_EQ(real.sleeps, c.sleeps) << c.name;
        EXPECT_EQ(time.monotonicSeconds(), 1005) << c.name;
    }
}

TEST(SimulationClockDriver, AWakeUpBeforeTheDueTimeSleepsAgainForTheRest) {
    VirtualTime time;
    FakeRealTime real;
    real.wakesEarlyBy = 0.4;
    int runs = 0;
    auto work = time.asyncAfter(2, [&] { ++runs; });
    SimulationClockDriver driver(time, 1.0, real.source());
    driver.run(2);
    EXPECT_EQ(runs, 1);
    ASSERT_EQ(real.sleeps.size(), 2u);
    EXPECT_DOUBLE_EQ(real.sleeps[0], 2.0);
    EXPECT_NEAR(real.sleeps[1], 0.4, 1e-9);
    EXPECT_GE(real.now, 52.0);
}

TEST(SimulationClockDriver, EndsOnThePredicateOrAStopAndReportsEachItemsCost) {
    VirtualTime time;
    FakeRealTime real;
    int ticks = 0;
    auto timer = time.scheduleRepeating(1, 1, 0, [&] {
        ++ticks;
        real.cpu += 0.002;
        // The second tick blocks the main thread, as a slow round trip does.
        if (ticks == 2) {
            time.block(0.5);
        }
    });
    // Falls due during that block: it runs late, and blocks nothing itself.
    const TaskHandle late = time.asyncAfter(2.2, [] {});
    std::vector<WorkItemReport> reports;
    SimulationClockDriver driver(time, std::nullopt, real.source());
    driver.setAfterEachItem([&](const WorkItemReport& report) { reports.push_back(report); });

    EXPECT_EQ(driver.run(100, [&] { return ticks == 3; }), SimulationClockDriver::Ending::finished);
    EXPECT_EQ(time.monotonicSeconds(), 1003);
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_EQ(reports[1].virtualTime, 1002.5);
    EXPECT_DOUBLE_EQ(reports[1].cpuSeconds, 0.002);
    EXPECT_DOUBLE_EQ(reports[0].blockedSeconds, 0);
    EXPECT_DOUBLE_EQ(reports[1].blockedSeconds, 0.5);
    EXPECT_EQ(reports[2].virtualTime, 1002.5);
    EXPECT_DOUBLE_EQ(reports[2].blockedSeconds, 0);
    EXPECT_DOUBLE_EQ(driver.cpuSecondsInItems(), 0.006);
    EXPECT_EQ(driver.itemsRun(), 4u);

    // A stop during a wait ends the run before the next item; virtual time stays where it was.
    SimulationClockDriver paced(time, 1.0, real.source());
    real.stopAt = real.now + 2.5;
    EXPECT_EQ(paced.run(100), SimulationClockDriver::Ending::stopped);
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(time.monotonicSeconds(), 1005);
}

}  // namespace
}  // namespace gaugely
