#include <gtest/gtest.h>

#include <numeric>

#include "Meterlane/Simulation/RefreshProjection.h"
#include "Meterlane/Simulation/TreeRecording.h"
#include "Meterlane/Verification/LatencyStatistics.h"
#include "Meterlane/Verification/TreeSurvey.h"
#include "verification/VerificationWorld.h"

namespace gaugely {
namespace {

TEST(LatencyStatistics, MedianAndNearestRankPercentile) {
    struct Case {
        std::vector<double> samples;
        LatencySummary expected;
    };
    std::vector<double> twentyOne(21);
    std::iota(twentyOne.begin(), twentyOne.end(), 1);
    const std::vector<double> twenty(twentyOne.begin(), twentyOne.end() - 1);
    const Case cases[] = {
        {{}, {}},
        {{5}, {1, 5, 5, 5, 5}},
        {{3, 1, 2}, {3, 2, 3, 3, 6}},
        {{4, 1, 3, 2}, {4, 2.5, 4, 4, 10}},
        // ceil(0.95 × 20) = 19th; ceil(0.95 × 21) = 20th.
        {twenty, {20, 10.5, 19, 20, 210}},
        {twentyOne, {21, 11, 20, 21, 231}},
    };
    for (const Case& entry : cases) {
        EXPECT_EQ(summarizeLatency(entry.samples), entry.expected) << entry.samples.size();
    }
}

TEST(TreeWhereabouts, TheRefreshsOwnTimedReadsTellWhereTheMenuAndTheControlAre) {
    for (const MenuPlacement placement : {MenuPlacement::window, MenuPlacement::application}) {
        VerificationWorld world;
        world.codex.behaviour.menuPlacement = placement;
        world.makeReader();
        const std::size_t tripsBefore = world.codex.roundTrips();
        world.refreshOnce();
        ASSERT_TRUE(world.reader->lastRefreshOutcome()->isCommitted());

        const auto menu = world.whereabouts.profileMenu();
        ASSERT_TRUE(menu);
        EXPECT_TRUE(menu->reachesApplication);
        EXPECT_EQ(menu->roles.front(), "AXApplication");
        EXPECT_EQ(menu->roles.back(), "AXMenu");
        // Where the simulated Codex puts it: in its window, or beside it.
        EXPECT_EQ(menu->text(), placement == MenuPlacement::application
                                    ? "AXApplication › AXMenu"
                                    : "AXApplication › AXWindow › AXMenu");
        EXPECT_FALSE(menu->insideWebContent());
        const auto control = world.whereabouts.profileControl();
        ASSERT_TRUE(control);
        EXPECT_EQ(control->roles.back(), "AXPopUpButton");
        EXPECT_TRUE(control->insideWebContent());
        // Watching cost the run nothing; every round trip the simulated Codex counted went
        // through the timing wrapper and took its cost, and the calls that are no message to
        // Codex (making an element, asking about our own trust) took none.
        EXPECT_EQ(world.timed.roundTripsSince(0), world.codex.roundTrips() - tripsBefore);
        EXPECT_NEAR(world.timed.roundTripLatencySince(0).p95, 0.002, 1e-9);
        for (const CallLatency& call : world.timed.latencySince(0)) {
            const bool roundTrip = isRoundTrip(*fromRawValue<AXCall>(call.call));
            EXPECT_NEAR(call.summary.median, roundTrip ? 0.002 : 0, 1e-9) << call.call;
        }

        world.whereabouts.forgetSightings();
        EXPECT_FALSE(world.whereabouts.profileMenu());
    }
}

TEST(TreeSurvey, SizeAgainstTheBudgetWebContentAndWhereTheControlSits) {
    struct Case {
        std::size_t webContent;
        bool withinBudget;
    };
    for (const Case entry : {Case{120, true}, Case{2600, false}}) {
        CodexTreeShape shape;
        shape.webContentElements = entry.webContent;
        VerificationWorld world(CodexPlan::plus, shape);
        const AXElement application = world.timed.applicationElement(world.codex.pid());
        const TreeRecording recording = recordTree(world.timed, application);
        const TreeSurvey survey =
            surveyTree(recording.tree, recording.elements, recording.capped, 2500);
        EXPECT_EQ(survey.elements, world.codex.tree().size());
        EXPECT_EQ(survey.withinBudget(), entry.withinBudget) << entry.webContent;
        EXPECT_GE(survey.webContentElements, entry.webContent);
        EXPECT_LT(survey.webContentElements, survey.elements);
        ASSERT_TRUE(survey.profileControl);
        EXPECT_EQ(survey.profileControl->roles.front(), "AXApplication");
        EXPECT_EQ(survey.profileControl->roles.back(), "AXPopUpButton");
        EXPECT_TRUE(survey.profileControl->insideWebContent());
        ASSERT_FALSE(survey.roles.empty());
        EXPECT_GE(survey.roles.front().second, survey.roles.back().second);
    }
    // A recording stopped at its cap is never within the budget, whatever it counted.
    VerificationWorld world;
    TreeRecordingOptions capped;
    capped.elementCap = 50;
    const TreeRecording recording =
        recordTree(world.timed, world.timed.applicationElement(world.codex.pid()), capped);
    EXPECT_FALSE(
        surveyTree(recording.tree, recording.elements, recording.capped, 2500).withinBudget());
}

TEST(RefreshProjection, TheCostModelChargesEachRoundTripTheLatencyGiven) {
    const RefreshProjection free = projectManualRefresh(CodexPlan::plus, 0, 2000);
    const RefreshProjection slow = projectManualRefresh(CodexPlan::plus, 0.010, 2000);
    for (const RefreshProjection* projection : {&free, &slow}) {
        EXPECT_TRUE(projection->first.committed);
        EXPECT_TRUE(projection->later.committed);
        // The first refresh of a session does not yet know where the menu appears.
        EXPECT_GT(projection->first.roundTrips, projection->later.roundTrips);
    }
    EXPECT_NEAR(slow.later.blockedSeconds, 0.010 * static_cast<double>(slow.later.roundTrips),
                1e-6);
    EXPECT_GT(slow.later.requestToEndSeconds,
              free.later.requestToEndSeconds + slow.later.blockedSeconds * 0.9);
    EXPECT_GT(slow.first.menuDwellSeconds, free.first.menuDwellSeconds);
}

}  // namespace
}  // namespace gaugely
