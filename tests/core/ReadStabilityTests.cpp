#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LowUsageNotificationSupport/ModelObservers.h"
#include "LowUsageNotificationSupport/PlanSnapshotVisibility.h"
#include "LowUsageNotificationSupport/PlanSynchronizationState.h"
#include "LowUsageNotificationSupport/RefreshRunGuard.h"
#include "LowUsageNotificationSupport/RefreshSnapshotStability.h"

namespace gaugely {
namespace {

struct Reading {
    std::optional<std::string> value;
    double time;
    std::optional<std::string> stable;
};

TEST(RefreshSnapshotStability, NeedsTheSameReadingTwiceAtLeastASettlingIntervalApart) {
    const struct {
        const char* name;
        std::vector<Reading> readings;
    } cases[] = {
        {"settled at exactly the interval, and stays so",
         {{"A", 0.0, {}}, {"A", 0.19, {}}, {"A", 0.2, "A"}, {"A", 0.21, "A"}}},
        {"a change restarts the chain",
         {{"A", 0.0, {}}, {"B", 0.3, {}}, {"B", 0.4, {}}, {"B", 0.5, "B"}}},
        {"a missing reading restarts the chain",
         {{"A", 0.0, {}}, {std::nullopt, 0.1, {}}, {"A", 0.3, {}}, {"A", 0.5, "A"}}},
        {"a change after stability starts over",
         {{"A", 0.0, {}}, {"A", 0.3, "A"}, {"B", 0.31, {}}, {"A", 0.6, {}}}},
    };
    for (const auto& c : cases) {
        RefreshSnapshotStability<std::string> stability;
        for (const Reading& reading : c.readings) {
            EXPECT_EQ(stability.observe(reading.value, reading.time), reading.stable)
                << c.name << " at " << reading.time;
        }
    }
}

TEST(RefreshSnapshotStability, AdvanceCommitsOnlyAStableValueAndGivesUpAtTheLimit) {
    const struct {
        const char* name;
        bool stable;
        int attempt;
        int limit;
        bool commitAccepts;
        RefreshReadOutcome expected;
        int commits;
    } cases[] = {
        {"unstable below the limit", false, 4, 5, true, RefreshReadOutcome::waiting, 0},
        {"unstable at the limit", false, 5, 5, true, RefreshReadOutcome::failed, 0},
        {"stable and accepted", true, 5, 5, true, RefreshReadOutcome::committed, 1},
        {"stable but refused", true, 1, 5, false, RefreshReadOutcome::failed, 1},
    };
    for (const auto& c : cases) {
        RefreshSnapshotStability<int> stability;
        stability.observe(7, 0.0);
        int commits = 0;
        const auto outcome =
            stability.advance(7, c.stable ? 1.0 : 0.1, c.attempt, c.limit, [&](int value) {
                EXPECT_EQ(value, 7);
                ++commits;
                return c.commitAccepts;
            });
        EXPECT_EQ(outcome, c.expected) << c.name;
        EXPECT_EQ(commits, c.commits) << c.name;
    }
}

TEST(PlanSynchronizationState, JsonHasOneRequiredKey) {
    EXPECT_EQ(encodeJson(PlanSynchronizationState{true}),
              R"({"requiresFreshSynchronization":true})");
    const struct {
        const char* text;
        std::optional<PlanSynchronizationState> expected;
    } cases[] = {
        {R"({"requiresFreshSynchronization":true})", PlanSynchronizationState{true}},
        {R"({"requiresFreshSynchronization":false,"other":1})", PlanSynchronizationState{false}},
        {R"({})", std::nullopt},
        {R"({"requiresFreshSynchronization":1})", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(decodeJson<PlanSynchronizationState>(c.text), c.expected) << c.text;
    }
}

TEST(PlanSnapshotVisibility, ShowsOnlyAFreshValidatedSnapshotOfTheSelectedPlan) {
    constexpr auto validated = QuotaReaderSupport::validated;
    constexpr auto unvalidated = QuotaReaderSupport::unvalidated;
    const struct {
        std::optional<CodexPlan> active;
        std::optional<CodexPlan> selected;
        QuotaReaderSupport support;
        bool requiresFresh;
        bool expected;
    } cases[] = {
        {CodexPlan::plus, CodexPlan::plus, validated, false, true},
        {CodexPlan::plus, CodexPlan::plus, validated, true, false},
        {CodexPlan::plus, CodexPlan::plus, unvalidated, false, false},
        {CodexPlan::plus, CodexPlan::pro, validated, false, false},
        {CodexPlan::plus, std::nullopt, validated, false, false},
        {std::nullopt, CodexPlan::plus, validated, false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(
            PlanSnapshotVisibility::canDisplay(c.active, c.selected, c.support, c.requiresFresh),
            c.expected)
            << (c.active ? rawValue(*c.active) : "none") << " / "
            << (c.selected ? rawValue(*c.selected) : "none") << " fresh " << c.requiresFresh;
    }
}

TEST(RefreshRunGuard, DismissesOnlyAMenuTheRunOpenedItself) {
    EXPECT_TRUE(RefreshRunGuard::mayDismiss(false, true, true, true, true));
    // Each condition alone forbids it.
    EXPECT_FALSE(RefreshRunGuard::mayDismiss(true, true, true, true, true));
    EXPECT_FALSE(RefreshRunGuard::mayDismiss(false, false, true, true, true));
    EXPECT_FALSE(RefreshRunGuard::mayDismiss(false, true, false, true, true));
    EXPECT_FALSE(RefreshRunGuard::mayDismiss(false, true, true, false, true));
    EXPECT_FALSE(RefreshRunGuard::mayDismiss(false, true, true, true, false));
}

// Batching is the reader's change-set tests' to check, telling only of changes its observer test's;
// nesting is checked here.
TEST(ModelObservers, NestedChangeSetsTellOnceWhenTheOutermostEnds) {
    ModelObservers observers;
    int count = 0;
    int told = 0;
    observers.add([&] { ++told; });
    {
        auto outer = observers.changeSet();
        {
            auto inner = observers.changeSet();
            observers.publish(count, 1);
        }
        observers.notify();
        EXPECT_EQ(told, 0);
    }
    EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace gaugely
