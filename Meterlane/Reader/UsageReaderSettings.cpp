// The reader's side of the user's settings: ReaderSettings keeps and stores them; here each change
// sets in motion what follows from it (the schedule, the alerts' baseline, the log source), all in
// one change set.
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

void UsageReader::setCodexPlan(CodexPlan plan) {
    auto changes = changeSet();
    if (plan == codexPlan() && hasExplicitPlanSelection()) {
        return;
    }
    cancelRefreshForPlanChange();
    (void)settings_.selectPlan(plan);
    ledger_.present(plan);
    ledger_.forgetAlerts(plan);
    if (automaticRefreshEnabled()) {
        scheduler_.scheduleNextAutomaticRefresh(env_.clock.now());
    }
    setStatus(std::nullopt);
    // The follower hands each line over once: what the logs said may fit the new plan.
    if (!codexLogReadings_.isEmpty() && !activeRun_) {
        commitCodexLogReadings();
    }
}

void UsageReader::setAutomaticRefreshEnabled(bool enabled) {
    auto changes = changeSet();
    if (!settings_.setAutomaticRefreshEnabled(enabled)) {
        return;
    }
    if (!enabled) {
        // The run in progress ends in the log as it would at its next countdown tick.
        stopAutomaticRefreshIfNeeded();
        scheduler_.clearAutomaticRefreshSchedule();
        setStatus(std::nullopt);
        scheduler_.logSchedule("Automatic refresh disabled by user");
        return;
    }
    scheduler_.scheduleNextAutomaticRefresh(env_.clock.now());
    setStatus(std::nullopt);
    scheduler_.logSchedule("Automatic refresh enabled by user");
}

void UsageReader::setRefreshFrequency(RefreshFrequency frequency) {
    auto changes = changeSet();
    if (!settings_.setRefreshFrequency(frequency) || !automaticRefreshEnabled()) {
        return;
    }
    scheduler_.scheduleNextAutomaticRefresh(env_.clock.now());
    scheduler_.logSchedule("Automatic refresh frequency changed to " +
                           std::to_string(static_cast<long>(scheduler_.refreshInterval())) +
                           " seconds");
}

void UsageReader::setMenuBarDisplay(MenuBarDisplay display) {
    (void)settings_.setMenuBarDisplay(display);
}

void UsageReader::setLowUsageAlertsEnabled(bool enabled, QuotaWindow window) {
    auto changes = changeSet();
    settings_.changeLowUsageAlert(window, [&](auto& entry) { entry.isEnabled = enabled; });
    // Switching an alert on while usage is already low must not notify at once.
    ledger_.rebaselineLowUsageAlerts(codexPlan(), {window});
}

void UsageReader::setLowUsageAlertThreshold(LowUsageAlertThreshold threshold, QuotaWindow window) {
    auto changes = changeSet();
    settings_.changeLowUsageAlert(window, [&](auto& entry) { entry.threshold = threshold; });
    ledger_.rebaselineLowUsageAlerts(codexPlan(), {window});
}

void UsageReader::setLowUsageAlertRepeat(LowUsageAlertRepeat repeat, QuotaWindow window) {
    // No rebaseline: a running reminder carries on at the new interval.
    settings_.changeLowUsageAlert(window, [&](auto& entry) { entry.repeatInterval = repeat; });
}

void UsageReader::setResetNotificationsEnabled(bool enabled) {
    auto changes = changeSet();
    settings_.setResetNotificationsEnabled(enabled);
    // A reset that happened while the feature was off is never reported afterwards.
    ledger_.rebaselineResets(codexPlan());
}

void UsageReader::setCodexLogsEnabled(bool enabled) {
    auto changes = changeSet();
    if (!settings_.setCodexLogsEnabled(enabled)) {
        return;
    }
    if (!enabled) {
        codexLogReadings_ = CodexLogReadings{};
        codexLogReadingsWaiting_ = false;
    }
    startCodexLogSource();
}

void UsageReader::setCodexLogsFolder(std::string folder) {
    auto changes = changeSet();
    if (!settings_.setCodexLogsFolder(std::move(folder))) {
        return;
    }
    // Lines of another folder say nothing about this one.
    codexLogReadings_ = CodexLogReadings{};
    startCodexLogSource();
}

void UsageReader::stopAutomaticRefreshIfNeeded() {
    if (activeRefreshIsAutomatic()) {
        activeRun_->deferForAutomaticRefreshSwitchedOff();
    }
}

void UsageReader::evaluateAutomaticRefresh() {
    scheduler_.evaluateAutomaticRefresh();
}

}  // namespace gaugely
