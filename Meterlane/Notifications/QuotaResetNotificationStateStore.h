#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "Meterlane/Notifications/PersistedRecord.h"

namespace gaugely {

inline constexpr std::string_view quotaResetNotificationStateKey =
    "quota-reset-notification-state-v1";

// The reset-detection state, loaded at construction and saved after every change.
class QuotaResetNotificationStateStore {
  public:
    explicit QuotaResetNotificationStateStore(
        Preferences& defaults, std::string key = std::string(quotaResetNotificationStateKey))
        : record_(defaults, std::move(key)) {}

    const QuotaResetState& state() const { return record_.value(); }
    PersistedRecordLoad load() const { return record_.load(); }

    std::vector<QuotaResetRecovery> recordCommittedPercentages(
        std::string_view planIdentifier,
        const std::vector<std::pair<QuotaWindow, int>>& percentages,
        const ResetNotificationSettings& settings) {
        auto recoveries =
            record_.value().recordCommittedPercentages(planIdentifier, percentages, settings);
        record_.save();
        return recoveries;
    }
    void rebaseline(std::string_view planIdentifier,
                    const std::vector<std::pair<QuotaWindow, int>>& percentages) {
        record_.value().rebaseline(planIdentifier, percentages);
        record_.save();
    }
    void invalidate(std::string_view planIdentifier) {
        record_.value().invalidate(planIdentifier);
        record_.save();
    }

  private:
    PersistedRecord<QuotaResetState> record_;
};

}  // namespace gaugely
