#pragma once

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeFileSystem.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryDocumentStore.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// A reader wired to a simulated Codex in virtual time, with deterministic trace identifiers.
struct ReaderWorld {
    VirtualTime time;
    MemoryLog log;
    FakeWorkspace workspace{time};
    FakeInput input{time};
    SimulatedCodex codex;
    VirtualAccessibilityWorker worker{time, codex, CodexElementSearch::messagingTimeoutSeconds};
    MemoryPreferences preferences;
    FakeUserNotificationCenter notifications{time};
    int uuids = 0;
    std::unique_ptr<UsageReader> reader;

    explicit ReaderWorld(CodexPlan plan = CodexPlan::plus, CodexTreeShape shape = {})
        : codex(time, workspace, input, plan, shape) {
        codex.bringToFront();
        // Codex closes its menu well within the reader's 50 ms look after Escape.
        codex.behaviour.escapeCloseDelay = 0.02;
        input.setLastInputSecondsAgo(60);
    }

    std::string nextUuid() {
        char text[40];
        std::snprintf(text, sizeof text, "%08X-0000-4000-8000-000000000000", ++uuids);
        return text;
    }

    ReaderEnvironment environment() {
        const auto uuid = [this] { return nextUuid(); };
        return {codex, input,       workspace,     time, time,
                log,   preferences, notifications, uuid, &worker};
    }

    // A reader with its plan chosen and automatic refresh off unless a test wants it.
    UsageReader& makeReader(std::optional<CodexPlan> plan = CodexPlan::plus,
                            bool automaticRefresh = false) {
        reader = std::make_unique<UsageReader>(environment());
        if (plan) {
            reader->setCodexPlan(*plan);
        }
        reader->setAutomaticRefreshEnabled(automaticRefresh);
        log.clear();
        return *reader;
    }

    // Runs the queue until the reader is idle again (the scheduler's tick never stops by itself).
    void runUntilRunEnds(double timeout = 60) {
        time.runUntil([this] { return !reader->automationInProgress(); }, timeout);
    }

    // One whole run: its countdown, if automatic, and everything after.
    void refresh(bool automatic = false) {
        reader->beginReadCountdown(automatic);
        runUntilRunEnds();
    }

    std::vector<std::string> refreshLines() const { return log.lines("refresh"); }

    // The run's last line: "final outcome …" without the trace identifier and elapsed time.
    std::string finalOutcome() const {
        for (auto line = log.entries().rbegin(); line != log.entries().rend(); ++line) {
            const auto at = line->line.find("final outcome ");
            if (at != std::string::npos) {
                const auto end = line->line.rfind(" at ");
                return line->line.substr(at + 14, end == std::string::npos ? end : end - at - 14);
            }
        }
        return {};
    }

    std::size_t postedMouseEvents() const {
        return std::count_if(input.postedEvents().begin(), input.postedEvents().end(), [](auto& e) {
            return e.type != InputEventType::keyDown && e.type != InputEventType::keyUp;
        });
    }
};

// A reader that also follows Codex's logs, in a home folder of its own.
struct LogWorld : ReaderWorld {
    FakeFileSystem files;
    MemoryDocumentStore history;
    IcuTimeFormatter formatter{"en_US_POSIX"};

    using ReaderWorld::ReaderWorld;

    UsageReader& makeLogReader(std::optional<CodexPlan> plan, bool automaticRefresh = false,
                               bool logsOn = true) {
        UsageReader& made = makeReader(plan, automaticRefresh);
        made.setCodexLogsEnabled(logsOn);
        made.attachCodexLogs(CodexLogEnvironment{files, history, formatter, "/home/someone"});
        return made;
    }

    // A line of both windows, `secondsAgo` before now, resetting well after now.
    CodexLogUsageLine line(double secondsAgo, double fiveHourUsed, double weeklyUsed = 60) {
        const Date at = time.now().addingTimeInterval(-secondsAgo);
        return usage(at, CodexLogRateWindow{fiveHourUsed, 300, at.addingTimeInterval(3 * 3600)},
                     CodexLogRateWindow{weeklyUsed, 10'080, at.addingTimeInterval(4 * 86'400)});
    }

    static CodexLogUsageLine usage(Date at, std::optional<CodexLogRateWindow> primary,
                                   std::optional<CodexLogRateWindow> secondary,
                                   std::optional<std::string> plan = std::nullopt) {
        return CodexLogUsageLine{at, "codex", std::move(plan), primary, secondary};
    }
};

}  // namespace gaugely
