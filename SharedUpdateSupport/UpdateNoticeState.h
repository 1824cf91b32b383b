#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/Json.h"
#include "SharedUpdateSupport/UpdateOffer.h"

namespace gaugely {

// What the updater remembers between checks: the newest update offered, the highest build the
// user has dealt with (installed or put off) and when the feed was last asked. The menu bar's
// "Update Available" badge and the once-a-day background check are decided from it.
//
// Stored as JSON {"offer"?, "handledBuild"?, "lastCheckAttempt"?} (absent fields left out). The
// operations change the value only; the updater model stores it after each change.
struct UpdateNoticeState {
    static constexpr std::string_view storageKey = "update-notice-state-v1";
    static constexpr double backgroundCheckInterval = 86400;

    std::optional<UpdateOffer> offer;
    std::optional<std::string> handledBuild;
    std::optional<Date> lastCheckAttempt;

    // Adopts `offer` when its build is newer than the running build; an unreadable build on
    // either side changes nothing.
    void discover(const UpdateOffer& newOffer, std::string_view currentBuild);
    // A check found nothing: the offer goes, what was handled and when stays.
    void noUpdate() { offer.reset(); }
    // The user dealt with the current offer: `handledBuild` only ever moves up.
    void handleOffer();
    void recordAttempt(Date at) { lastCheckAttempt = at; }

    // Due with no attempt on record, or when a whole day lies between the attempt and `at` (in
    // either direction, so a clock set back a week does not stop the daily check for a week).
    [[nodiscard]] bool backgroundCheckDue(Date at) const;
    [[nodiscard]] bool hasUnhandledUpdate() const;

    Json toJson() const;
    static std::optional<UpdateNoticeState> fromJson(const Json& json);

    bool operator==(const UpdateNoticeState&) const = default;
};

}  // namespace gaugely
