#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>

#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/ModelObservers.h"
#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/UsageHistory.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "LowUsageNotificationSupport/UsageSnapshotSources.h"
#include "Meterlane/Notifications/LowUsageNotificationStateStore.h"
#include "Meterlane/Notifications/QuotaResetNotificationStateStore.h"
#include "Meterlane/Notifications/UsageNotificationDispatcher.h"
#include "Meterlane/Platform/DocumentStore.h"
#include "Meterlane/Platform/Log.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Reader/ReaderSettings.h"

namespace gaugely {

// One reading of a plan's usage, whatever it was read from.
struct UsageReading {
    CodexPlan plan = CodexPlan::plus;
    UsageSnapshot snapshot;
    // The windows read, with their exact remaining share (0...100), for the history.
    std::map<QuotaWindow, double> remainingPercent;
    // The reset times the source told, of the windows that have one.
    std::map<QuotaWindow, Date> resetsAt;
    // The windows shown as reset because their reset time passed with no newer reading.
    std::map<QuotaWindow, Date> passedResets;

    static UsageReading fromMenu(CodexPlan plan, const UsageSnapshot& snapshot);
    static UsageReading fromLogs(CodexPlan plan, const CodexLogSnapshot& reading);
};

// The ledger of readings: it owns the reading on display, each plan's stored reading and its
// source, the history the pace is estimated from, and the alert state a reading advances. Every
// reading, from the menu or the logs, is committed by `commit`, which in this order validates it,
// records it in the history, stores its source, shows it, saves it, lets the reader follow it
// (`ReadingCommitted`) and raises the alerts it calls for. Main queue only; it publishes through
// the reader's observers and reads the alert settings from the reader's settings.
class UsageLedger {
  public:
    // Runs after a reading is saved and before any alert it raises.
    using ReadingCommitted = std::function<void(const UsageReading&, UsageSource, Date at)>;

    UsageLedger(Preferences& preferences, Log& log, ModelObservers& observers,
                const ReaderSettings& settings, UsageNotificationDispatcher& notifications,
                ReadingCommitted committed);
    UsageLedger(const UsageLedger&) = delete;
    UsageLedger& operator=(const UsageLedger&) = delete;

    // Reads the stored readings and their sources. A reading stored before plans had records of
    // their own is taken as its plan's, unless that plan has one.
    void restore();
    // The plan of that older reading, if it was complete.
    std::optional<CodexPlan> legacySnapshotPlan() const { return legacySnapshotPlan_; }
    // Keeps a history from now on, in `store`; a history that cannot be read starts anew.
    void keepHistory(DocumentStore& store, Date now);

    // Shows the plan's stored reading, or nothing when it has none that can be shown.
    void present(CodexPlan plan);
    // Whether the reading is shown and remembered; false when its source's rule refuses it: a
    // menu reading must be complete for its plan, and a log reading later than the stored one
    // (or as late, showing more of the same logs).
    [[nodiscard]] bool commit(const UsageReading& reading, UsageSource source, Date at);
    // Whether `commit` would take the reading. A log reading is judged without its reset texts,
    // so they need be formatted only for a reading that will be taken.
    bool accepts(const UsageReading& reading, UsageSource source, Date at) const;

    // The reading on display, the plan it is of and when it was taken.
    const UsageSnapshot& snapshot() const { return snapshot_; }
    std::optional<CodexPlan> snapshotPlan() const { return snapshotPlan_; }
    std::optional<Date> lastUpdated() const { return lastUpdated_; }
    const std::map<QuotaWindow, Date>& passedResets() const { return passedResets_; }
    // Where the plan's stored reading came from.
    UsageSource source(CodexPlan plan) const { return sources_.source(plan); }
    const UsageHistory& history() const { return history_; }
    // A menu reading must be complete, a log reading needs one window with a percentage.
    bool isDisplayable(const UsageSnapshot& snapshot, CodexPlan plan) const;
    // The reading on display is the plan's, and can be shown.
    bool showsReadingOf(CodexPlan plan) const;

    // The alert state the readings advance.
    const LowUsageThresholdState& lowUsageState() const { return lowUsageState_.state(); }
    const QuotaResetState& resetState() const { return resetState_.state(); }
    // Another plan's alerts start over.
    void forgetAlerts(CodexPlan plan);
    // What the reading on display shows is taken as already told: switching an alert on while
    // usage is low says nothing at once.
    void rebaselineLowUsageAlerts(CodexPlan plan, const std::set<QuotaWindow>& only);
    void rebaselineResets(CodexPlan plan);

  private:
    void recordHistory(const UsageReading& reading, Date at);
    void storeSource(CodexPlan plan, UsageSource source);
    void saveReadings();
    void raiseAlerts(CodexPlan plan, Date at);

    Preferences& preferences_;
    Log& log_;
    ModelObservers& observers_;
    const ReaderSettings& settings_;
    UsageNotificationDispatcher& notifications_;
    ReadingCommitted committed_;

    // On display.
    UsageSnapshot snapshot_;
    std::optional<CodexPlan> snapshotPlan_;
    std::optional<Date> lastUpdated_;
    std::map<QuotaWindow, Date> passedResets_;
    // Remembered.
    PersistedPlanUsageSnapshots stored_;
    std::optional<CodexPlan> legacySnapshotPlan_;
    UsageSnapshotSources sources_;
    UsageHistory history_;
    DocumentStore* historyStore_ = nullptr;
    LowUsageNotificationStateStore lowUsageState_;
    QuotaResetNotificationStateStore resetState_;
};

}  // namespace gaugely
