// Thousands of runs against a Codex with random timing and faults, and a user who may touch the
// keyboard at any moment. Whatever happens, the run must never type after the user did, never
// close a menu it did not open, never type when it was unsure of the menu, and never lose the
// snapshot it had.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "Meterlane/Reader/UserDefaultsKeys.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

struct Scenario {
    CodexPlan plan = CodexPlan::plus;
    bool automatic = false;
    bool priorSnapshot = false;
    std::optional<bool> userOpenedMenu;  // expanded?
    std::optional<double> realInputAt;
    std::optional<double> codexLeavesFrontAt;
};

std::string describe(uint32_t draw, const Scenario& s) {
    return "draw " + std::to_string(draw) + " plan " + std::string(rawValue(s.plan)) +
           (s.automatic ? " automatic" : " manual") +
           (s.userOpenedMenu ? (*s.userOpenedMenu ? " user-expanded" : " user-opened") : "") +
           (s.realInputAt ? " input@" + std::to_string(*s.realInputAt) : "") +
           (s.codexLeavesFrontAt ? " away@" + std::to_string(*s.codexLeavesFrontAt) : "");
}

std::optional<RefreshMenuPresence> startPresence(const MemoryLog& log) {
    for (const auto& line : log.lines("refresh")) {
        const auto at = line.find("menu presence: ");
        if (at != std::string::npos) {
            return fromRawValue<RefreshMenuPresence>(
                line.substr(at + 15, line.find(' ', at + 15) - at - 15));
        }
    }
    return std::nullopt;
}

