// Where the profile menu appears is kept across launches: the first refresh after a restart costs
// what a later one does, and a stored way that is stale, from another version of Codex, or
// unreadable costs no more than a first refresh and ends the run the same way.
#include <gtest/gtest.h>

#include <functional>

#include "Meterlane/Reader/ProfileMenuMemory.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/RefreshCost.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

constexpr std::string_view key = "profile-menu-location-v1";

TEST(ProfileMenuMemory, TheStoredRecordReadsBackAndAnythingElseIsUnreadable) {
    const StoredProfileMenuLocation record{"1.0.0 (100)", {{1, "AXWindow"}, {0, "AXGroup"}}};
    EXPECT_EQ(decodeJson<StoredProfileMenuLocation>(encodeJson(record)), record);
    EXPECT_EQ(encodeJson(record),
              R"j({"codexVersion":"1.0.0 (100)","containers":[)j"
              R"({"index":1,"role":"AXWindow"},{"index":0,"role":"AXGroup"}]})");
    // A menu that is a child of the application itself.
    EXPECT_EQ(decodeJson<StoredProfileMenuLocation>(R"({"codexVersion":"2","containers":[]})"),
              (StoredProfileMenuLocation{"2", {}}));

    std::string tooDeep = R"({"codexVersion":"1","containers":[{"index":0,"role":"AXGroup"})";
    for (int i = 1; i < 21; ++i) {
        tooDeep += R"(,{"index":0,"role":"AXGroup"})";
    }
    tooDeep += "]}";
    const std::string unreadable[] = {
        "",
        "not json",
        "[]",
        R"({"containers":[]})",
        R"({"codexVersion":"","containers":[]})",
        R"({"codexVersion":7,"containers":[]})",
        R"({"codexVersion":"1"})",
        R"({"codexVersion":"1","containers":{}})",
        R"({"codexVersion":"1","containers":[3]})",
        R"({"codexVersion":"1","containers":[{"index":-1,"role":"AXWindow"}]})",
        R"({"codexVersion":"1","containers":[{"index":1.5,"role":"AXWindow"}]})",
        R"({"codexVersion":"1","containers":[{"index":"1","role":"AXWindow"}]})",
        R"({"codexVersion":"1","containers":[{"index":1}]})",
        R"({"codexVersion":"1","containers":[{"index":1,"role":""}]})",
        tooDeep,
    };
    for (const std::string& bytes : unreadable) {
        EXPECT_FALSE(decodeJson<StoredProfileMenuLocation>(bytes).has_value()) << bytes;
    }
}

TEST(ProfileMenuMemory, CodexsVersionIsItsShortVersionAndBuild) {
    const struct {
        std::optional<std::string> version;
        std::optional<std::string> build;
        std::optional<std::string> text;
    } cases[] = {{"1.0.0", "100", "1.0.0 (100)"},
                 {"1.0.0", std::nullopt, "1.0.0"},
                 {std::nullopt, "100", "100"},
                 {"", "", std::nullopt},
                 {std::nullopt, std::nullopt, std::nullopt}};
    for (const auto& c : cases) {
        MemoryBundleInformation bundle("com.openai.codex", "/Applications/Codex.app");
        if (c.version) {
            bundle.set("CFBundleShortVersionString", *c.version);
        }
        if (c.build) {
            bundle.set("CFBundleVersion", *c.build);
        }
        EXPECT_EQ(applicationVersionText(bundle), c.text) << c.text.value_or("none");
    }
}

// One launch of Gaugely after another on the same defaults, with Codex answering in 1 ms.
struct Launches {
    ReaderWorld world;

    Launches() { world.codex.setRoundTripCost(&world.time, 0.001); }

    // Gaugely starts (again) on the defaults as they are, and refreshes once.
    RefreshCost launchAndRefresh() {
        world.reader.reset();
        world.makeReader();
        return refreshAgain();
    }
    RefreshCost refreshAgain() {
        const RefreshCost cost = measureManualRefresh(*world.reader, world.codex, world.time);
        world.time.advance(5);
        return cost;
    }
    std::optional<std::string> stored() { return world.preferences.dataValue(key); }
};

