#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/ReaderStatus.h"
#include "LowUsageNotificationSupport/RefreshEndCause.h"
#include "LowUsageNotificationSupport/RefreshRunOutcome.h"
#include "LowUsageNotificationSupport/RefreshSnapshotStability.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/AccessibilityWorker.h"
#include "Meterlane/Platform/Input.h"
#include "Meterlane/Platform/Log.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Workspace.h"
#include "Meterlane/Reader/CodexElementSearch.h"
#include "Meterlane/Reader/ProfileMenuLookup.h"
#include "Meterlane/Reader/RealInputMonitor.h"
#include "Meterlane/Reader/RefreshTrace.h"

namespace gaugely {

// What a refresh run may read of the reader that owns it, and ask of it. The run changes no
// published state but through these.
class RefreshRunHost {
  public:
    // The plan whose usage the run reads.
    virtual CodexPlan planToRead() const = 0;
    // The reading on display is complete for that plan: a failed run says it was kept.
    virtual bool showsValidReading() const = 0;
    // Switching automatic refresh off ends an automatic run at its next step.
    virtual bool automaticRefreshIsOn() const = 0;

    // Asks the platform again whether Gaugely is trusted for Accessibility, without a prompt.
    virtual bool accessibilityIsTrusted() = 0;
    virtual void setCodexFound(bool found) = 0;
    // Whether the run could watch for real input; automatic refreshes wait while it cannot.
    virtual void inputMonitoringAvailable(bool available) = 0;
    virtual void showStatus(std::optional<ReaderStatus> status) = 0;
    // The run's countdown changed.
    virtual void countdownChanged() = 0;
    // A reading two looks agreed on; false (nothing kept) when it is not complete for the plan.
    [[nodiscard]] virtual bool commitReading(const UsageSnapshot& snapshot) = 0;
    // An automatic run put off by the user or by Codex leaving the front: the refresh stays due.
    virtual void keepAutomaticRefreshDue() = 0;
    virtual std::string newTraceIdentifier() = 0;
    virtual void recordOutcome(const RefreshRunOutcome& outcome) = 0;
    // The run's last act, made once: no run is in progress any more.
    virtual void runEnded(std::optional<ReaderStatus> status) = 0;
    // Runs a step that comes back from the accessibility worker rather than through the run's
    // queue, so that its changes are told together, as every other step's are.
    virtual void runStep(const std::function<void()>& step) = 0;

  protected:
    virtual ~RefreshRunHost() = default;
};

// The platform a run drives Codex through and keeps time with. Codex's tree is read only through
// the worker.
struct RefreshRunPorts {
    AccessibilityWorker& accessibilityWorker;
    Input& input;
    Workspace& workspace;
    MainQueue& mainQueue;
    Clock& clock;
    Log& log;
};

// One accepted refresh request, from its acceptance to its single `finish`: the countdown it may
// have, bringing Codex to the front, the click on the profile control, focusing and expanding
// "Usage remaining", reading until two readings agree, and putting back the menu it opened. It
// owns what lives exactly as long as that: the captured UI state, the timing, the trace, the
// countdown, the real-input monitor, the stability rule and the focus baseline.
//
// The reader owns the run and survives it; the run sees it only as its host. Main thread only.
// Every wait is a scheduled step whose handle the run holds: finishing drops the countdown and the
// next step, and so does destroying the run, so nothing of an ended run ever runs again; the run
// never sleeps and never sends a key once it has finished.
//
// A step that needs Codex's tree hands a job to the accessibility worker and ends; the job's
// result comes back as the next step, and the job in flight is the run's one pending step (its
// handle is `nextStep_`). A job carries copies (Codex's process, element handles, the lookup mode,
// what the menu memory knew) and reads nothing of the run. Whatever the user did while it ran is
// seen by the guard in the step that receives its result, before any key or click.
class RefreshRun {
  public:
    RefreshRun(RefreshRunHost& host, RefreshRunPorts ports, CodexElementSearch& search,
               RefreshRunKind kind, ElementLookupMode lookupMode,
               ProfileMenuMemory& profileMenuMemory);
    ~RefreshRun();
    RefreshRun(const RefreshRun&) = delete;
    RefreshRun& operator=(const RefreshRun&) = delete;

    // Captures the UI state (the menu's presence at the start, a look on the worker) and begins
    // the trace once it is known.
    void start();
    // Counts down (an automatic run) or goes straight on to the click (a manual one), as soon as
    // the start's look is back.
    void proceed();

    RefreshRunKind kind() const { return kind_; }
    bool isAutomatic() const { return kind_ == RefreshRunKind::automatic; }
    // The seconds an automatic run's countdown has left; none once it is over.
    std::optional<int> countdown() const { return countdown_; }
    const RefreshUIState& refreshUIState() const { return uiState_; }
    const RefreshTiming& refreshTiming() const { return timing_; }
    const RealInputMonitor* realInputMonitor() const { return realInputMonitor_.get(); }
    RefreshCleanupResult refreshCleanupResult() const { return cleanupResult_; }