TEST(RefreshRunProperty, NeverTypesAfterTheUserNorClosesAMenuItDidNotOpen) {
    const char* configured = std::getenv("GAUGELY_PROPERTY_RUNS");
    const uint32_t runs = configured ? static_cast<uint32_t>(std::atoi(configured)) : 1500;
    std::size_t committed = 0, deferred = 0, failed = 0;
    for (uint32_t draw = 1; draw <= runs; ++draw) {
        std::mt19937 rng(draw);
        auto chance = [&](double p) { return std::bernoulli_distribution(p)(rng); };
        auto uniform = [&](double a, double b) {
            return std::uniform_real_distribution<>(a, b)(rng);
        };
        auto maybeDelay = [&](double never, double a, double b) -> std::optional<double> {
            if (chance(never)) {
                return std::nullopt;
            }
            return uniform(a, b);
        };

        Scenario s;
        s.plan = allCases<CodexPlan>()[std::uniform_int_distribution<>(0, 2)(rng)];
        s.automatic = chance(0.5);
        s.priorSnapshot = chance(0.5);
        if (chance(0.15)) {
            s.userOpenedMenu = chance(0.5);
        }
        if (chance(0.5)) {
            s.realInputAt = uniform(0, s.automatic ? 14 : 4);
        }
        if (chance(0.1)) {
            s.codexLeavesFrontAt = uniform(0, s.automatic ? 14 : 4);
        }
        const std::string name = describe(draw, s);

        CodexTreeShape shape;
        shape.webContentElements = 30;
        ReaderWorld world(s.plan, shape);
        UsageReader& reader = world.makeReader(s.plan, s.automatic);
        if (s.priorSnapshot) {
            reader.beginReadCountdown(false);
            world.runUntilRunEnds();
            ASSERT_TRUE(reader.lastRefreshOutcome()->isCommitted()) << name;
        }
        const UsageSnapshot before = reader.snapshot();
        const auto storedBefore =
            world.preferences.dataValue(defaultsKey::planSpecificUsageSnapshots);

        CodexBehaviour& codex = world.codex.behaviour;
        codex.inputLatency = uniform(0, 0.05);
        codex.menuOpenDelay = maybeDelay(0.1, 0.01, 3);
        codex.expansionDelay = maybeDelay(0.1, 0.01, 3);
        codex.escapeCloseDelay = maybeDelay(0.1, 0.001, 0.2);
        codex.rowSettleDelay = chance(0.3) ? uniform(0, 0.4) : 0;
        world.input.tapCreationFails = chance(0.05);
        if (chance(0.05)) {
            world.codex.setControlOccluded(true);
        }
        if (chance(0.05)) {
            world.codex.failAttribute(ax::children, ax::cannotComplete,
                                      [](NodeId node) { return node % 7 == 3; });
        }
        if (chance(0.05)) {
            world.workspace.activationDelay.reset();
            world.workspace.setFrontmost(std::nullopt);
        }
        if (s.userOpenedMenu) {
            world.codex.openMenuAsUser(*s.userOpenedMenu);
        }

        world.input.clearPostedEvents();
        std::optional<double> inputTime;
        std::optional<double> awayTime;
        if (s.realInputAt) {
            world.time.asyncAfter(*s.realInputAt, [&] {
                inputTime = world.time.monotonicSeconds();
                world.input.injectRealKeyPress(0);
            });
        }
        if (s.codexLeavesFrontAt) {
            world.time.asyncAfter(*s.codexLeavesFrontAt, [&] {
                awayTime = world.time.monotonicSeconds();
                world.workspace.setFrontmost(std::nullopt);
            });
        }
        world.log.clear();
        reader.beginReadCountdown(s.automatic);
        world.runUntilRunEnds(120);

        ASSERT_FALSE(reader.automationInProgress()) << name;
        const auto& posted = world.input.postedEvents();
        const auto presence = startPresence(world.log);
        if (s.automatic && inputTime) {
            for (const auto& event : posted) {
                ASSERT_LE(event.time, *inputTime) << name << ": synthetic event after real input";
            }
        }
        if (presence != RefreshMenuPresence::closed) {
            ASSERT_TRUE(posted.empty()) << name << ": typed into a menu it was unsure of";
        }
        for (const auto& event : posted) {
            if (event.type != InputEventType::keyDown || event.keyCode != 53) {
                continue;
            }
            ASSERT_FALSE(s.userOpenedMenu) << name << ": closed the user's menu";
            ASSERT_GT(world.codex.menuOpenings(), s.priorSnapshot ? 1u : 0u) << name;
            // Input before the run's first synthetic event came before the guard was watching, and
            // a manual run without input monitoring has nobody watching.
            const bool watchedInput =
                inputTime && *inputTime >= posted.front().time && !world.input.tapCreationFails;
            ASSERT_TRUE(!watchedInput || event.time < *inputTime) << name << ": Escape after input";
            ASSERT_TRUE(!awayTime || event.time < *awayTime) << name << ": Escape into another app";
        }
        ASSERT_TRUE(world.codex.pressedItems().empty()) << name << ": pressed a menu item";
        if (!reader.lastRefreshOutcome()->isCommitted()) {
            ASSERT_EQ(reader.snapshot(), before) << name;
            ASSERT_EQ(world.preferences.dataValue(defaultsKey::planSpecificUsageSnapshots),
                      storedBefore)
                << name;
        } else {
            ASSERT_TRUE(isCompleteUsageSnapshot(
                reader.snapshot(), PlanQuotaConfiguration::configuration(s.plan).schema))
                << name;
        }
        switch (reader.lastRefreshOutcome()->kind) {
            case RefreshRunOutcome::Kind::committed:
            case RefreshRunOutcome::Kind::cleanupUncertain:
                ++committed;
                break;
            case RefreshRunOutcome::Kind::deferred:
                ++deferred;
                break;
            case RefreshRunOutcome::Kind::failed:
                ++failed;
                break;
        }
    }
    // The random world must exercise every ending, or the property says little.
    EXPECT_GT(committed, runs / 10);
    EXPECT_GT(deferred, runs / 20);
    EXPECT_GT(failed, runs / 50);
    std::printf("property runs: %zu committed, %zu deferred, %zu failed\n", committed, deferred,
                failed);
}

}  // namespace
}  // namespace gaugely
