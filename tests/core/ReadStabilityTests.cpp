#include <gtest/gtest.h>

#include <functional>
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

TEST(ModelObservers, AChangeSetTellsOnceAtItsEndAndOnlyOfChanges) {
    struct Model {
        ModelObservers observers;
        int count = 0;
        std::string name;
    };
    const struct {
        const char* name;
        std::function<void(Model&)> change;
        int told;
    } cases[] = {
        {"two publishes, no set",
         [](Model& m) {
             m.observers.publish(m.count, 1);
             m.observers.publish(m.name, std::string("a"));
         },
         2},
        {"two publishes in a set",
         [](Model& m) {
             auto changes = m.observers.changeSet();
             m.observers.publish(m.count, 1);
             m.observers.publish(m.name, std::string("a"));
         },
         1},
        {"nested sets tell when the outermost ends",
         [](Model& m) {
             auto outer = m.observers.changeSet();
             {
                 auto inner = m.observers.changeSet();
                 m.observers.publish(m.count, 1);
             }
             m.observers.notify();
         },
         1},
        {"a set that changed nothing",
         [](Model& m) {
             auto changes = m.observers.changeSet();
             m.observers.publish(m.count, 0);
         },
         0},
    };
    for (const auto& c : cases) {
        Model model;
        int told = 0;
        model.observers.add([&] { ++told; });
        c.change(model);
        EXPECT_EQ(told, c.told) << c.name;
    }
}

}  // namespace
}  // namespace gaugely