    // The user switched automatic refresh off during an automatic run.
    void deferForAutomaticRefreshSwitchedOff();
    // An update installation is about to begin; a run still counting down has sent nothing yet.
    void deferForUpdateInstallation();
    // A plan change abandons the run without a final trace line and without sending any key.
    void abandon() { finish(std::nullopt, std::nullopt); }

  private:
    // What one reading of the menu found.
    struct UsageLook {
        bool menuFound = false;
        // The direct profile percentage: whether a row carries it, several titles did, its value.
        bool usageRow = false;
        bool ambiguous = false;
        std::optional<ProProfileUsageValues> values;
        // The "Usage remaining" section's text.
        std::vector<std::string> lines;
    };
    // What the look for "Usage remaining" among the menu's items found.
    struct FocusLook {
        bool itemsFound = false;
        std::optional<UsageFocusBaseline> baseline;
    };

    // What the look before the click found (each part read only when the ones before allow it).
    struct TargetLook {
        RefreshMenuInspection inspection;
        // The user's menu already shows usage: its first reading.
        std::optional<UsageLook> usage;
        AXElement control;
        std::optional<Rect> controlFrame;
        Point point;
        bool hitAccepted = false;
    };
    // What the first look after the click found.
    struct MenuLook {
        AXElement menu;
        std::optional<FoundProfileMenuWay> way;
        // The next step's reads, made in the same job so they share its reads of the menu.
        std::optional<UsageLook> usage;
        std::optional<FocusLook> focus;
    };
    // The expansion check, with the first reading when the section is expanded.
    struct ExpansionLook {
        bool expanded = false;
        std::optional<UsageLook> usage;
    };

    // Hands `read(search, application)` to the worker with Codex's process copied into it; its
    // result comes back as `then(result)`, the run's next step.
    template <class Read, class Then>
    void readTree(const RunningApplication& codex, Read read, Then then) {
        nextStep_ = ports_.accessibilityWorker.submit(
            [pid = codex.processIdentifier, read = std::move(read)](Accessibility& port) mutable {
                CodexTreeSearch search(port);
                const AXElement application = search.applicationElement(pid);
                return read(search, application);
            },
            [this, then = std::move(then)](auto result) mutable {
                host_.runStep([&] { then(std::move(result)); });
            });
    }

    // Steps, in run order.
    // The trace's first lines, once the start's look is back.
    void traceStart();
    void clickProfileControlDynamically();
    void hitTestAndClickProfileControl(const RunningApplication& codex);
    void clickAfterTargetLook(const RunningApplication& codex, const TargetLook& look);
    void clickIfMenuStillClosed(const RunningApplication& codex, Point point,
                                RefreshMenuPresence presence);
    void verifySyntheticClickProfileMenu(const RunningApplication& codex, int attempt);
    void menuAfterClickFound(const RunningApplication& codex, const MenuLook& look, int attempt);
    // `alreadyRead`: the step's reads, made by the job that found the menu.
    void beginUsageKeyboardFocusExperiment(const RunningApplication& codex, int attempt,
                                           std::optional<FocusLook> alreadyRead = std::nullopt);
    void retryUsageKeyboardReadiness(const RunningApplication& codex, int attempt,
                                     std::optional<FocusLook> alreadyRead = std::nullopt);
    void focusUsageItem(const RunningApplication& codex, const FocusLook& look, int attempt);
    void activateFocusedUsageItemWithReturn(const RunningApplication& codex,
                                            const UsageFocusBaseline& baseline, int attempt);
    void verifyUsageKeyboardActivation(const RunningApplication& codex,
                                       const UsageFocusBaseline& baseline, int attempt);
    void readStableUsage(const RunningApplication& codex, int attempt, bool directProfile,
                         std::optional<UsageLook> alreadyRead = std::nullopt);
    void usageRead(const RunningApplication& codex, int attempt, bool directProfile,
                   const UsageLook& look);
    void restoreOwnedCodexMenuAfterRead(const std::optional<RunningApplication>& codex,
                                        std::optional<RefreshEndCause> cause,
                                        bool requiresUsageExpansion);
    void dismissOwnedMenu(const RunningApplication& codex, std::optional<RefreshEndCause> cause,
                          bool menuStillOurs);
    void verifyOwnedCodexMenuRestoration(const RunningApplication& codex,
                                         std::optional<RefreshEndCause> cause);
    void restorationVerified(std::optional<RefreshEndCause> cause, RefreshMenuPresence presence);
    void completeRefreshAfterRead(std::optional<RefreshEndCause> cause);
    void deferRefreshForOpenProfileMenu();
    void markProfileMenuOpenedByMonitor(const AXElement& menu);

