// The automatic-refresh settings: stored the moment they change, and the schedule follows.
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

void UsageReader::setAutomaticRefreshEnabled(bool enabled) {
    if (enabled == automaticRefreshEnabled_) {
        return;
    }
    publish(automaticRefreshEnabled_, enabled);
    env_.preferences.setBool(defaultsKey::automaticRefreshEnabled, enabled);
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
    if (frequency == refreshFrequency_) {
        return;
    }
    publish(refreshFrequency_, frequency);
    env_.preferences.setString(defaultsKey::automaticRefreshFrequency, rawValue(frequency));
    if (automaticRefreshEnabled_) {
        scheduler_.scheduleNextAutomaticRefresh(env_.clock.now());
        scheduler_.logSchedule("Automatic refresh frequency changed to " +
                               std::to_string(static_cast<long>(scheduler_.refreshInterval())) +
                               " seconds");
    }
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
