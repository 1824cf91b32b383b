#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "Meterlane/Notifications/PersistedRecord.h"

namespace gaugely {

inline constexpr std::string_view lowUsageNotificationStateKey = "low-usage-notification-state-v1";

// The low-usage alert state, loaded at construction and saved after every change.
class LowUsageNotificationStateStore {
  public:
    explicit LowUsageNotificationStateStore(
        Preferences& defaults, std::string key = std::string(lowUsageNotificationStateKey))
        : record_(defaults, std::move(key)) {}

    const LowUsageThresholdState& state() const { return record_.value(); }
    PersistedRecordLoad load() const { return record_.load(); }

    std::vector<LowUsageThresholdCrossing> recordCommittedPercentages(
        std::string_view planIdentifier,
        const std::vector<std::pair<QuotaWindow, int>>& percentages,
        const LowUsageAlertSettings& settings, Date now);
    void rebaseline(std::string_view planIdentifier,
                    const std::vector<std::pair<QuotaWindow, int>>& percentages,
                    const LowUsageAlertSettings& settings,
                    const std::optional<std::set<QuotaWindow>>& windows, bool clearReminder);
    void invalidate(std::string_view planIdentifier);

  private:
    PersistedRecord<LowUsageThresholdState> record_;
};

}  // namespace gaugely
