#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/AccessibilityPermissionGuidance.h"
#include "LowUsageNotificationSupport/CodexLogLine.h"
#include "LowUsageNotificationSupport/CodexLogReadings.h"
#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/ModelObservers.h"
#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/RefreshRunGuard.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "LowUsageNotificationSupport/RefreshSnapshotStability.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "LowUsageNotificationSupport/UsageHistory.h"
#include "LowUsageNotificationSupport/UsagePace.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationState.h"
#include "LowUsageNotificationSupport/UsageSnapshotSources.h"
#include "Meterlane/Notifications/LowUsageNotificationStateStore.h"
#include "Meterlane/Notifications/QuotaResetNotificationStateStore.h"
#include "Meterlane/Notifications/UsageNotificationDispatcher.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/AccessibilityWorker.h"
#include "Meterlane/Platform/Input.h"
#include "Meterlane/Platform/Log.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/UserNotificationCenter.h"
#include "Meterlane/Platform/Workspace.h"
#include "Meterlane/Reader/AutomaticRefreshScheduler.h"
#include "Meterlane/Reader/ChangeSetQueue.h"
#include "Meterlane/Reader/CodexElementSearch.h"
#include "Meterlane/Reader/CodexLogProgress.h"
#include "Meterlane/Reader/CodexLogSource.h"
#include "Meterlane/Reader/ReaderSettings.h"
#include "Meterlane/Reader/RealInputMonitor.h"
#include "Meterlane/Reader/RefreshRun.h"
#include "Meterlane/Reader/RefreshTrace.h"
#include "Meterlane/Reader/UsageLedger.h"
#include "SharedUpdateSupport/UpdateRefreshGate.h"

namespace gaugely {

// What the reader talks to. Everything is used from the main queue only.
struct ReaderEnvironment {
    Accessibility& accessibility;
    Input& input;
    Workspace& workspace;
    MainQueue& mainQueue;
    Clock& clock;
    Log& log;
    Preferences& preferences;
    UserNotificationCenter& notificationCenter;
    // The text form of a new random UUID.
    std::function<std::string()> makeUUID;
    // Where refresh runs read Codex's tree, off the main thread; none: on the main thread, in the
    // step that asks.
    AccessibilityWorker* accessibilityWorker = nullptr;
};

// The one long-lived model object the interface observes: a façade over the user's settings, the
// ledger of readings, the refresh run, the automatic-refresh scheduler and the log source. It
// accepts or refuses refresh requests, hands each reading to the ledger, and tells its observers
// of every change, once per change set (a setter, a reading, a step of a run).
class UsageReader : private RefreshRunHost, private AutomaticRefreshHost {
  public:
    explicit UsageReader(ReaderEnvironment environment);
    ~UsageReader();
    UsageReader(const UsageReader&) = delete;
    UsageReader& operator=(const UsageReader&) = delete;

    // Observation: the handler runs once after each change set that changed published state.
    using ObserverID = ModelObservers::ObserverID;
    ObserverID addObserver(std::function<void()> handler) {
        return observers_.add(std::move(handler));
    }
    void removeObserver(ObserverID id) { observers_.remove(id); }

    // Published state.
    bool accessibilityGranted() const { return accessibilityGranted_; }
    bool codexFound() const { return codexFound_; }
    const UsageSnapshot& snapshot() const { return ledger_.snapshot(); }
    CodexPlan codexPlan() const { return settings_.plan(); }
    bool hasExplicitPlanSelection() const {
        return settings_.planSelection().hasExplicitPlanSelection();
    }
    const CodexPlanSelectionState& planSelectionState() const { return settings_.planSelection(); }
    std::optional<CodexPlan> activeSnapshotPlan() const { return ledger_.snapshotPlan(); }
    std::optional<int> countdown() const {
        return activeRun_ ? activeRun_->countdown() : std::nullopt;
    }
    bool automationInProgress() const { return activeRun_ != nullptr; }
    std::optional<Date> lastUpdated() const { return ledger_.lastUpdated(); }
    std::optional<Date> nextAutomaticRefreshDate() const {
        return scheduler_.nextAutomaticRefreshDate();
    }
    bool automaticRefreshIsPending() const { return scheduler_.automaticRefreshIsPending(); }
    bool automaticRefreshEnabled() const { return settings_.automaticRefreshEnabled(); }
    // What the reader has to say about reading, as a cause; its words are the presentation's.
    const std::optional<ReaderStatus>& status() const { return status_; }
    const std::optional<RefreshRunOutcome>& lastRefreshOutcome() const {
        return lastRefreshOutcome_;
    }
    // True exactly while no plan has been chosen.
    bool firstRunPlanSelectionIsEligible() const {
        return settings_.planSelection().requiresFirstRunSelection();
    }
    bool accessibilityGuidanceIsEligible() const { return accessibilityGuidanceIsEligible_; }
    // The keyboard cannot be watched for real input (Input Monitoring permission is missing, or
    // the last run's tap could not be made): automatic refreshes are put off until it can.
    bool inputMonitoringUnavailable() const { return inputMonitoringUnavailable_; }
    RefreshFrequency refreshFrequency() const { return settings_.refreshFrequency(); }
    MenuBarDisplay menuBarDisplay() const { return settings_.menuBarDisplay(); }
    const LowUsageAlertSettings& lowUsageAlertSettings() const {
        return settings_.lowUsageAlerts();
    }
    const ResetNotificationSettings& resetNotificationSettings() const {
        return settings_.resetNotifications();
    }
    const LowUsageThresholdState& lowUsageNotificationState() const {
        return ledger_.lowUsageState();
    }
    const QuotaResetState& quotaResetNotificationState() const { return ledger_.resetState(); }

