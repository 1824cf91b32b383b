#include <gtest/gtest.h>

#include <set>

#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/UsageDataFreshnessPolicy.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationPolicy.h"
#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"

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

TEST(RecoveryMessage, RunMessagesMapToTheirHintsByTheFirstMatchingPhrase) {
    const std::string openCodex = "Open Codex to refresh usage";
    const std::string closeMenu = "Close the Codex profile menu and try Refresh again";
    const std::string idle = "Refresh deferred \u2014 try again when Codex is idle";
    const std::string unconfirmed =
        "Usage refreshed \u2014 Codex menu state could not be confirmed";
    const std::string failed = "failed";  // the hint that depends on whether valid data is shown
    const std::string none;               // no hint: the message is not shown at all
    enum Kind { emitted, rule };
    const struct {
        Kind kind;
        const char* message;
        const std::string& hint;
    } rows[] = {
        // Messages that runs and the scheduler really leave as the status.
        {emitted, "Codex is not running", openCodex},
        {emitted, "Automatic refresh deferred because Codex is not running", openCodex},
        {emitted, "Refresh deferred \u2014 Codex profile menu state is uncertain.", closeMenu},
        {emitted, "Refresh deferred \u2014 Codex profile menu state changed.", closeMenu},
        {emitted, "Refresh deferred \u2014 close Codex profile menu and try again.", closeMenu},
        {emitted, "Automatic refresh deferred \u2014 Codex profile menu is open.", closeMenu},
        {emitted, "Usage remaining did not receive keyboard focus.", closeMenu},
        {emitted, "Automatic refresh deferred while you are active.", idle},
        {emitted, "Automatic refresh deferred \u2014 input monitoring is unavailable.", idle},
        {emitted, "Automatic refresh deferred \u2014 Codex is no longer frontmost.", idle},
        {emitted, "Refresh deferred \u2014 return to Codex when idle", idle},
        {emitted, "Refresh deferred \u2014 try again when Codex is idle", idle},
        {emitted, "Usage refreshed \u2014 Codex menu state could not be confirmed.", unconfirmed},
        {emitted, "Refresh failed \u2014 usage could not be read.", failed},
        {emitted, "Refresh failed \u2014 previous data kept", failed},
        {emitted, "Refresh failed \u2014 Codex Usage row was not available.", failed},
        {emitted, "Usage remaining did not expand after Return.", failed},
        {emitted, "Codex did not become active.", none},
        {emitted, "Codex profile control has invalid bounds \u2014 click skipped.", none},
        {emitted, "Automatic refresh deferred because the user is active", none},
        // The rule itself: the message is lower-cased, and the earlier phrase wins.
        {rule, "Please OPEN CODEX first", openCodex},
        {rule, "Codex is not running; profile menu could not open", openCodex},
        {rule, "profile menu did not appear", closeMenu},
        {rule, "menu state could not be confirmed, refresh failed", unconfirmed},
        {rule, "The menu DID NOT APPEAR", failed},
    };
    for (const auto& row : rows) {
        const std::string message = row.message;
        const char* kind = row.kind == rule ? "rule: " : "emitted: ";
        const auto expected = [&](const char* withData) -> std::optional<std::string> {
            if (row.hint == none) {
                return std::nullopt;
            }
            return &row.hint == &failed ? std::string(withData) : row.hint;
        };
        EXPECT_EQ(recoveryMessage(message, true),
                  expected("Couldn't refresh Codex usage \u2014 showing last valid data"))
            << kind << row.message;
        EXPECT_EQ(recoveryMessage(message, false),
                  expected("Couldn't read Codex usage \u2014 open Codex and try Refresh"))
            << kind << row.message;
    }
    EXPECT_EQ(recoveryMessage(std::nullopt, true), std::nullopt);
    EXPECT_EQ(recoveryMessage(std::string("Accessibility permission required"), true),
              std::nullopt);
    EXPECT_EQ(recoveryMessage(std::string(""), false), std::nullopt);
}

TEST(UsageStatusPresentationPolicy, EachConcernOutranksTheOnesBelowIt) {
    // Arguments: plan chosen, validated, permission, valid snapshot, running, recovery, stale.
    using P = UsageStatusPresentationPolicy;
    constexpr auto ok = QuotaReaderSupport::validated;
    constexpr auto no = QuotaReaderSupport::unvalidated;
    EXPECT_EQ(P::highestPriority(false, no, false, false, true, true, true),
              UsageStatusPriority::noSelectedPlan);
    EXPECT_EQ(P::highestPriority(true, no, false, false, true, true, true),
              UsageStatusPriority::unsupportedPlan);
    EXPECT_EQ(P::highestPriority(true, ok, false, false, true, true, true),
              UsageStatusPriority::accessibilityPermission);
    EXPECT_EQ(P::highestPriority(true, ok, true, false, true, true, true),
              UsageStatusPriority::noUsageData);
    EXPECT_EQ(P::highestPriority(true, ok, true, true, true, true, true),
              UsageStatusPriority::activeRefresh);
    EXPECT_EQ(P::highestPriority(true, ok, true, true, false, true, true),
              UsageStatusPriority::refreshRecovery);
    EXPECT_EQ(P::highestPriority(true, ok, true, true, false, false, true),
              UsageStatusPriority::staleData);
    EXPECT_EQ(P::highestPriority(true, ok, true, true, false, false, false),
              UsageStatusPriority::normal);
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