    // The guards: each either allows the next step or has already ended the run.
    [[nodiscard]] bool automaticCountdownMayContinue();
    [[nodiscard]] bool beginRealInputMonitoringForSyntheticSequence();
    [[nodiscard]] bool automaticSyntheticInputMayContinue();
    void deferAutomaticSyntheticInteraction(RefreshEndCause cause);

    // The trace.
    void recordRefreshStage(std::string_view stage, std::optional<std::string_view> detail = {});
    void recordRefreshTiming(std::string_view mark);

    // The wait before the next poll of a step that waits for Codex, by attempt (from 0).
    static double pollDelay(int attempt);
    // Polls are attempts 0 to 13; attempt 14 ends the wait without reading.
    static constexpr int lastPollAttempt = 13;

    // The run's one end: the final trace line and the outcome published (none when the run is
    // abandoned), the countdown and the next step dropped, the monitor stopped, and the reader
    // told that no run is in progress. A run ends once.
    void finish(std::optional<RefreshRunOutcome> outcome, std::optional<ReaderStatus> status);
    void countdownTick(int second);
    void setCountdown(std::optional<int> secondsLeft);
    void endThroughRestoration(const std::optional<RunningApplication>& codex,
                               RefreshEndCause cause);
    // Schedules `step` with the next attempt after the back-off delay of `attempt`.
    void pollAgain(int attempt, std::function<void(int)> step);
    // True when `attempt` is past the last poll: the run has then ended with `cause`.
    [[nodiscard]] bool waitIsOver(int attempt, const RunningApplication& codex,
                                  RefreshEndCause cause);
    void scheduleAutomation(double after, std::function<void()> step);
    // The checks both automatic guards make first: still switched on, Codex (or, for the
    // countdown, our settings window) still in front. False: the run has ended.
    [[nodiscard]] bool automaticRunStillWanted(bool settingsWindowCounts);

    void finishRefreshTrace(const RefreshRunOutcome& outcome);
    long elapsedMilliseconds() const;
    void logCleanup(std::string_view line);

    // Reads on the worker: they see only the search and what they are given.
    static TargetLook lookAtTarget(CodexTreeSearch& search, const AXElement& application,
                                   QuotaSchema schema, bool startUncertain, bool directProfile);
    static UsageLook lookAtUsage(CodexTreeSearch& search, const AXElement& application,
                                 ElementLookupMode mode, const AXElement& openedMenu,
                                 bool directProfile);
    static FocusLook lookAtFocus(CodexTreeSearch& search, const AXElement& application,
                                 ElementLookupMode mode, const AXElement& openedMenu);
    static bool clickTargetAccepted(CodexTreeSearch& search, const AXElement& application,
                                    const AXElement& control, const Rect& controlFrame,
                                    Point point);
    static FocusLook lookForUsageItem(CodexTreeSearch& search, const AXElement& menu);
    static UsageLook readMenuUsage(CodexTreeSearch& search, const AXElement& menu,
                                   bool directProfile);

    std::optional<UsageSnapshot> readDirectProfileUsage(const UsageLook& look);
    std::optional<UsageSnapshot> readUsageRemaining(const UsageLook& look);
    RefreshEndCause unreadableUsageCause() const;
    bool sendSyntheticLeftClick(Point point);
    bool sendSyntheticKeyPress(uint16_t keyCode);
    void stopRealInputMonitor();

    QuotaSchema schema() const;
    // Whether the plan's usage is read straight off the profile menu (no "Usage remaining").
    bool readsDirectProfileUsage() const;

    RefreshRunHost& host_;
    RefreshRunPorts ports_;
    CodexElementSearch& search_;
    const RefreshRunKind kind_;
    const ElementLookupMode lookupMode_;
    ProfileMenuMemory& profileMenuMemory_;
    RefreshUIState uiState_;
    RefreshTiming timing_;
    std::optional<RefreshTrace> trace_;
    std::unique_ptr<RealInputMonitor> realInputMonitor_;
    RefreshSnapshotStability<UsageSnapshot> snapshotStability_;
    std::optional<UsageFocusBaseline> baseline_;
    // The profile control the run clicked.
    AXElement profileControl_;
    RefreshCleanupResult cleanupResult_ = RefreshCleanupResult::notRequired;
    // Whether the last reading found a menu to read, for the message when the wait runs out.
    bool lastReadingFoundMenu_ = false;
    std::optional<int> countdown_;
    bool finished_ = false;
    // `proceed` was asked for while the start's look was still on the worker.
    bool startLookPending_ = false;
    bool proceedWanted_ = false;
    // The countdown's ticks and the step the run waits for; each goes with the run.
    std::vector<TaskHandle> countdownTicks_;
    TaskHandle nextStep_;
};

}  // namespace gaugely