    // Derived state, computed on demand.
    UsageSnapshot currentDisplaySnapshot() const;
    std::optional<Date> currentDisplayLastUpdated() const;
    bool hasValidValues() const;
    UsageSnapshotPresentationState usageSnapshotPresentationState() const;
    bool currentSnapshotMayBeStale() const;
    std::string menuBarUsageSummary() const;
    bool hasEnabledCurrentPlanNotificationFeature() const;
    // The summary format in force: the chosen one when the plan offers it, else standard.
    MenuBarDisplay effectiveMenuBarDisplay() const;

    // Requests a refresh; the only way a run starts. Manual requests pass false.
    void beginReadCountdown(bool isAutomatic);

    // Settings (see ReaderSettings); each is stored the moment it changes.
    void setCodexPlan(CodexPlan plan);
    void setAutomaticRefreshEnabled(bool enabled);
    void setRefreshFrequency(RefreshFrequency frequency);
    void setMenuBarDisplay(MenuBarDisplay display);
    void setLowUsageAlertsEnabled(bool enabled, QuotaWindow window);
    void setLowUsageAlertThreshold(LowUsageAlertThreshold threshold, QuotaWindow window);
    void setLowUsageAlertRepeat(LowUsageAlertRepeat repeat, QuotaWindow window);
    void setResetNotificationsEnabled(bool enabled);

    UsageNotificationDispatcher& notificationDispatcher() { return *notificationDispatcher_; }

    // Reading Codex's session logs, beside the menu (see UsageReaderCodexLogs.cpp). Until
    // `attachCodexLogs` the switch is kept but nothing is read, and no history is kept.
    void attachCodexLogs(CodexLogEnvironment environment);
    bool codexLogsEnabled() const { return settings_.codexLogsEnabled(); }
    // As chosen: "~/.codex" until the user picks another folder.
    const std::string& codexLogsFolder() const { return settings_.codexLogsFolder(); }
    // The chosen folder with "~" expanded; what is read.
    std::string codexLogsFolderPath() const;
    const CodexLogsState& codexLogsState() const { return codexLogsState_; }
    // What reading the logs has cost in this process; none while they are not read.
    std::optional<CodexLogFollowerStatistics> codexLogStatistics() const;
    void setCodexLogsEnabled(bool enabled);
    void setCodexLogsFolder(std::string folder);
    // A usage line from the logs, committed at once; tests call it (the source hands its lines
    // over as they are read and commits once a look is done).
    void receiveCodexLogLine(const CodexLogUsageLine& line);
    // The windows of the shown log reading whose reset time has passed with no newer line:
    // shown as reset (100%), with the time they reset. Empty for any other reading.
    const std::map<QuotaWindow, Date>& windowsShownAsReset() const {
        return ledger_.passedResets();
    }
    // Whether a stored snapshot of the plan can be shown: a menu reading must be complete, a log
    // reading needs one window with a percentage.
    bool isDisplayableSnapshot(const UsageSnapshot& snapshot, CodexPlan plan) const {
        return ledger_.isDisplayable(snapshot, plan);
    }
    // The shown reading came from the logs and is younger than one refresh interval: a due
    // automatic menu refresh would tell nothing new.
    bool codexLogsAreCurrent() const;
    // Where the shown reading came from.
    UsageSource snapshotSource() const { return ledger_.source(codexPlan()); }
    const UsageHistory& usageHistory() const { return ledger_.history(); }
    // When the current plan's window resets, as the newest log reading said; none before one.
    std::optional<Date> windowResetsAt(QuotaWindow window) const;
    UsagePaceEstimate usagePace(QuotaWindow window) const;

