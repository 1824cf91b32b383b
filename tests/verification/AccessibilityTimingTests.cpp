#include <gtest/gtest.h>

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
    std::vector<double> twenty;
    for (int i = 1; i <= 20; ++i) {
        twenty.push_back(i);
    }
    std::vector<double> twentyOne = twenty;
    twentyOne.push_back(21);
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

TEST(TimedAccessibility, TimesEveryCallByKindAndCountsTheRoundTripsOfARealRefresh) {
    VerificationWorld world(CodexPlan::plus, {}, 0.004);
    UsageReader& reader = world.makeReader();
    const std::size_t mark = world.timed.mark();
    const std::size_t tripsBefore = world.codex.roundTrips();
    world.refreshOnce();
    ASSERT_TRUE(reader.lastRefreshOutcome() && reader.lastRefreshOutcome()->isCommitted());

    // Every round trip the simulated Codex counted went through the wrapper, and took its cost.
    EXPECT_EQ(world.timed.roundTripsSince(mark), world.codex.roundTrips() - tripsBefore);
    const LatencySummary trips = world.timed.roundTripLatencySince(mark);
    EXPECT_EQ(trips.calls, world.codex.roundTrips() - tripsBefore);
    EXPECT_NEAR(trips.median, 0.004, 1e-9);
    EXPECT_NEAR(trips.p95, 0.004, 1e-9);
    std::vector<std::string> kinds;
    for (const CallLatency& call : world.timed.latencySince(mark)) {
        kinds.push_back(call.call);
        // Making an element and asking about our own trust are no messages to Codex, and cost
        // nothing.
        const bool roundTrip = isRoundTrip(*fromRawValue<AXCall>(call.call));
        EXPECT_NEAR(call.summary.median, roundTrip ? 0.004 : 0, 1e-9) << call.call;
    }
    EXPECT_NE(std::find(kinds.begin(), kinds.end(), "copyMultipleAttributeValues"), kinds.end());
    EXPECT_NE(std::find(kinds.begin(), kinds.end(), "elementAtPosition"), kinds.end());
    EXPECT_TRUE(world.timed.samplesSince(world.timed.mark()).empty());
}

TEST(TreeWhereabouts, TheRefreshsOwnReadsTellWhereTheMenuAndTheControlAre) {
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
        // Watching cost the run nothing.
        EXPECT_EQ(world.timed.roundTripsSince(0), world.codex.roundTrips() - tripsBefore);

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
