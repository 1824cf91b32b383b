#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <vector>

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

// A reader on a small window, with what its observer saw at each change.
struct ObservedWorld : LogWorld {
    std::vector<Seen> seen;

    ObservedWorld() : LogWorld(CodexPlan::plus, CodexTreeShape{.webContentElements = 40}) {}

    UsageReader& start() {
        UsageReader& made = makeLogReader(CodexPlan::plus);
        made.addObserver([this] { seen.push_back(Seen::of(*reader)); });
        return made;
    }
};

TEST(ReaderChangeSets, AReadingIsSeenWholeWithItsDateAndSourceWhereverItComesFrom) {
    using Step = std::function<void(ObservedWorld&)>;
    const Step menuReading = [](ObservedWorld& w) { w.refresh(); };
    const Step logReading = [](ObservedWorld& w) { w.reader->receiveCodexLogLine(w.line(5, 70)); };
    const Step thenLater = [](ObservedWorld& w) { w.time.advance(30); };
    const struct {
        const char* name;
        std::vector<Step> before;
        Step reading;
    } cases[] = {
        {"a first menu reading", {}, menuReading},
        {"a log reading after a menu reading", {menuReading, thenLater}, logReading},
        {"a menu reading after a log reading", {logReading, thenLater}, menuReading},
        {"another plan's stored reading",
         {[](ObservedWorld& w) {
             w.reader->setCodexPlan(CodexPlan::freeGo);
             w.codex.setPlan(CodexPlan::freeGo);
             w.refresh();
             w.reader->setCodexPlan(CodexPlan::plus);
         }},
         [](ObservedWorld& w) { w.reader->setCodexPlan(CodexPlan::freeGo); }},
    };
    for (const auto& c : cases) {
        ObservedWorld world;
        UsageReader& reader = world.start();
        for (const Step& step : c.before) {
            step(world);
        }
        const Seen before = Seen::of(reader);
        world.seen.clear();
        c.reading(world);
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
        world.refresh();
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
