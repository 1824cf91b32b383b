// Low-usage and reset notification settings, and the alert state machines a commit advances.
#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"
#include "Meterlane/Platform/StoredValue.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

void UsageReader::restoreNotificationSettings() {
    Preferences& defaults = env_.preferences;
    if (const auto settings =
            stored::record<LowUsageAlertSettings>(defaults, defaultsKey::lowUsageAlertSettings)
                .value) {
        lowUsageAlertSettings_ = *settings;
        if (settings->needsLegacyWindowConfigurationMigration) {
            // Store the per-window form now, so the older one is read only once.
            persistLowUsageAlertSettings();
        }
    }
    if (const auto settings = stored::record<ResetNotificationSettings>(
                                  defaults, defaultsKey::resetNotificationSettings)
                                  .value) {
        resetNotificationSettings_ = *settings;
    }
}

void UsageReader::persistLowUsageAlertSettings() {
    env_.preferences.setData(defaultsKey::lowUsageAlertSettings,
                             encodeJson(lowUsageAlertSettings_));
}

void UsageReader::persistResetNotificationSettings() {
    env_.preferences.setData(defaultsKey::resetNotificationSettings,
                             encodeJson(resetNotificationSettings_));
}

void UsageReader::invalidateNotificationStates(CodexPlan plan) {
    lowUsageNotificationState_.invalidate(rawValue(plan));
    quotaResetNotificationState_.invalidate(rawValue(plan));
}

void UsageReader::updateLowUsageAlertSetting(
    QuotaWindow window, const std::function<void(LowUsageWindowAlertSettings&)>& change) {
    LowUsageAlertSettings settings = lowUsageAlertSettings_;
    LowUsageWindowAlertSettings entry = settings.setting(window);
    change(entry);
    settings.set(entry, window);
    publish(lowUsageAlertSettings_, settings);
    persistLowUsageAlertSettings();
}

void UsageReader::setLowUsageAlertsEnabled(bool enabled, QuotaWindow window) {
    updateLowUsageAlertSetting(window, [&](auto& entry) { entry.isEnabled = enabled; });
    // Switching an alert on while usage is already low must not notify at once.
    rebaselineLowUsageAlerts(std::set<QuotaWindow>{window}, true);
}

void UsageReader::setLowUsageAlertThreshold(LowUsageAlertThreshold threshold, QuotaWindow window) {
    updateLowUsageAlertSetting(window, [&](auto& entry) { entry.threshold = threshold; });
    rebaselineLowUsageAlerts(std::set<QuotaWindow>{window}, true);
}

void UsageReader::setLowUsageAlertRepeat(LowUsageAlertRepeat repeat, QuotaWindow window) {
    // No rebaseline: a running reminder carries on at the new interval.
    updateLowUsageAlertSetting(window, [&](auto& entry) { entry.repeatInterval = repeat; });
}

void UsageReader::setResetNotificationsEnabled(bool enabled) {
    publish(resetNotificationSettings_, ResetNotificationSettings{enabled});
    persistResetNotificationSettings();
    // A reset that happened while the feature was off is never reported afterwards.
    rebaselineResetNotifications();
}

void UsageReader::rebaselineLowUsageAlerts(std::optional<std::set<QuotaWindow>> only,
                                           bool clearReminder) {
    if (activeSnapshotPlan_ != codexPlan() || !isDisplayableSnapshot(snapshot_, codexPlan())) {
        return;
    }
    lowUsageNotificationState_.rebaseline(rawValue(codexPlan()),
                                          quotaPercentages(snapshot_, currentSchema()),
                                          lowUsageAlertSettings_, only, clearReminder);
}

void UsageReader::rebaselineResetNotifications() {
    // Like its commits, a pro reading never enters the reset state.
    if (!PlanQuotaConfiguration::configuration(codexPlan()).supportsResetNotifications) {
        return;
    }
    if (activeSnapshotPlan_ != codexPlan() || !isDisplayableSnapshot(snapshot_, codexPlan())) {
        return;
    }
    quotaResetNotificationState_.rebaseline(rawValue(codexPlan()),
                                            quotaPercentages(snapshot_, currentSchema()));
}

bool UsageReader::hasEnabledCurrentPlanNotificationFeature() const {
    return gaugely::hasEnabledCurrentPlanNotificationFeature(
        hasExplicitPlanSelection(), codexPlan(),
        [this](QuotaWindow window) { return lowUsageAlertSettings_.setting(window).isEnabled; },
        resetNotificationSettings_.isEnabled);
}

void UsageReader::snapshotCommitted(Date committedAt, UsageSource source) {
    const CodexPlan plan = codexPlan();
    persistCompleteSnapshot(committedAt, plan);
    // A log reading leaves the deadline alone: when it comes due, the scheduler skips it while
    // the logs are current.
    if (source == UsageSource::codexMenu) {
        scheduler_.scheduleNextAutomaticRefresh(committedAt);
    }

    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    const auto percentages = quotaPercentages(snapshot_, configuration.schema);
    const auto crossings = lowUsageNotificationState_.recordCommittedPercentages(
        rawValue(plan), percentages, lowUsageAlertSettings_, committedAt);
    notificationDispatcher_->deliverLowUsage(crossings, configuration);
    // A reading without reset times cannot tell a reset from a refill.
    if (!configuration.supportsResetNotifications) {
        return;
    }
    const auto recoveries = quotaResetNotificationState_.recordCommittedPercentages(
        rawValue(plan), percentages, resetNotificationSettings_);
    notificationDispatcher_->deliverResets(recoveries);
}

}  // namespace gaugely
