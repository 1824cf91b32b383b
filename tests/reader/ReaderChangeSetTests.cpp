#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <vector>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Simulation/FakeFileSystem.h"
#include "Meterlane/Simulation/MemoryDocumentStore.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

// What an observer reads of the reader when it is told of a change.
struct Seen {
    bool running = false;
    UsageSnapshot snapshot;
    std::optional<Date> lastUpdated;
    UsageSource source = UsageSource::codexMenu;
    std::optional<ReaderStatus> status;
    std::optional<RefreshRunOutcome> outcome;

    static Seen of(const UsageReader& reader) {
        return {reader.automationInProgress(), reader.snapshot(), reader.lastUpdated(),
                reader.snapshotSource(),       reader.status(),   reader.lastRefreshOutcome()};
    }
    // The reading shown, without what the run is doing.
    bool showsSameReading(const Seen& other) const {
        return snapshot == other.snapshot && lastUpdated == other.lastUpdated &&
               source == other.source;
    }
};

struct ObservedWorld : ReaderWorld {
    FakeFileSystem files;
    MemoryDocumentStore history;
    IcuTimeFormatter formatter{"en_US_POSIX"};
    std::vector<Seen> seen;

    ObservedWorld() : ReaderWorld(CodexPlan::plus, smallWindow()) {}
    static CodexTreeShape smallWindow() {
        CodexTreeShape shape;
        shape.webContentElements = 40;
        return shape;
    }

    UsageReader& start() {
        UsageReader& made = makeReader(CodexPlan::plus);
        made.setCodexLogsEnabled(true);
        made.attachCodexLogs(CodexLogEnvironment{files, history, formatter, "/home/someone"});
        made.addObserver([this] { seen.push_back(Seen::of(*reader)); });
        return made;
    }

    CodexLogUsageLine line(double secondsAgo, double fiveHourUsed) {
        const Date at = time.now().addingTimeInterval(-secondsAgo);
        return CodexLogUsageLine{at, "codex", std::nullopt,
                                 CodexLogRateWindow{fiveHourUsed, 300, at.addingTimeInterval(3600)},
                                 CodexLogRateWindow{40, 10'080, at.addingTimeInterval(86'400)}};
    }
};

TEST(ReaderChangeSets, AReadingIsSeenWholeWithItsDateAndSourceWhereverItComesFrom) {
    const struct {
        const char* name;
        std::function<void(ObservedWorld&, UsageReader&)> before;
        std::function<void(ObservedWorld&, UsageReader&)> reading;
    } cases[] = {
        {"a first menu reading", [](ObservedWorld&, UsageReader&) {},
         [](ObservedWorld& world, UsageReader& reader) {
             reader.beginReadCountdown(false);
             world.runUntilRunEnds();
         }},
        {"a log reading after a menu reading",
         [](ObservedWorld& world, UsageReader& reader) {
             reader.beginReadCountdown(false);
             world.runUntilRunEnds();
             world.time.advance(30);
         },
         [](ObservedWorld& world, UsageReader& reader) {
             reader.receiveCodexLogLine(world.line(5, 70));
         }},
        {"a menu reading after a log reading",
         [](ObservedWorld& world, UsageReader& reader) {
             reader.receiveCodexLogLine(world.line(5, 70));
             world.time.advance(30);
         },
         [](ObservedWorld& world, UsageReader& reader) {
             reader.beginReadCountdown(false);
             world.runUntilRunEnds();
         }},
        {"another plan's stored reading",
         [](ObservedWorld& world, UsageReader& reader) {
             reader.setCodexPlan(CodexPlan::freeGo);
             world.codex.setPlan(CodexPlan::freeGo);
             reader.beginReadCountdown(false);
             world.runUntilRunEnds();
             reader.setCodexPlan(CodexPlan::plus);
         },
         [](ObservedWorld&, UsageReader& reader) { reader.setCodexPlan(CodexPlan::freeGo); }},
    };
    for (const auto& c : cases) {
        ObservedWorld world;
        UsageReader& reader = world.start();
        c.before(world, reader);
        const Seen before = Seen::of(reader);
        world.seen.clear();
        c.reading(world, reader);
        const Seen after = Seen::of(reader);
        ASSERT_FALSE(after.showsSameReading(before)) << c.name << ": nothing new was shown";
        for (const Seen& seen : world.seen) {
            EXPECT_TRUE(seen.showsSameReading(before) || seen.showsSameReading(after))
                << c.name << ": a reading of " << seen.snapshot.fiveHour << " seen beside "
                << (seen.lastUpdated ? seen.lastUpdated->timeIntervalSinceReferenceDate : -1);
        }
    }
}

TEST(ReaderChangeSets, ARunIsSeenToEndTogetherWithItsOutcomeAndStatus) {
    const struct {
        const char* name;
        std::function<void(ObservedWorld&)> arrange;
    } cases[] = {
        {"a reading committed", [](ObservedWorld&) {}},
        {"Codex not running", [](ObservedWorld& world) { world.codex.quit(); }},
        {"the menu never opens",
         [](ObservedWorld& world) { world.codex.behaviour.menuOpenDelay.reset(); }},
    };
    for (const auto& c : cases) {
        ObservedWorld world;
        UsageReader& reader = world.start();
        c.arrange(world);
        world.seen.clear();
        reader.beginReadCountdown(false);
        world.runUntilRunEnds();
        const Seen end = Seen::of(reader);
        ASSERT_FALSE(world.seen.empty()) << c.name;
        EXPECT_TRUE(world.seen.front().running) << c.name << ": the run was never seen";
        for (const Seen& seen : world.seen) {
            if (!seen.running) {
                EXPECT_EQ(seen.outcome, end.outcome) << c.name;
                EXPECT_EQ(seen.status, end.status) << c.name;
            }
        }
    }
}

}  // namespace
}  // namespace gaugely
