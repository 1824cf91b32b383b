#include "Meterlane/Notifications/UsageNotificationDispatcher.h"

#include "LowUsageNotificationSupport/NotificationPermission.h"

namespace gaugely {
namespace {

constexpr std::string_view lowUsageTitle = "Codex Usage Low";
constexpr std::string_view resetTitle = "Codex Usage Reset";

}  // namespace

std::shared_ptr<UsageNotificationDispatcher> UsageNotificationDispatcher::create(
    UserNotificationCenter& center, MainQueue& mainQueue, UUIDSource makeUUID) {
    return std::make_shared<UsageNotificationDispatcher>(Passkey{}, center, mainQueue,
                                                         std::move(makeUUID));
}

UsageNotificationDispatcher::UsageNotificationDispatcher(Passkey, UserNotificationCenter& center,
                                                         MainQueue& mainQueue, UUIDSource makeUUID)
    : center_(center), mainQueue_(mainQueue), makeUUID_(std::move(makeUUID)) {
    if (!makeUUID_) {
        makeUUID_ = &randomUUIDString;
    }
    center_.presentWhileActive(presentationWhileAppIsActive);
}

void UsageNotificationDispatcher::deliverLowUsage(
    const std::vector<LowUsageThresholdCrossing>& crossings,
    const PlanQuotaConfiguration& configuration) {
    if (crossings.empty()) {
        return;
    }
    std::vector<Event> events;
    events.reserve(crossings.size());
    for (const LowUsageThresholdCrossing& crossing : crossings) {
        events.emplace_back(
            LowUsage{crossing.window, crossing.remainingPercentage,
                     std::string(configuration.lowUsageNotificationTitle(crossing.window))});
    }
    requestSettingsAndDeliver(std::move(events));
}

void UsageNotificationDispatcher::deliverResets(const std::vector<QuotaResetRecovery>& recoveries) {
    if (recoveries.empty()) {
        return;
    }
    std::vector<Event> events;
    events.reserve(recoveries.size());
    for (const QuotaResetRecovery& recovery : recoveries) {
        events.emplace_back(Reset{recovery.window, recovery.remainingPercentage});
    }
    requestSettingsAndDeliver(std::move(events));
}

void UsageNotificationDispatcher::requestSettingsAndDeliver(std::vector<Event> events) {
    center_.getNotificationSettings(
        [weak = weak_from_this(), &queue = mainQueue_,
         events = std::move(events)](NotificationAuthorizationStatus status) {
            queue.post([weak, events, status]() mutable {
                if (const auto self = weak.lock()) {
                    self->deliver(std::move(events), status);
                }
            });
        });
}

void UsageNotificationDispatcher::deliver(std::vector<Event> events,
                                          NotificationAuthorizationStatus status) {
    const bool isAuthorized = status == NotificationAuthorizationStatus::authorized ||
                              status == NotificationAuthorizationStatus::provisional;
    const bool canRequest = status == NotificationAuthorizationStatus::notDetermined;
    switch (LowUsageNotificationAuthorizationPolicy::decision(isAuthorized, canRequest)) {
        case LowUsageNotificationAuthorizationDecision::deliver:
            schedule(events);
            return;
        case LowUsageNotificationAuthorizationDecision::requestAuthorization:
            break;
        case LowUsageNotificationAuthorizationDecision::doNotDeliver:
            // The user said no (or the system offers no lasting permission): nothing to tell.
            return;
    }
    pendingEvents_.insert(pendingEvents_.end(), events.begin(), events.end());
    if (authorizationRequestInProgress_) {
        return;
    }
    authorizationRequestInProgress_ = true;
    center_.requestAuthorization(
        notificationAuthorizationOptions(
            {NotificationAuthorizationOption::alert, NotificationAuthorizationOption::sound}),
        [weak = weak_from_this(), &queue = mainQueue_, events = std::move(events)](
            bool granted, std::optional<std::string> error) {
            queue.post([weak, events, granted, error] {
                if (const auto self = weak.lock()) {
                    self->handle(events, granted, error);
                }
            });
        });
}

void UsageNotificationDispatcher::handle(const std::vector<Event>& /*events*/, bool granted,
                                         const std::optional<std::string>& /*error*/) {
    // Everything that waited, including events that arrived after the request went out.
    authorizationRequestInProgress_ = false;
    std::vector<Event> waiting = std::move(pendingEvents_);
    pendingEvents_.clear();
    if (granted) {
        schedule(waiting);
    }
}

void UsageNotificationDispatcher::schedule(const std::vector<Event>& events) {
    std::vector<const Reset*> resets;
    for (const Event& event : events) {
        if (const auto* low = std::get_if<LowUsage>(&event)) {
            post(
                {"low-usage-" + std::string(rawValue(low->window)) + "-" + makeUUID_(),
                 std::string(lowUsageTitle),
                 low->title + " usage remaining: " + std::to_string(low->remainingPercentage) + "%",
                 {{std::string(notificationKindKey), "lowUsage"},
                  {std::string(notificationWindowsKey), std::string(rawValue(low->window))}}});
        } else {
            resets.push_back(&std::get<Reset>(event));
        }
    }
    if (resets.empty()) {
        return;
    }
    std::string windows;
    for (const Reset* reset : resets) {
        windows += (windows.empty() ? "" : " ") + std::string(rawValue(reset->window));
    }
    std::string body;
    if (resets.size() == 1) {
        body = std::string(notificationTitle(resets.front()->window)) + " usage reset \u2014 " +
               std::to_string(resets.front()->remainingPercentage) + "% available";
    } else {
        for (const Reset* reset : resets) {
            if (!body.empty()) {
                body += " and ";
            }
            body += notificationTitle(reset->window);
        }
        body += " usage reset \u2014 100% available";
    }
    post({"usage-reset-" + makeUUID_(),
          std::string(resetTitle),
          std::move(body),
          {{std::string(notificationKindKey), "reset"},
           {std::string(notificationWindowsKey), std::move(windows)}}});
}

void UsageNotificationDispatcher::post(NotificationRequest request) {
    // A notification that could not be added is not retried: the next crossing will tell.
    center_.add(request, [](const std::optional<std::string>&) {});
}

}  // namespace gaugely
