#include <gtest/gtest.h>

#include <set>

#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/UsageDataFreshnessPolicy.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationPolicy.h"
#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"
#include "Meterlane/Presentation/StatusPresentation.h"

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

// Every status the reader can publish: its words, character for character, and its hint.
TEST(ReaderStatusPresentation, EveryStatusHasItsWordsAndItsHint) {
    const std::string openCodex = "Open Codex to refresh usage";
    const std::string closeMenu = "Close the Codex profile menu and try Refresh again";
    const std::string idle = "Refresh deferred \u2014 try again when Codex is idle";
    const std::string unconfirmed =
        "Usage refreshed \u2014 Codex menu state could not be confirmed";
    const std::string failed = "failed";  // the hint that depends on whether valid data is shown
    const std::string none;               // no hint: the status is not shown at all
    using C = RefreshEndCause;
    using K = ReaderStatus::Kind;
    const auto ended = [](C cause) { return ReaderStatus::runEnded(cause); };
    const auto of = [](K kind) { return ReaderStatus::of(kind); };
    const struct {
        ReaderStatus status;
        const char* text;
        const std::string& hint;
    } rows[] = {
        {ended(C::accessibilityPermissionMissing), "Accessibility permission is required.", none},
        {ended(C::codexNotRunning), "Open Codex and try again.", openCodex},
        {ended(C::codexDidNotBecomeActive), "Codex did not become active.", none},
        {ended(C::menuStateUncertain),
         "Refresh deferred \u2014 Codex profile menu state is uncertain.", closeMenu},
        {ended(C::profileControlNotFound), "Could not find the Codex profile control.", failed},
        {ended(C::profileControlInvalidBounds),
         "Codex profile control has invalid bounds \u2014 click skipped.", none},
        {ended(C::profileHitTestMismatch), "Profile hit-test did not match \u2014 click skipped.",
         none},
        {ended(C::menuStateChanged), "Refresh deferred \u2014 Codex profile menu state changed.",
         closeMenu},
        {ended(C::clickNotPosted), "Could not create synthetic click \u2014 click skipped.",
         failed},
        {ended(C::menuDidNotAppear), "Profile menu did not appear after synthetic click.",
         closeMenu},
        {ended(C::focusKeysNotSent), "Could not send keyboard focus events.", failed},
        {ended(C::usagePositionUnknown),
         "Could not determine Usage remaining's live menu position.", failed},
        {ended(C::usageNotFocused), "Usage remaining did not receive keyboard focus.", closeMenu},
        {ended(C::returnNotSent), "Could not send the Return activation key.", failed},
        {ended(C::usageNotExpanded), "Usage remaining did not expand after Return.", failed},
        {ended(C::usageRowUnavailable), "Refresh failed \u2014 Codex Usage row was not available.",
         failed},
        {ended(C::usageUnreadable), "Refresh failed \u2014 usage could not be read.", failed},
        {ended(C::usageUnreadablePreviousDataKept), "Refresh failed \u2014 previous data kept",
         failed},
        {ended(C::ambiguousUsageValue), "no unambiguous supported usage value", none},
        {ended(C::automaticMenuOpen),
         "Automatic refresh deferred \u2014 Codex profile menu is open.", closeMenu},
        {ended(C::manualMenuOpen),
         "Refresh deferred \u2014 close Codex profile menu and try again.", closeMenu},
        {ended(C::automaticCodexNotFrontmost),
         "Automatic refresh deferred \u2014 Codex is no longer frontmost.", idle},
        {ended(C::automaticUserActive), "Automatic refresh deferred while you are active.", idle},
        {ended(C::automaticInputMonitoringUnavailable),
         "Automatic refresh deferred \u2014 input monitoring is unavailable.", idle},
        {ended(C::automaticRefreshTurnedOff), "Automatic Refresh was turned off", none},
        {ended(C::updateInstallationInProgress), "update installation is in progress", none},
        {of(K::menuStateUnconfirmed),
         "Usage refreshed \u2014 Codex menu state could not be confirmed.", unconfirmed},
        {ReaderStatus::countingDown(7), "Inspecting account control in 7...", none},
        {of(K::refreshing), "Refreshing Codex usage...", none},
        {of(K::locatingProfileControl), "Locating Codex profile control...", none},
        {of(K::noPlanSelected), "Choose your Codex plan in Settings before refreshing.", none},
        {of(K::accessibilityPermissionRequired), "Accessibility permission required", none},
        {of(K::codexNotRunning), "Open Codex to refresh usage", openCodex},
        {of(K::codexNotInFront), "Refresh deferred \u2014 return to Codex when idle", idle},
        {of(K::userActive), "Refresh deferred \u2014 try again when Codex is idle", idle},
    };
    EXPECT_EQ(std::size(rows), allCases<RefreshEndCause>().size() + 9) << "every status, once";
    for (const auto& row : rows) {
        EXPECT_EQ(statusText(row.status), row.text);
        const auto expected = [&](const char* withData) -> std::optional<std::string> {
            if (row.hint == none) {
                return std::nullopt;
            }
            return &row.hint == &failed ? std::string(withData) : row.hint;
        };
        EXPECT_EQ(recoveryMessage(row.status, true),
                  expected("Couldn't refresh Codex usage \u2014 showing last valid data"))
            << row.text;
        EXPECT_EQ(recoveryMessage(row.status, false),
                  expected("Couldn't read Codex usage \u2014 open Codex and try Refresh"))
            << row.text;
    }
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
