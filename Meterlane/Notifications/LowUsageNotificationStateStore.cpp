#include "Meterlane/Notifications/LowUsageNotificationStateStore.h"

namespace gaugely {

std::vector<LowUsageThresholdCrossing> LowUsageNotificationStateStore::recordCommittedPercentages(
    std::string_view planIdentifier, const std::vector<std::pair<QuotaWindow, int>>& percentages,
    const LowUsageAlertSettings& settings, Date now) {
    auto crossings =
        record_.value().recordCommittedPercentages(planIdentifier, percentages, settings, now);
    record_.save();
    return crossings;
}

void LowUsageNotificationStateStore::rebaseline(
    std::string_view planIdentifier, const std::vector<std::pair<QuotaWindow, int>>& percentages,
    const LowUsageAlertSettings& settings, const std::optional<std::set<QuotaWindow>>& windows,
    bool clearReminder) {
    record_.value().rebaseline(planIdentifier, percentages, settings, windows, clearReminder);
    record_.save();
}

void LowUsageNotificationStateStore::invalidate(std::string_view planIdentifier) {
    record_.value().invalidate(planIdentifier);
    record_.save();
}

}  // namespace gaugely
