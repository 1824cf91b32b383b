#include <gtest/gtest.h>

#include <set>

#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/UsageDataFreshnessPolicy.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationPolicy.h"
#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"
#include "Meterlane/Presentation/StatusPresentation.h"
#include "app/GoldenFile.h"

namespace gaugely {
namespace {

TEST(UsageDataFreshnessPolicy, DataTurnsStaleOneSecondAfterTheThresholdOfEachFrequency) {
    const struct {
        RefreshFrequency frequency;
        double staleAfter;
    } rows[] = {
        {RefreshFrequency::thirtySeconds, 120}, {RefreshFrequency::oneMinute, 210},
        {RefreshFrequency::twoMinutes, 390},    {RefreshFrequency::fiveMinutes, 930},
        {RefreshFrequency::tenMinutes, 1830},   {RefreshFrequency::thirtyMinutes, 5430},
    };
    const Date now{800000000};
    for (const auto& row : rows) {
        const double interval = timeInterval(row.frequency);
        const auto aged = [&](double age) {
            return UsageDataFreshnessPolicy::isStale(now.addingTimeInterval(-age), interval, now);
        };
        EXPECT_FALSE(aged(row.staleAfter)) << rawValue(row.frequency);
        EXPECT_TRUE(aged(row.staleAfter + 1)) << rawValue(row.frequency);
        EXPECT_FALSE(aged(-3600)) << "a date in the future is not stale";
    }
    EXPECT_FALSE(UsageDataFreshnessPolicy::isStale(std::nullopt, 60, now));
}

// Every status the reader can publish, with the hint shown beside valid data and without it,
// character for character in tests/golden/reader-statuses.txt.
TEST(ReaderStatusPresentation, EveryStatusHasItsWordsAndItsHint) {
    using K = ReaderStatus::Kind;
    std::vector<ReaderStatus> statuses{ReaderStatus::countingDown(7)};
    for (const K kind : {K::refreshing, K::locatingProfileControl, K::noPlanSelected,
                         K::accessibilityPermissionRequired, K::menuStateUnconfirmed,
                         K::codexNotRunning, K::codexNotInFront, K::userActive}) {
        statuses.push_back(ReaderStatus::of(kind));
    }
    for (const RefreshEndCause cause : allCases<RefreshEndCause>()) {
        statuses.push_back(ReaderStatus::runEnded(cause));
    }
    std::string text;
    for (const ReaderStatus& status : statuses) {
        const auto withData = recoveryMessage(status, true);
        const auto without = recoveryMessage(status, false);
        text += statusText(status) + "\n    hint: " + withData.value_or("(none)") +
                (without == withData ? "" : "\n    without valid data: " + without.value_or("")) +
                "\n";
    }
    expectGolden("reader-statuses.txt", text);
    EXPECT_EQ(recoveryMessage(std::nullopt, true), std::nullopt);
    EXPECT_EQ(statusText(std::optional<ReaderStatus>()), std::nullopt);
}

TEST(UsageStatusPresentationPolicy, EachConcernOutranksTheOnesBelowIt) {
    // Arguments: plan chosen, validated, permission, valid snapshot, running, recovery, stale.
    using P = UsageStatusPresentationPolicy;
    // Each step satisfies one concern more than the step before it.
    using U = UsageStatusPriority;
    const U ranked[] = {U::noSelectedPlan, U::unsupportedPlan, U::accessibilityPermission,
                        U::noUsageData,    U::activeRefresh,   U::refreshRecovery,
                        U::staleData,      U::normal};
    for (int i = 0; i < 8; ++i) {
        const auto support =
            i > 1 ? QuotaReaderSupport::validated : QuotaReaderSupport::unvalidated;
        EXPECT_EQ(P::highestPriority(i > 0, support, i > 2, i > 3, i < 5, i < 6, i < 7), ranked[i])
            << i;
    }
}

// The other priorities' texts are asserted through the reader's status tests.
TEST(UserFacingStatusMessage, SilentPrioritiesAndTheUnvalidatedPlan) {
    const std::optional<std::string> hint = "Open Codex to refresh usage";
    for (const auto priority : {UsageStatusPriority::normal, UsageStatusPriority::noUsageData,
                                UsageStatusPriority::noSelectedPlan}) {
        EXPECT_EQ(userFacingStatusMessage(priority, CodexPlan::freeGo, hint), std::nullopt)
            << rawValue(priority);
    }
    EXPECT_EQ(
        userFacingStatusMessage(UsageStatusPriority::unsupportedPlan, CodexPlan::freeGo, hint),
        "Free / Go usage reading is not yet validated.");
}

TEST(UsageSnapshotPresentationPolicy, PlanChoiceThenSupportThenData) {
    using P = UsageSnapshotPresentationPolicy;
    using S = UsageSnapshotPresentationState;
    EXPECT_EQ(P::state(false, QuotaReaderSupport::unvalidated, true), S::planSelectionRequired);
    EXPECT_EQ(P::state(true, QuotaReaderSupport::unvalidated, true), S::unvalidatedPlan);
    EXPECT_EQ(P::state(true, QuotaReaderSupport::validated, true), S::dataAvailable);
    EXPECT_EQ(P::state(true, QuotaReaderSupport::validated, false), S::noUsageData);
}

TEST(HasEnabledCurrentPlanNotificationFeature, OnlyThePlansOwnWindowsAndResetsCount) {
    const auto only = [](std::set<QuotaWindow> enabled) {
        return [enabled](QuotaWindow window) { return enabled.contains(window); };
    };
    const struct {
        bool explicitPlan;
        CodexPlan plan;
        std::set<QuotaWindow> lowUsage;
        bool resets;
        bool expected;
    } rows[] = {
        {false, CodexPlan::plus, {QuotaWindow::fiveHour}, true, false},
        {true, CodexPlan::plus, {QuotaWindow::weekly}, false, true},
        {true, CodexPlan::plus, {QuotaWindow::monthly}, false, false},
        {true, CodexPlan::plus, {QuotaWindow::monthly}, true, true},
        {true, CodexPlan::freeGo, {QuotaWindow::monthly}, false, true},
        {true, CodexPlan::freeGo, {QuotaWindow::fiveHour, QuotaWindow::weekly}, false, false},
        {true, CodexPlan::pro, {QuotaWindow::weekly}, false, true},
        {true, CodexPlan::pro, {QuotaWindow::fiveHour}, true, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(hasEnabledCurrentPlanNotificationFeature(row.explicitPlan, row.plan,
                                                           only(row.lowUsage), row.resets),
                  row.expected)
            << rawValue(row.plan) << " resets " << row.resets;
    }
}

}  // namespace
}  // namespace gaugely