    // The scheduler's tick; also run at start and after wake.
    void evaluateAutomaticRefresh();

    // Closed while an update installs: no run may start.
    bool updateRefreshGate() const { return updateRefreshGate_; }
    void setUpdateRefreshGate(bool closed) { updateRefreshGate_ = closed; }
    // Whether an update may install now; yes closes the gate (see UsageReaderUpdateGate.cpp).
    [[nodiscard]] bool prepareForDevelopmentUpdate();
    // The two hooks the app installs on the updater; they hold this reader weakly.
    UpdateRefreshGateHooks updateRefreshGateHooks();

    bool refreshPermission(bool requestPrompt);
    // Asks the platform whether the keyboard may be watched (with the system's prompt when
    // `requestPrompt`), so what is shown follows a permission granted or withdrawn meanwhile.
    bool refreshInputMonitoringPermission(bool requestPrompt);
    // The first-run guidance was shown (or an update relaunch made it pointless): not again in
    // this run of the program.
    void dismissAccessibilityGuidanceForCurrentSession();

    // Exposed for the demo's statistics and for tests.
    CodexElementSearch& elementSearch() { return search_; }
    const RealInputMonitor* realInputMonitor() const {
        return activeRun_ ? activeRun_->realInputMonitor() : nullptr;
    }
    // When the run in progress was accepted (monotonic seconds); none while idle.
    std::optional<double> activeRefreshRequestedAt() const {
        return activeRun_ ? std::optional<double>(activeRun_->refreshTiming().requestedAt)
                          : std::nullopt;
    }
    // How the last run left Codex's menu (the run in progress: so far).
    RefreshCleanupResult refreshCleanupResult() const;
    // How runs find the profile menu after their click; fast unless a test asks for literal.
    void setElementLookupMode(ElementLookupMode mode) { elementLookupMode_ = mode; }
    ElementLookupMode elementLookupMode() const { return elementLookupMode_; }

  private:
    // What a run may read and ask (see RefreshRunHost).
    CodexPlan planToRead() const override { return codexPlan(); }
    bool showsValidReading() const override { return hasValidValues(); }
    bool automaticRefreshIsOn() const override { return settings_.automaticRefreshEnabled(); }
    bool accessibilityIsTrusted() override { return refreshPermission(false); }
    void setCodexFound(bool found) override { publish(codexFound_, found); }
    void inputMonitoringAvailable(bool available) override {
        publish(inputMonitoringUnavailable_, !available);
    }
    void showStatus(std::optional<ReaderStatus> status) override { setStatus(status); }
    void countdownChanged() override { notifyObservers(); }
    [[nodiscard]] bool commitReading(const UsageSnapshot& snapshot) override;
    void keepAutomaticRefreshDue() override;
    std::string newTraceIdentifier() override;
    void recordOutcome(const RefreshRunOutcome& outcome) override {
        publish(lastRefreshOutcome_, std::optional<RefreshRunOutcome>(outcome));
    }
    void runEnded(std::optional<ReaderStatus> status) override;
    void runStep(const std::function<void()>& step) override {
        auto changes = changeSet();
        step();
    }

    // What the scheduler may read and ask besides (see AutomaticRefreshHost).
    bool planIsChosen() const override { return hasExplicitPlanSelection(); }
    RefreshFrequency chosenRefreshFrequency() const override {
        return settings_.refreshFrequency();
    }
    std::optional<Date> lastReadingDate() const override { return ledger_.lastUpdated(); }
    bool updateIsInstalling() const override { return updateRefreshGate_; }
    bool isCountingDown() const override { return countdown().has_value(); }
    bool refreshIsRunning() const override { return automationInProgress(); }
    bool logsAreCurrent() const override { return codexLogsAreCurrent(); }
    void scheduleChanged() override { notifyObservers(); }
    void beginAutomaticRefresh() override { beginReadCountdown(true); }

