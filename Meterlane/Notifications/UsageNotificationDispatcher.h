#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Notifications/UUIDString.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// Turns low-usage crossings and reset recoveries into local notifications. The first time one is
// due the user is asked for permission; events wait for the answer instead of being lost, and
// however many arrive meanwhile there is only one prompt.
//
// Lives on the main queue. The center's completions only hold it weakly: one that arrives after
// the dispatcher is gone does nothing. The center and the main queue must outlive it.
// The user info of each request: its kind ("lowUsage" or "reset") and the raw values of the
// windows it tells of, separated by spaces ("fiveHour weekly").
inline constexpr std::string_view notificationKindKey = "kind";
inline constexpr std::string_view notificationWindowsKey = "windows";

class UsageNotificationDispatcher
    : public std::enable_shared_from_this<UsageNotificationDispatcher> {
    struct Passkey {};

  public:
    struct LowUsage {
        QuotaWindow window = QuotaWindow::fiveHour;
        int remainingPercentage = 0;
        std::string title;  // the plan's name for the window, e.g. "General Weekly"
        bool operator==(const LowUsage&) const = default;
    };
    struct Reset {
        QuotaWindow window = QuotaWindow::fiveHour;
        int remainingPercentage = 0;
        bool operator==(const Reset&) const = default;
    };
    using Event = std::variant<LowUsage, Reset>;

    // An alert is worth seeing even while the app is in front (its popover, settings or an
    // alert open), when the platform would otherwise show nothing: as a banner, kept in the
    // notification list, with its sound.
    static constexpr uint32_t presentationWhileAppIsActive = notificationPresentationOptions(
        {NotificationPresentationOption::banner, NotificationPresentationOption::list,
         NotificationPresentationOption::sound});

    // Tells the center how notifications show while the app is active, once, at creation.
    static std::shared_ptr<UsageNotificationDispatcher> create(
        UserNotificationCenter& center, MainQueue& mainQueue,
        UUIDSource makeUUID = &randomUUIDString);

    UsageNotificationDispatcher(Passkey, UserNotificationCenter& center, MainQueue& mainQueue,
                                UUIDSource makeUUID);

    // One event per crossing, in order; nothing for an empty list.
    void deliverLowUsage(const std::vector<LowUsageThresholdCrossing>& crossings,
                         const PlanQuotaConfiguration& configuration);
    // One event per recovery; nothing for an empty list.
    void deliverResets(const std::vector<QuotaResetRecovery>& recoveries);

    // Continues a delivery once the current authorization status is known.
    void deliver(std::vector<Event> events, NotificationAuthorizationStatus status);
    // Posts a notification per low-usage event and one for all reset events together.
    void schedule(const std::vector<Event>& events);
    // The user's answer to the permission request: everything that waited is posted or dropped.
    void handle(const std::vector<Event>& events, bool granted,
                const std::optional<std::string>& error);

    bool authorizationRequestInProgress() const { return authorizationRequestInProgress_; }
    const std::vector<Event>& pendingEvents() const { return pendingEvents_; }

  private:
    void requestSettingsAndDeliver(std::vector<Event> events);
    void post(NotificationRequest request);

    UserNotificationCenter& center_;
    MainQueue& mainQueue_;
    UUIDSource makeUUID_;
    bool authorizationRequestInProgress_ = false;
    std::vector<Event> pendingEvents_;
};

}  // namespace gaugely