TEST(ProfileMenuMemory, TheFirstRefreshAfterARestartCostsWhatALaterOneDoes) {
    Launches launches;
    const RefreshCost first = launches.launchAndRefresh();
    const RefreshCost later = launches.refreshAgain();
    ASSERT_TRUE(first.committed && later.committed);
    // At least one whole walk of the window more.
    EXPECT_GT(first.roundTrips, later.roundTrips + 1500);
    EXPECT_EQ(launches.stored(),
              R"j({"codexVersion":"1.0.0 (100)","containers":[{"index":0,"role":"AXWindow"}]})j");

    // Gaugely restarts; then Codex restarts too (a new process, the same version).
    const std::function<void(SimulatedCodex&)> restarts[] = {
        [](SimulatedCodex&) {},
        [](SimulatedCodex& codex) {
            codex.quit();
            codex.launch();
        },
    };
    for (const auto& restart : restarts) {
        restart(launches.world.codex);
        const RefreshCost afterRestart = launches.launchAndRefresh();
        EXPECT_TRUE(afterRestart.committed);
        EXPECT_EQ(afterRestart.roundTrips, later.roundTrips);
        EXPECT_EQ(afterRestart.roundTripsWhileMenuOpen, later.roundTripsWhileMenuOpen);
        EXPECT_DOUBLE_EQ(afterRestart.menuDwellSeconds, later.menuDwellSeconds);
        EXPECT_LE(afterRestart.roundTrips, 9000u);
        EXPECT_LE(afterRestart.menuDwellSeconds, 1.0);
    }
}

// On a real Mac every accessibility read blocks until Codex answers. With 1 ms and 10 ms charged
// per round trip, on the reference window, a refresh must still commit. (That an automatic one
// never types after the user did, whatever the latency, is the property test's to show.)
TEST(RoundTripLatency, ManualRefreshesCommitForEveryPlan) {
    for (const double latency : {0.001, 0.010}) {
        for (const CodexPlan plan : allCases<CodexPlan>()) {
            const std::string name =
                std::string(rawValue(plan)) + " at " + std::to_string(latency) + " s";
            ReaderWorld world(plan);
            UsageReader& reader = world.makeReader(plan);
            world.codex.setRoundTripCost(&world.time, latency);
            const RefreshCost first = measureManualRefresh(reader, world.codex, world.time);
            world.time.advance(5);
            const RefreshCost second = measureManualRefresh(reader, world.codex, world.time);
            EXPECT_TRUE(first.committed) << name;
            EXPECT_TRUE(second.committed) << name;
            EXPECT_EQ(reader.refreshCleanupResult(), RefreshCleanupResult::closed) << name;
            // The later refresh of a session: four complete walks and little else.
            EXPECT_LE(second.roundTrips, 9000u) << name;
            EXPECT_LE(second.roundTripsWhileMenuOpen, 400u) << name;
            EXPECT_FALSE(world.codex.menuIsOpen()) << name;
        }
    }
}

// What the first refresh of a launch did: its cost, what it sent and logged (without the
// moments, which a few reads more or less move), and what it left stored; to compare with a
// launch that knew nothing.
struct FirstRefresh {
    RefreshCost cost;
    std::vector<std::pair<InputEventType, uint16_t>> events;
    std::vector<std::string> trace;
    std::optional<RefreshRunOutcome> outcome;
    std::optional<std::string> stored;
};

// A launch's first refresh, after `stored` set up the defaults (an earlier launch's learning, or
// bytes put there) and `codexNow` made Codex what it is at this launch.
FirstRefresh firstRefreshAfter(const std::function<void(Launches&)>& stored,
                               const std::function<void(Launches&)>& codexNow) {
    Launches launches;
    stored(launches);
    codexNow(launches);
    launches.world.reader.reset();
    UsageReader& reader = launches.world.makeReader();
    launches.world.input.clearPostedEvents();
    launches.world.log.clear();
    FirstRefresh result;
    result.cost = measureManualRefresh(reader, launches.world.codex, launches.world.time);
    for (const InputEvent& event : launches.world.input.postedEvents()) {
        result.events.emplace_back(event.type, event.keyCode);
    }
    for (std::string line : launches.world.refreshLines()) {
        // "Refresh [00000003] manual: … at 1234 ms" → "Refresh manual: …".
        if (const auto open = line.find(" ["); open != std::string::npos) {
            line.erase(open, line.find("] ") + 1 - open);
        }
        if (const auto at = line.rfind(" at "); at != std::string::npos) {
            line.erase(at);
        }
        if (line.starts_with("Refresh menu dwell: ")) {
            line = "Refresh menu dwell";
        }
        result.trace.push_back(line);
    }
    result.outcome = reader.lastRefreshOutcome();
    result.stored = launches.stored();
    return result;
}

