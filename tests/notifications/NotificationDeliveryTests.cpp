#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Meterlane/Notifications/NotificationPermissionController.h"
#include "Meterlane/Notifications/UsageNotificationDispatcher.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely::delivery_tests {
namespace {

using Status = NotificationAuthorizationStatus;
using Requests = std::vector<NotificationRequest>;

// The user info that says what a request is about.
std::map<std::string, std::string> low(const std::string& window) {
    return {{"kind", "lowUsage"}, {"windows", window}};
}
std::map<std::string, std::string> reset(const std::string& windows) {
    return {{"kind", "reset"}, {"windows", windows}};
}

const PlanQuotaConfiguration plus = PlanQuotaConfiguration::configuration(CodexPlan::plus);
const PlanQuotaConfiguration pro = PlanQuotaConfiguration::configuration(CodexPlan::pro);
const PlanQuotaConfiguration freeGo = PlanQuotaConfiguration::configuration(CodexPlan::freeGo);

class DeliveryTest : public ::testing::Test {
  protected:
    VirtualTime time;
    FakeUserNotificationCenter center{time};
    int uuids = 0;
    std::shared_ptr<UsageNotificationDispatcher> dispatcher = UsageNotificationDispatcher::create(
        center, time, [this] { return "UUID-" + std::to_string(++uuids); });
};

TEST_F(DeliveryTest, NotificationTextsAndIdentifiers) {
    using Dispatcher = UsageNotificationDispatcher;
    center.setAuthorizationStatus(Status::authorized);
    // Each crossing is its own notification, in order; pro's weekly window is the general one.
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 0}, {QuotaWindow::fiveHour, 20}}, plus);
    dispatcher->deliverLowUsage({{QuotaWindow::monthly, 3}}, freeGo);
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 9}}, pro);
    // Nothing to deliver posts nothing.
    dispatcher->deliverLowUsage({}, plus);
    dispatcher->deliverResets({});
    time.runUntilIdle();
    // A batch posts its low usage first, and its resets together in one notification.
    dispatcher->schedule({Dispatcher::Reset{QuotaWindow::fiveHour, 100},
                          Dispatcher::LowUsage{QuotaWindow::weekly, 12, "Weekly"},
                          Dispatcher::Reset{QuotaWindow::weekly, 100},
                          Dispatcher::Reset{QuotaWindow::monthly, 100}});
    EXPECT_EQ(center.requests(),
              (Requests{{"low-usage-weekly-UUID-1", "Codex Usage Low", "Weekly usage remaining: 0%",
                         low("weekly")},
                        {"low-usage-fiveHour-UUID-2", "Codex Usage Low", "5h usage remaining: 20%",
                         low("fiveHour")},
                        {"low-usage-monthly-UUID-3", "Codex Usage Low",
                         "Monthly usage remaining: 3%", low("monthly")},
                        {"low-usage-weekly-UUID-4", "Codex Usage Low",
                         "General Weekly usage remaining: 9%", low("weekly")},
                        {"low-usage-weekly-UUID-5", "Codex Usage Low",
                         "Weekly usage remaining: 12%", low("weekly")},
                        {"usage-reset-UUID-6", "Codex Usage Reset",
                         "5h and Weekly and Monthly usage reset \u2014 100% available",
                         reset("fiveHour weekly monthly")}}));
    EXPECT_TRUE(center.authorizationRequests().empty());
}

TEST_F(DeliveryTest, DeliveriesWhilePermissionIsUndeterminedWaitForOneAnswer) {
    center.setCompletionDelivery(FakeUserNotificationCenter::CompletionDelivery::held);
    dispatcher->deliverLowUsage({{QuotaWindow::fiveHour, 18}}, plus);
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 9}}, plus);
    dispatcher->deliverResets({{QuotaWindow::weekly, 100}});
    EXPECT_EQ(center.releaseHeldCompletions(), 3u);
    time.runUntilIdle();

    // The first answer sent the permission request; the others only wait for it.
    EXPECT_TRUE(dispatcher->authorizationRequestInProgress());
    EXPECT_EQ(dispatcher->pendingEvents().size(), 3u);
    EXPECT_EQ(center.authorizationRequests(),
              std::vector<uint32_t>{static_cast<uint32_t>(NotificationAuthorizationOption::alert) |
                                    static_cast<uint32_t>(NotificationAuthorizationOption::sound)});
    EXPECT_TRUE(center.requests().empty());

    EXPECT_EQ(center.releaseHeldCompletions(), 1u);
    time.runUntilIdle();
    EXPECT_FALSE(dispatcher->authorizationRequestInProgress());
    EXPECT_TRUE(dispatcher->pendingEvents().empty());
    EXPECT_EQ(center.authorizationRequests().size(), 1u);
    EXPECT_EQ(center.requests(),
              (Requests{{"low-usage-fiveHour-UUID-1", "Codex Usage Low", "5h usage remaining: 18%",
                         low("fiveHour")},
                        {"low-usage-weekly-UUID-2", "Codex Usage Low", "Weekly usage remaining: 9%",
                         low("weekly")},
                        {"usage-reset-UUID-3", "Codex Usage Reset",
                         "Weekly usage reset \u2014 100% available", reset("weekly")}}));
}

