#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "Meterlane/Verification/RefreshTraceRecorder.h"
#include "Meterlane/Verification/TimedAccessibility.h"
#include "Meterlane/Verification/TreeWhereabouts.h"

namespace gaugely {

// The app as `--verify` wires it, over a simulated Mac: the reader talks to Codex through the
// timing wrapper, whose reads the whereabouts watch, and logs through the trace recorder. Every
// round trip costs `roundTrip` seconds of virtual time.
struct VerificationWorld {
    static constexpr ProcessID gaugelyPid = 500;

    VirtualTime time;
    MemoryLog log;
    RefreshTraceRecorder traces{log};
    FakeWorkspace workspace{time};
    FakeInput input{time};
    SimulatedCodex codex;
    TimedAccessibility timed{codex, time};
    TreeWhereabouts whereabouts;
    MemoryPreferences preferences;
    FakeUserNotificationCenter notifications{time};
    FakeLoginItemService loginItems;
    int uuids = 0;
    std::unique_ptr<UsageReader> reader;

    explicit VerificationWorld(CodexPlan plan = CodexPlan::plus, CodexTreeShape shape = {},
                               double roundTrip = 0.002)
        : codex(time, workspace, input, plan, shape) {
        codex.bringToFront();
        codex.behaviour.escapeCloseDelay = 0.02;
        codex.setRoundTripCost(&time, roundTrip);
        input.setLastInputSecondsAgo(60);
        timed.setReadObserver([this](const AXElement& element,
                                     std::span<const std::string_view> attributes,
                                     std::span<const AXAttributeResult> results) {
            whereabouts.observe(element, attributes, results);
        });
    }

    ReaderEnvironment environment() {
        return ReaderEnvironment{
            timed, input, workspace, time, time, traces, preferences, notifications, [this] {
                char text[40];
                std::snprintf(text, sizeof text, "%08X-0000-4000-8000-000000000000", ++uuids);
                return std::string(text);
            }};
    }

    UsageReader& makeReader(std::optional<CodexPlan> plan = CodexPlan::plus) {
        reader = std::make_unique<UsageReader>(environment());
        if (plan) {
            reader->setCodexPlan(*plan);
        }
        reader->setAutomaticRefreshEnabled(false);
        return *reader;
    }

    void refreshOnce(double timeout = 120) {
        reader->beginReadCountdown(false);
        time.runUntil([this] { return !reader->automationInProgress(); }, timeout);
    }
};

}  // namespace gaugely