TEST(ProfileMenuMemory, AWayThatCannotBeTrustedFallsBackToTheWholeWalk) {
    const auto learned = [](Launches& launches) { (void)launches.launchAndRefresh(); };
    const auto storedBytes = [](std::string bytes) {
        return [bytes](Launches& launches) { launches.world.preferences.setData(key, bytes); };
    };
    const auto unchanged = [](Launches&) {};
    const auto updated = [](Launches& launches) {
        launches.world.codex.setVersion("1.1.0", "110");
    };
    const std::string window =
        R"j({"codexVersion":"1.0.0 (100)","containers":[{"index":0,"role":"AXWindow"}]})j";
    const struct {
        const char* name;
        std::function<void(Launches&)> stored;
        std::function<void(Launches&)> codexNow;
        std::string storedAfter;
    } cases[] = {
        {"Codex was updated", learned, updated,
         R"j({"codexVersion":"1.1.0 (110)","containers":[{"index":0,"role":"AXWindow"}]})j"},
        {"Codex was updated, and its menu now opens at the application's level", learned,
         [&](Launches& launches) {
             updated(launches);
             launches.world.codex.behaviour.menuPlacement = MenuPlacement::application;
         },
         R"j({"codexVersion":"1.1.0 (110)","containers":[]})j"},
        {"the stored way points past the application's children",
         storedBytes(
             R"j({"codexVersion":"1.0.0 (100)","containers":[{"index":7,"role":"AXWindow"}]})j"),
         unchanged, window},
        {"the stored way meets another role there",
         storedBytes(
             R"j({"codexVersion":"1.0.0 (100)","containers":[{"index":1,"role":"AXWindow"}]})j"),
         unchanged, window},
        {"the stored way ends where the menu does not appear",
         storedBytes(R"j({"codexVersion":"1.0.0 (100)","containers":[]})j"), unchanged, window},
        {"the stored record is malformed", storedBytes(R"j({"codexVersion": "1.0.0)j"), unchanged,
         window},
    };
    for (const auto& c : cases) {
        // What a launch that knew nothing does with Codex as it is now.
        const FirstRefresh fresh = firstRefreshAfter([](Launches&) {}, c.codexNow);
        const FirstRefresh run = firstRefreshAfter(c.stored, c.codexNow);
        ASSERT_TRUE(run.cost.committed) << c.name;
        EXPECT_EQ(run.outcome, fresh.outcome) << c.name;
        // The same clicks and keys and the same trace; and no more than it cost (a way that no
        // longer holds costs a few reads before the whole walk).
        EXPECT_EQ(run.events, fresh.events) << c.name;
        EXPECT_EQ(run.trace, fresh.trace) << c.name;
        EXPECT_GT(run.cost.roundTrips, 9000u) << c.name;
        EXPECT_LE(run.cost.roundTrips, fresh.cost.roundTrips + 20) << c.name;
        // What this launch learned replaces what it could not use.
        EXPECT_EQ(run.stored, c.storedAfter) << c.name;
    }
}

TEST(ProfileMenuMemory, WithoutAVersionNothingIsStoredAndNothingStoredIsUsed) {
    Launches launches;
    const RefreshCost learned = launches.launchAndRefresh();
    const std::string way = *launches.stored();
    // Codex's bundle no longer says its version: the way is kept, but not trusted.
    launches.world.workspace.setApplicationBundle(launches.world.codex.pid(), std::nullopt);
    const RefreshCost unknown = launches.launchAndRefresh();
    EXPECT_TRUE(unknown.committed);
    EXPECT_EQ(unknown.roundTrips, learned.roundTrips);
    EXPECT_EQ(launches.stored(), way);

    launches.world.preferences.remove(key);
    (void)launches.launchAndRefresh();
    EXPECT_EQ(launches.stored(), std::nullopt);
}

}  // namespace
}  // namespace gaugely
