// Every fixture set in tests/fixtures/codex/ (closed, open and expanded trees, recorded with
// `gaugely dump-tree`) replayed through a whole manual refresh, with literal and fast lookups.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/ReplayedCodex.h"

namespace gaugely {
namespace {

std::filesystem::path fixtureFolder() {
    const char* source = std::getenv("GAUGELY_SOURCE_DIR");
    return std::filesystem::path(source ? source : ".") / "tests" / "fixtures" / "codex";
}

TEST(FixtureReplay, EverySetRefreshesToACommittedSnapshotAndAClosedMenu) {
    std::size_t sets = 0;
    for (const auto& entry : std::filesystem::directory_iterator(fixtureFolder())) {
        // A set's folder is named after the plan it was recorded with: "plus-…".
        const std::string name = entry.path().filename().string();
        const auto plan = fromRawValue<CodexPlan>(name.substr(0, name.find('-')));
        ASSERT_TRUE(plan) << name << ": the folder's name starts with the plan";
        std::string error;
        const auto set = CodexFixtureSet::load(entry.path(), &error);
        ASSERT_TRUE(set) << error;
        ++sets;
        for (const ElementLookupMode mode : {ElementLookupMode::literal, ElementLookupMode::fast}) {
            VirtualTime time;
            MemoryLog log;
            FakeWorkspace workspace{time};
            FakeInput input{time};
            ReplayedCodex codex(time, workspace, input, *set);
            MemoryPreferences preferences;
            FakeUserNotificationCenter notifications{time};
            input.setLastInputSecondsAgo(60);
            UsageReader reader(ReaderEnvironment{codex, input, workspace, time, time, log,
                                                 preferences, notifications,
                                                 [] { return std::string("F1X7URE5-0000"); }});
            reader.setCodexPlan(*plan);
            reader.setAutomaticRefreshEnabled(false);
            reader.setElementLookupMode(mode);
            for (int refresh = 0; refresh < 2; ++refresh) {
                reader.beginReadCountdown(false);
                time.runUntil([&] { return !reader.automationInProgress(); }, 60);
                ASSERT_TRUE(reader.lastRefreshOutcome()) << name;
                EXPECT_EQ(reader.lastRefreshOutcome()->logText(reader.refreshCleanupResult()),
                          "success — snapshot committed; cleanup closed")
                    << name << " refresh " << refresh;
                EXPECT_TRUE(isCompleteUsageSnapshot(
                    reader.snapshot(), PlanQuotaConfiguration::configuration(*plan).schema))
                    << name;
                EXPECT_EQ(codex.stage(), ReplayedCodex::Stage::closed) << name;
                time.advance(5);
            }
        }
    }
    EXPECT_GE(sets, 3u);
}

}  // namespace
}  // namespace gaugely