    // The run's bookkeeping on the reader's side.
    void cancelRefreshForPlanChange();
    // Refuses a request (with its outcome, and the status it calls for) that may not start a run.
    [[nodiscard]] bool acceptRefreshRequest(RefreshRunKind kind);
    void recordRejectedRefresh(RefreshRunKind kind, const RefreshRunOutcome& outcome);
    bool activeRefreshIsAutomatic() const { return activeRun_ && activeRun_->isAutomatic(); }
    // What follows a reading the ledger took, before its alerts: a menu reading moves the
    // automatic deadline on; a log reading is written to the log.
    void readingCommitted(const UsageReading& reading, UsageSource source, Date at);

    // Reading the logs.
    void startCodexLogSource();
    void codexLogSourceLooked();
    void resumeCodexLogProgress();
    void saveCodexLogProgress();
    std::optional<Date> takeCodexLogLine(const CodexLogLineDecoding& decoding);
    void commitCodexLogReadings();
    void wakeForCodexLogChange();
    // A time as the log writes it: "2026-11-21T09:00:00Z".
    std::string formattedLogTime(Date date) const;

    // Ends an automatic run in progress, as switching automatic refresh off does.
    void stopAutomaticRefreshIfNeeded();

    // Publishing.
    template <class T>
    void publish(T& field, T value) {
        observers_.publish(field, std::move(value));
    }
    [[nodiscard]] ModelObservers::ChangeSet changeSet() { return observers_.changeSet(); }
    void notifyObservers() { observers_.notify(); }
    void setStatus(std::optional<ReaderStatus> status) { publish(status_, status); }

    AXElement applicationElement(const RunningApplication& codex);
    QuotaSchema currentSchema() const;

    ReaderEnvironment env_;
    // First: the settings and the ledger publish through it.
    ModelObservers observers_;
    // What the runs and the log source schedule on: each step is one change set.
    ChangeSetQueue runQueue_{env_.mainQueue, observers_};
    CodexElementSearch search_;
    ReaderSettings settings_{env_.preferences, observers_};
    std::shared_ptr<UsageNotificationDispatcher> notificationDispatcher_;
    UsageLedger ledger_;

    // Published.
    bool accessibilityGranted_ = false;
    bool codexFound_ = false;
    std::optional<ReaderStatus> status_;
    std::optional<RefreshRunOutcome> lastRefreshOutcome_;
    bool accessibilityGuidanceIsEligible_ = false;
    bool inputMonitoringUnavailable_ = false;
    AccessibilityPermissionGuidanceState accessibilityGuidanceState_;
    bool updateRefreshGate_ = false;

    // Codex's logs.
    CodexLogsState codexLogsState_;
    std::optional<CodexLogEnvironment> codexLogEnvironment_;
    std::unique_ptr<CodexLogSource> codexLogSource_;
    // What the logs have said: committed when it can be, and tried again after a run ends or the
    // plan changes, since the follower hands each line over only once.
    CodexLogReadings codexLogReadings_;
    // The progress record as last read or written, so an unchanged one is not written again.
    std::optional<CodexLogProgress> savedCodexLogProgress_;
    bool codexLogReadingsWaiting_ = false;
    // Wakes the reader when a window's reset time passes with no newer line.
    TaskHandle codexLogWake_;

    // The run in progress, and those that ended since the queue last turned: a run usually ends
    // inside one of its own steps, so it is released by the work that follows its end.
    std::unique_ptr<RefreshRun> activeRun_;
    std::vector<std::unique_ptr<RefreshRun>> endedRuns_;
    TaskHandle afterRun_;
    RefreshCleanupResult lastCleanupResult_ = RefreshCleanupResult::notRequired;
    ElementLookupMode elementLookupMode_ = ElementLookupMode::fast;
    InlineAccessibilityWorker inlineAccessibilityWorker_{env_.accessibility, env_.mainQueue};
    // Where runs found the profile menu, for the next run's polls, in this process and the next.
    ProfileMenuMemory profileMenuMemory_{env_.preferences, env_.workspace};

    // The automatic refresh schedule; it lives as long as the reader.
    AutomaticRefreshScheduler scheduler_{
        static_cast<AutomaticRefreshHost&>(*this),
        AutomaticRefreshPorts{env_.input, env_.workspace, env_.mainQueue, env_.clock, env_.log,
                              env_.preferences},
        search_};

    // Lets the updater's refresh-gate hooks, which may outlive the reader, notice that it is gone.
    std::shared_ptr<UsageReader*> alive_;
};

}  // namespace gaugely