TEST_F(DeliveryTest, NothingIsPostedOrAskedWithoutALastingPermission) {
    const struct {
        Status status;
        std::size_t posted;
        std::size_t asked;
    } cases[] = {
        {Status::denied, 0, 0},      {Status::ephemeral, 0, 0},  {Status::unknown, 0, 0},
        {Status::provisional, 1, 0}, {Status::authorized, 1, 0},
    };
    for (const auto& c : cases) {
        FakeUserNotificationCenter fresh(time);
        fresh.setAuthorizationStatus(c.status);
        auto d = UsageNotificationDispatcher::create(fresh, time);
        d->deliverLowUsage({{QuotaWindow::weekly, 5}}, plus);
        time.runUntilIdle();
        EXPECT_EQ(fresh.requests().size(), c.posted) << static_cast<int>(c.status);
        EXPECT_EQ(fresh.authorizationRequests().size(), c.asked) << static_cast<int>(c.status);
        EXPECT_TRUE(d->pendingEvents().empty());
    }
}

TEST_F(DeliveryTest, ARefusalDropsWhatWaitedAndIsNotAskedAgain) {
    center.scriptAuthorizationAnswers({{false, "The user declined"}});
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 5}}, plus);
    dispatcher->deliverResets({{QuotaWindow::fiveHour, 100}});
    time.runUntilIdle();
    EXPECT_TRUE(center.requests().empty());
    EXPECT_TRUE(dispatcher->pendingEvents().empty());
    EXPECT_FALSE(dispatcher->authorizationRequestInProgress());

    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 4}}, plus);
    time.runUntilIdle();
    EXPECT_TRUE(center.requests().empty());
    EXPECT_EQ(center.authorizationRequests().size(), 1u);
}

// Answers arrive on other threads; until they are hopped to the main queue nothing changes, and
// a dispatcher that is gone by then is simply not called.
TEST_F(DeliveryTest, LateAnswersTouchStateOnlyOnTheMainQueueAndOnlyIfAlive) {
    center.setCompletionDelivery(FakeUserNotificationCenter::CompletionDelivery::held);
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 5}}, plus);
    EXPECT_EQ(center.releaseHeldCompletions(), 1u);
    EXPECT_FALSE(dispatcher->authorizationRequestInProgress()) << "not yet on the main queue";
    time.runUntilIdle();
    EXPECT_TRUE(dispatcher->authorizationRequestInProgress());

    std::weak_ptr<UsageNotificationDispatcher> weak = dispatcher;
    dispatcher.reset();
    EXPECT_TRUE(weak.expired()) << "the pending request does not keep it alive";
    EXPECT_EQ(center.releaseHeldCompletions(), 1u);
    time.runUntilIdle();
    EXPECT_TRUE(center.requests().empty());
}

TEST_F(DeliveryTest, AFailedAddChangesNothing) {
    center.setAuthorizationStatus(Status::authorized);
    center.setAddError("Notifications are not allowed for this application");
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 5}}, plus);
    dispatcher->deliverLowUsage({{QuotaWindow::weekly, 4}}, plus);
    time.runUntilIdle();
    EXPECT_EQ(center.requests().size(), 2u);
    EXPECT_EQ(time.pendingCount(), 0u) << "no retry";
}

// Whether to deliver or ask is decided through the dispatcher above; this one only feeds the UI.
TEST(NotificationPermissionRecoveryPolicy, ShownOnlyWhenAnEnabledFeatureCannotPost) {
    using P = NotificationPermissionState;
    const struct {
        P permission;
        bool featureEnabled;
        bool shown;
    } cases[] = {
        {P::denied, true, true},         {P::unavailable, true, true}, {P::denied, false, false},
        {P::notDetermined, true, false}, {P::authorized, true, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NotificationPermissionRecoveryPolicy::shouldShowRecovery(c.permission,
                                                                           c.featureEnabled),
                  c.shown)
            << rawValue(c.permission) << " " << c.featureEnabled;
    }
}

TEST(NotificationPermissionController, FollowsTheCenterOnTheMainQueue) {
    VirtualTime time;
    FakeUserNotificationCenter center(time);
    std::vector<std::string> opened;
    auto controller = NotificationPermissionController::create(
        center, time, [&](const std::string& url) { opened.push_back(url); });
    int changes = 0;
    controller->setOnChange([&] { ++changes; });

    const struct {
        Status status;
        NotificationPermissionState expected;
    } cases[] = {
        {Status::denied, NotificationPermissionState::denied},
        {Status::authorized, NotificationPermissionState::authorized},
        {Status::provisional, NotificationPermissionState::authorized},
        {Status::ephemeral, NotificationPermissionState::unavailable},
        {Status::unknown, NotificationPermissionState::unavailable},
        {Status::notDetermined, NotificationPermissionState::notDetermined},
    };
    for (const auto& c : cases) {
        const NotificationPermissionState before = controller->state();
        center.setAuthorizationStatus(c.status);
        controller->refreshStatus();
        EXPECT_EQ(controller->state(), before) << "applied only on the main queue";
        time.runUntilIdle();
        EXPECT_EQ(controller->state(), c.expected) << static_cast<int>(c.status);
    }
    EXPECT_EQ(changes, 4) << "provisional after authorized, unknown after ephemeral: no change";

    controller->openSystemSettings();
    EXPECT_THAT(opened, ::testing::ElementsAre(
                            "x-apple.systempreferences:com.apple.preference.notifications"));
}

TEST(RandomUUIDString, HasThePlatformFormAndDiffers) {
    const std::string a = randomUUIDString();
    EXPECT_THAT(a, ::testing::MatchesRegex(
                       "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_NE(a, randomUUIDString());
}

}  // namespace
}  // namespace gaugely::delivery_tests
