// A refresh run's start and its one end: capturing the UI state, the countdown, the polls'
// pacing, `finish`, and the trace (the way into the menu is in RefreshRunClick.cpp).
#include "Meterlane/Reader/RefreshRun.h"

#include <cmath>

namespace gaugely {

namespace {

constexpr int countdownSeconds = 10;

}  // namespace

RefreshRun::RefreshRun(RefreshRunHost& host, RefreshRunPorts ports, CodexElementSearch& search,
                       RefreshRunKind kind, ElementLookupMode lookupMode,
                       ProfileMenuMemory& profileMenuMemory)
    : host_(host),
      ports_(ports),
      search_(search),
      kind_(kind),
      lookupMode_(lookupMode),
      profileMenuMemory_(profileMenuMemory) {}

QuotaSchema RefreshRun::schema() const {
    return PlanQuotaConfiguration::configuration(host_.planToRead()).schema;
}

bool RefreshRun::readsDirectProfileUsage() const {
    return profileUsageReadStrategy(host_.planToRead()) ==
           ProfileUsageReadStrategy::readDirectProfileUsagePercentage;
}

RefreshRun::~RefreshRun() = default;

void RefreshRun::start() {
    // Accepted now: the look at the menu below is part of the request's cost.
    const double requestedAt = ports_.clock.monotonicSeconds();
    timing_ = RefreshTiming{requestedAt, std::nullopt};
    trace_ = RefreshTrace{host_.newTraceIdentifier(), kind_, requestedAt, {}};
    uiState_.host = search_.findCodexApplication();
    if (!uiState_.host) {
        traceStart();
        return;
    }
    startLookPending_ = true;
    readTree(
        *uiState_.host,
        [](CodexTreeSearch& tree, const AXElement& application) {
            return tree.profileMenuInspection(application).presence;
        },
        [this](RefreshMenuPresence presence) {
            uiState_.profileMenuPresenceAtStart = presence;
            startLookPending_ = false;
            traceStart();
            if (proceedWanted_) {
                proceed();
            }
        });
}

void RefreshRun::traceStart() {
    recordRefreshStage("refresh requested");
    recordRefreshStage(
        "eligibility and safety evaluation passed",
        "menu presence: " + std::string(rawValue(uiState_.profileMenuPresenceAtStart)));
    recordRefreshTiming("refresh requested");
}

void RefreshRun::proceed() {
    if (startLookPending_) {
        // The look at the menu may take a while; what the run does first shows at once.
        proceedWanted_ = true;
        if (isAutomatic()) {
            setCountdown(countdownSeconds);
            host_.showStatus(ReaderStatus::countingDown(countdownSeconds));
        } else {
            host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::refreshing));
        }
        return;
    }
    if (!isAutomatic()) {
        host_.showStatus(ReaderStatus::of(ReaderStatus::Kind::refreshing));
        clickProfileControlDynamically();
        return;
    }
    setCountdown(countdownSeconds);
    host_.showStatus(ReaderStatus::countingDown(countdownSeconds));
    // Each tick at its whole second from now, rather than each a second after the last: a late
    // tick does not push the click back.
    for (int second = 1; second <= countdownSeconds; ++second) {
        countdownTicks_.push_back(
            ports_.mainQueue.asyncAfter(second, [this, second] { countdownTick(second); }));
    }
    ports_.log.write(logSubsystem, automaticRefreshLogCategory, LogLevel::info,
                     "Automatic refresh countdown started");
}

void RefreshRun::countdownTick(int second) {
    if (second >= countdownSeconds) {
        clickProfileControlDynamically();
        return;
    }
    if (!automaticCountdownMayContinue()) {
        return;
    }
    const int left = countdownSeconds - second;
    setCountdown(left);
    host_.showStatus(ReaderStatus::countingDown(left));
}

void RefreshRun::setCountdown(std::optional<int> secondsLeft) {
    if (secondsLeft != countdown_) {
        countdown_ = secondsLeft;
        host_.countdownChanged();
    }
}

double RefreshRun::pollDelay(int attempt) {
    if (attempt <= 2) {
        return 0.05;
    }
    if (attempt <= 6) {
        return 0.1;
    }
    return 0.25;
}

void RefreshRun::scheduleAutomation(double after, std::function<void()> step) {
    // Codex's tree may have changed since the last step: each step's job reads afresh.
    nextStep_ = ports_.mainQueue.asyncAfter(after, [step = std::move(step)] { step(); });
}

void RefreshRun::pollAgain(int attempt, std::function<void(int)> step) {
    scheduleAutomation(pollDelay(attempt),
                       [attempt, step = std::move(step)] { step(attempt + 1); });
}

bool RefreshRun::waitIsOver(int attempt, const RunningApplication& codex, RefreshEndCause cause) {
    if (attempt <= lastPollAttempt) {
        return false;
    }
    endThroughRestoration(codex, cause);
    return true;
}

void RefreshRun::endThroughRestoration(const std::optional<RunningApplication>& codex,
                                       RefreshEndCause cause) {
    recordRefreshStage("read failure", userVisibleText(cause));
    restoreOwnedCodexMenuAfterRead(codex, cause, false);
}

void RefreshRun::finish(std::optional<RefreshRunOutcome> outcome,
                        std::optional<ReaderStatus> status) {
    if (finished_) {
        return;
    }
    finished_ = true;
    if (outcome) {
        finishRefreshTrace(*outcome);
    }
    trace_.reset();
    stopRealInputMonitor();
    countdownTicks_.clear();
    nextStep_.cancel();
    setCountdown(std::nullopt);
    host_.runEnded(status);
}

// ---- Trace ----

long RefreshRun::elapsedMilliseconds() const {
    if (!trace_) {
        return 0;
    }
    const double interval = ports_.clock.monotonicSeconds() - trace_->requestedAt;
    return std::isfinite(interval) ? static_cast<long>(interval * 1000.0) : 0;
}

void RefreshRun::recordRefreshStage(std::string_view stage,
                                    std::optional<std::string_view> detail) {
    if (!trace_) {
        return;
    }
    std::string entry(stage);
    if (detail) {
        entry += " — ";
        entry += *detail;
    }
    // A polling step passes the same stage on every attempt; the trail keeps the first of each,
    // so it stays one screen long and a new detail still shows.
    auto& recorded = trace_->recordedStages;
    if (std::find(recorded.begin(), recorded.end(), entry) != recorded.end()) {
        return;
    }
    ports_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                     "Refresh [" + trace_->identifier + "] " + std::string(rawValue(trace_->kind)) +
                         ": " + entry + " at " + std::to_string(elapsedMilliseconds()) + " ms");
    recorded.push_back(std::move(entry));
}

void RefreshRun::recordRefreshTiming(std::string_view mark) {
    if (!trace_) {
        return;
    }
    ports_.log.write(logSubsystem, refreshLogCategory, LogLevel::debug,
                     "Refresh timing: " + std::string(mark) + " at " +
                         std::to_string(elapsedMilliseconds()) + " ms");
}

void RefreshRun::logCleanup(std::string_view line) {
    ports_.log.write(logSubsystem, refreshLogCategory, LogLevel::info, std::string(line));
}

void RefreshRun::finishRefreshTrace(const RefreshRunOutcome& outcome) {
    if (trace_) {
        ports_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                         "Refresh [" + trace_->identifier + "] " +
                             std::string(rawValue(trace_->kind)) + ": final outcome " +
                             outcome.logText(cleanupResult_) + " at " +
                             std::to_string(elapsedMilliseconds()) + " ms");
    }
    host_.recordOutcome(outcome);
    trace_.reset();
}

}  // namespace gaugely
