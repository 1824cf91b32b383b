#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "Meterlane/Notifications/UUIDString.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "tools/gaugely/SimulatedUpdater.h"

namespace gaugely::tool {

// A Mac as `gaugely simulate` plays it: Finder and Codex running with Codex in front, the user
// idle, notifications allowed, and the real reader over the given defaults store. Members are in
// dependency order, so the reader goes first when the world is torn down.
struct SimulatedWorld {
    static constexpr ProcessID finderPid = 301;

    // `countedUUIDs`: identifiers from a counter rather than at random, so runs repeat exactly.
    SimulatedWorld(Date start, CodexPlan codexPlan, Preferences& defaults, bool countedUUIDs)
        : time(start), codex(time, workspace, input, codexPlan), preferences(defaults) {
        workspace.addApplication({"com.apple.finder", finderPid, ActivationPolicy::regular});
        codex.bringToFront();
        input.setLastInputSecondsAgo(60);
        notifications.setAuthorizationStatus(NotificationAuthorizationStatus::authorized);
        if (countedUUIDs) {
            makeUUID = [this] {
                char text[40];
                std::snprintf(text, sizeof text, "%08X-0000-4000-8000-000000000000", ++uuids);
                return std::string(text);
            };
        } else {
            makeUUID = &randomUUIDString;
        }
    }

    // Builds the reader; it restores what the store holds, as the app does at launch.
    UsageReader& launchReader() {
        reader = std::make_unique<UsageReader>(
            ReaderEnvironment{codex, input, workspace, time, time, log, preferences, notifications,
                              makeUUID, &accessibilityWorker});
        return *reader;
    }

    VirtualTime time;
    MemoryLog log;
    FakeWorkspace workspace{time};
    FakeInput input{time};
    SimulatedCodex codex;
    // The reader's accessibility calls run here, their time on the worker's clock.
    VirtualAccessibilityWorker accessibilityWorker{time, codex,
                                                   CodexElementSearch::messagingTimeoutSeconds};
    FakeUserNotificationCenter notifications{time};
    Preferences& preferences;
    int uuids = 0;
    std::function<std::string()> makeUUID;
    std::unique_ptr<UsageReader> reader;
    // Built beside the reader; a scenario starts its model. Goes before the reader it hooks into.
    std::unique_ptr<SimulatedUpdater> updater;
};

}  // namespace gaugely::tool
