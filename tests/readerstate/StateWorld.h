#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"
#include "reader/ReaderWorld.h"

namespace gaugely {

// Readings as Codex shows them.
inline std::string percent(int value) {
    return std::to_string(value) + "%";
}
inline UsageSnapshot plusReading(int fiveHour, int weekly) {
    return {.fiveHour = percent(fiveHour),
            .fiveHourReset = "3:45 PM",
            .weekly = percent(weekly),
            .weeklyReset = "Sep 12"};
}
inline UsageSnapshot freeGoReading(int monthly) {
    return {.monthly = percent(monthly), .monthlyReset = "Oct 3"};
}
inline UsageSnapshot proReading(int weekly) {
    return {.weekly = percent(weekly)};
}

// A reader over a user-defaults store that the test fills first, as an earlier launch (or an
// earlier version) left it. Nothing is chosen for the reader: the store decides.
struct StateWorld : ReaderWorld {
    // These tests are about the reader's state, not about searching Codex's window: a small
    // window keeps each simulated refresh cheap.
    explicit StateWorld(CodexPlan codexPlan = CodexPlan::plus)
        : ReaderWorld(codexPlan, CodexTreeShape{.webContentElements = 40}) {}

    Date launchedAt{};

    // What a user who chose Codex's plan left in the store; with automatic refresh off, only the
    // test's own refreshes read Codex.
    StateWorld& choosePlan(bool automaticRefresh = true) {
        preferences.setString("codex-plan-v1", std::string(rawValue(codex.plan())));
        if (!automaticRefresh) {
            preferences.setBool("automatic-refresh-enabled-v1", false);
        }
        return *this;
    }

    UsageReader& launch() {
        launchedAt = time.now();
        reader = std::make_unique<UsageReader>(environment());
        return *reader;
    }

    // Quits (the reader is gone) and starts again over the same store.
    UsageReader& relaunch(double afterSeconds = 0) {
        reader.reset();
        time.advance(afterSeconds);
        return launch();
    }

    void storePlanRecords(const std::vector<PersistedUsageSnapshot>& records) {
        PersistedPlanUsageSnapshots stored;
        for (const auto& record : records) {
            stored.store(record.plan, record);
        }
        preferences.setData("plan-specific-usage-snapshots-v1", encodeJson(stored));
    }

    std::optional<PersistedUsageSnapshot> storedPlanRecord(CodexPlan plan) {
        const auto data = preferences.dataValue("plan-specific-usage-snapshots-v1");
        const auto decoded = data ? decodeJson<PersistedPlanUsageSnapshots>(*data) : std::nullopt;
        return decoded ? decoded->snapshot(plan) : std::nullopt;
    }

    // A manual refresh, run to its end (and the notifications it hands on, to the center).
    void refreshNow() {
        refresh();
        time.runUntilIdle();
    }

    std::vector<std::string> schedulerLines() const { return log.lines("automatic-refresh"); }
};

// "Refresh [0000000A] automatic: …" with the identifier blanked, for lines whose identifier
// depends on how many runs came before.
inline std::vector<std::string> withoutTraceIdentifiers(std::vector<std::string> lines) {
    const std::string prefix = "Refresh [";
    for (auto& line : lines) {
        if (line.rfind(prefix, 0) == 0 && line.size() > prefix.size() + 8 &&
            line[prefix.size() + 8] == ']') {
            line.replace(prefix.size(), 8, "id");
        }
    }
    return lines;
}

}  // namespace gaugely
