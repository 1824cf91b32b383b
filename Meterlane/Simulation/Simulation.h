#pragma once

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Simulation/CodexTree.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// One simulated Mac: the clock and main queue, the log, the workspace with Finder and Codex
// running and Codex in front, the session's input, and Codex itself. Members are declared in
// dependency order, so Codex goes first when the world is torn down.
struct Simulation {
    static constexpr ProcessID finderPid = 301;

    explicit Simulation(CodexPlan plan = CodexPlan::plus, const CodexTreeShape& shape = {})
        : codex(time, workspace, input, plan, shape) {
        workspace.addApplication({"com.apple.finder", finderPid, ActivationPolicy::regular});
        codex.bringToFront();
    }

    // The user switches to Finder: Codex stays running, behind it.
    void bringFinderToFront() { workspace.setFrontmost(finderPid); }

    VirtualTime time;
    MemoryLog log;
    FakeWorkspace workspace{time};
    FakeInput input{time};
    SimulatedCodex codex;
};

}  // namespace gaugely
