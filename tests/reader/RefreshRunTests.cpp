#include <gtest/gtest.h>

#include <functional>

#include "Meterlane/Presentation/StatusPresentation.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

using Keys = std::vector<uint16_t>;
constexpr uint16_t down = 125;
constexpr uint16_t returnKey = 36;
constexpr uint16_t escape = 53;

TEST(RefreshRun, ManualRunCommitsEveryPlanAndClosesOnlyItsOwnMenu) {
    const struct {
        CodexPlan plan;
        UsageSnapshot expected;
        Keys keys;
    } cases[] = {
        {CodexPlan::plus,
         {"72%", "3:45 PM", "40%", "Sep 12", "Not Found", "Not Found"},
         {down, down, returnKey, escape}},
        {CodexPlan::freeGo,
         {"Not Found", "Not Found", "Not Found", "Not Found", "85%", "Oct 3"},
         {down, down, returnKey, escape}},
        // Pro reads the percentage from the item titles: nothing to expand.
        {CodexPlan::pro,
         {"Not Found", "Not Found", "40%", "Not Found", "Not Found", "Not Found"},
         {escape}},
    };
    for (const auto& c : cases) {
        ReaderWorld world(c.plan);
        UsageReader& reader = world.makeReader(c.plan);
        world.refresh();
        const std::string plan(rawValue(c.plan));
        EXPECT_EQ(reader.snapshot(), c.expected) << plan;
        EXPECT_EQ(reader.activeSnapshotPlan(), c.plan) << plan;
        EXPECT_EQ(world.input.postedKeyPresses(), c.keys) << plan;
        EXPECT_EQ(world.postedMouseEvents(), 3u) << plan;  // moved, down, up
        EXPECT_FALSE(world.codex.menuIsOpen()) << plan;
        EXPECT_TRUE(world.codex.pressedItems().empty()) << plan;
        EXPECT_EQ(world.finalOutcome(), "success — snapshot committed; cleanup closed") << plan;
        EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed()) << plan;
        EXPECT_FALSE(reader.automationInProgress()) << plan;
        EXPECT_EQ(statusText(reader.status()), std::nullopt) << plan;
        EXPECT_TRUE(world.preferences.dataValue(defaultsKey::planSpecificUsageSnapshots)) << plan;
    }
}

// The stage lines are the manual scenario's golden rendering; the timing marks, at debug, are
// not rendered there.
TEST(RefreshRun, ManualPlusTimingMarksReadWordForWord) {
    ReaderWorld world;
    world.makeReader();
    world.refresh();
    std::vector<std::string> marks;
    for (const auto& entry : world.log.entries()) {
        if (entry.line.starts_with("Refresh timing:")) {
            EXPECT_EQ(entry.level, LogLevel::debug) << entry.line;
            marks.push_back(entry.line.substr(16));
        }
    }
    EXPECT_EQ(
        marks,
        (std::vector<std::string>{
            "refresh requested at 0 ms", "Profile click issued at 399 ms",
            "Profile menu first detected as open at 549 ms",
            "Profile Accessibility menu structure available at 549 ms",
            "Usage remaining item discoverable at 549 ms", "Usage remaining item focused at 599 ms",
            "Return expansion action issued at 599 ms", "Usage remaining expanded at 699 ms",
            "Profile menu confirmed closed at 999 ms"}));
}

TEST(RefreshRun, AutomaticRunDefersWheneverItsConditionsLapse) {
    const struct {
        const char* name;
        double at;  // seconds after the request
        std::function<void(ReaderWorld&)> meanwhile;
        std::string reason;
        bool pending = true;  // still due, so the scheduler tries again at its next tick
    } cases[] = {
        {"user typed 3 s ago", 4.5, [](ReaderWorld& w) { w.input.setLastInputSecondsAgo(3); },
         "Automatic refresh deferred while you are active."},
        {"Codex left the front", 4.5,
         [](ReaderWorld& w) { w.workspace.setFrontmost(std::nullopt); },
         "Automatic refresh deferred — Codex is no longer frontmost."},
        {"switched off", 4.5, [](ReaderWorld& w) { w.reader->setAutomaticRefreshEnabled(false); },
         "Automatic Refresh was turned off", false},
        // Countdown 10 s, activation 0.4 s, the menu opens about 0.13 s after the click; once the
        // user touches anything it is theirs, and stays open.
        {"real input with the menu open", 10.6,
         [](ReaderWorld& w) {
             ASSERT_TRUE(w.codex.menuIsOpen());
             w.input.injectRealKeyPress(0);
         },
         "Automatic refresh deferred while you are active."},
    };
    for (const auto& c : cases) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader(CodexPlan::plus, true);
        reader.beginReadCountdown(true);
        world.time.advance(c.at);
        const std::size_t posted = world.input.postedEvents().size();
        c.meanwhile(world);
        world.runUntilRunEnds();
        EXPECT_EQ(world.input.postedEvents().size(), posted) << c.name;
        EXPECT_EQ(reader.countdown(), std::nullopt) << c.name;
        EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::deferred(c.reason)) << c.name;
        EXPECT_EQ(reader.automaticRefreshIsPending(), c.pending) << c.name;
        EXPECT_EQ(world.codex.menuIsOpen(), c.at > 10) << c.name;
        if (c.pending) {
            EXPECT_EQ(statusText(reader.status()), c.reason) << c.name;
        }
    }
}

TEST(RefreshRun, OwnSettingsWindowInFrontKeepsTheCountdownGoing) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader(CodexPlan::plus, true);
    world.workspace.setFrontmost(std::nullopt);
    world.workspace.setSettingsWindowIsKey(true);
    world.refresh(true);
    EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed());
    EXPECT_EQ(world.workspace.activations().size(), 1u);
}

TEST(RefreshRun, MenuTheUserOpenedIsReadWhenExpandedAndNeverTypedInto) {
    const struct {
        bool expanded;
        bool automatic;
        std::string outcome;
        std::string status;
    } cases[] = {
        {true, false, "success — snapshot committed; cleanup preservedUserOwnedMenu", ""},
        {true, true, "success — snapshot committed; cleanup preservedUserOwnedMenu", ""},
        {false, false, "deferred — Refresh deferred — close Codex profile menu and try again.",
         "Refresh deferred — close Codex profile menu and try again."},
        {false, true, "deferred — Automatic refresh deferred — Codex profile menu is open.",
         "Automatic refresh deferred — Codex profile menu is open."},
    };
    for (const auto& c : cases) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader(CodexPlan::plus, c.automatic);
        world.codex.openMenuAsUser(c.expanded);
        world.refresh(c.automatic);
        EXPECT_EQ(world.finalOutcome(), c.outcome);
        EXPECT_TRUE(world.input.postedEvents().empty());
        EXPECT_TRUE(world.codex.menuIsOpen());
        EXPECT_EQ(statusText(reader.status()).value_or(""), c.status);
        EXPECT_EQ(reader.snapshot().fiveHour, c.expanded ? "72%" : "Not Found");
    }
}

// Codex not running and Return not expanding are the status hints' rows, after runs just as real.
TEST(RefreshRun, FailuresEndTheRunWithTheirMessage) {
    const struct {
        const char* name;
        std::function<void(ReaderWorld&)> fault;
        std::string message;
        std::size_t mouseEvents;
    } cases[] = {
        {"menu never appears", [](ReaderWorld& w) { w.codex.behaviour.menuOpenDelay.reset(); },
         "Profile menu did not appear after synthetic click.", 3},
        {"zero-size control",
         [](ReaderWorld& w) {
             w.codex.setControlFrame({{20, 700}, {0, 32}});
         },
         "Codex profile control has invalid bounds — click skipped.", 0},
        {"occluded control", [](ReaderWorld& w) { w.codex.setControlOccluded(true); },
         "Profile hit-test did not match — click skipped.", 0},
        {"Codex never comes to the front",
         [](ReaderWorld& w) {
             w.workspace.setFrontmost(std::nullopt);
             w.workspace.activationDelay.reset();
         },
         "Codex did not become active.", 0},
        {"clicks cannot be made", [](ReaderWorld& w) { w.input.mouseEventsBeforeFailure = 0; },
         "Could not create synthetic click — click skipped.", 0},
        {"keys cannot be made", [](ReaderWorld& w) { w.input.keyPressesBeforeFailure = 0; },
         "Could not send keyboard focus events.", 3},
        {"children unreadable",
         [](ReaderWorld& w) { w.codex.failAttribute(ax::children, ax::cannotComplete); },
         "Refresh deferred — Codex profile menu state is uncertain.", 0},
        {"menu without usage",
         [](ReaderWorld& w) {
             w.codex.behaviour.menuItems = {"Settings", "Help", "Log out"};
         },
         "Could not determine Usage remaining's live menu position.", 3},
    };
    for (const auto& c : cases) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader();
        c.fault(world);
        const double start = world.time.monotonicSeconds();
        world.refresh();
        EXPECT_EQ(statusText(reader.status()), c.message) << c.name;
        EXPECT_EQ(world.postedMouseEvents(), c.mouseEvents) << c.name;
        EXPECT_FALSE(reader.automationInProgress()) << c.name;
        EXPECT_EQ(reader.snapshot(), UsageSnapshot::empty()) << c.name;
        if (std::string(c.name) == "menu never appears") {
            // The click's own 50 ms, fourteen polls after it, then the fifteenth attempt's 0.25 s
            // wait ends it without a read: 0.4 s activation plus 2.35 s of waiting.
            EXPECT_NEAR(world.time.monotonicSeconds() - start, 2.75, 1e-6);
            EXPECT_FALSE(world.codex.menuIsOpen());
        }
    }
}

TEST(RefreshRun, InputMonitoringUnavailable) {
    // Without the permission the platform still makes a tap, one that cannot see the keyboard:
    // that counts exactly as a tap that could not be made.
    const struct {
        const char* name;
        std::function<void(FakeInput&)> fault;
    } faults[] = {
        {"no tap", [](FakeInput& input) { input.tapCreationFails = true; }},
        {"no Input Monitoring permission",
         [](FakeInput& input) { input.listenEventAccess = false; }},
    };
    for (const auto& fault : faults) {
        for (const bool automatic : {false, true}) {
            ReaderWorld world;
            UsageReader& reader = world.makeReader(CodexPlan::plus, automatic);
            fault.fault(world.input);
            world.refresh(automatic);
            EXPECT_TRUE(reader.inputMonitoringUnavailable()) << fault.name;
            EXPECT_EQ(world.input.liveTapCount(), 0u) << fault.name;
            if (automatic) {
                EXPECT_TRUE(world.input.postedEvents().empty()) << fault.name;
                EXPECT_EQ(statusText(reader.status()),
                          "Automatic refresh deferred — input monitoring is unavailable.")
                    << fault.name;
            } else {
                // The user asked for it: the run goes on unguarded.
                EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed())
                    << fault.name;
            }
        }
    }
}

TEST(RefreshRun, CodexIsBroughtForwardTheWayTheMacOSVersionHonours) {
    const struct {
        int macOS;
        bool systemDeclines;
        ActivationStyle style;
        std::optional<std::string> failure;
    } rows[] = {
        {13, false, ActivationStyle::ignoringOtherApps, std::nullopt},
        {14, false, ActivationStyle::cooperative, std::nullopt},
        // A refresh that cannot bring Codex forward ends as it always has, having typed nothing.
        {14, true, ActivationStyle::cooperative, "Codex did not become active."},
    };
    for (const auto& row : rows) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader();
        world.workspace.macOSMajorVersion = row.macOS;
        world.workspace.declinesCooperativeActivation = row.systemDeclines;
        world.workspace.setFrontmost(std::nullopt);
        world.refresh();
        const std::string name = "macOS " + std::to_string(row.macOS);
        ASSERT_EQ(world.workspace.activations().size(), 1u) << name;
        EXPECT_EQ(world.workspace.activations()[0].style, row.style) << name;
        if (row.failure) {
            EXPECT_EQ(statusText(reader.status()), row.failure) << name;
            EXPECT_TRUE(world.input.postedEvents().empty()) << name;
        } else {
            EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed()) << name;
        }
    }
}

TEST(RefreshRun, RejectedRequestsLogOneLineAndChangeNothing) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader();
    reader.beginReadCountdown(false);
    world.log.clear();
    reader.beginReadCountdown(false);
    EXPECT_EQ(world.refreshLines(),
              (std::vector<std::string>{"Refresh [00000002] manual: refresh requested; final "
                                        "outcome deferred — another refresh is in progress"}));
    world.runUntilRunEnds();
    EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed());

    reader.setUpdateRefreshGate(true);
    reader.beginReadCountdown(false);
    EXPECT_EQ(reader.lastRefreshOutcome(),
              RefreshRunOutcome::deferred("update installation is in progress"));

    ReaderWorld unchosen;
    UsageReader& fresh = unchosen.makeReader(std::nullopt);
    fresh.beginReadCountdown(false);
    EXPECT_EQ(statusText(fresh.status()), "Choose your Codex plan in Settings before refreshing.");
    EXPECT_FALSE(fresh.automationInProgress());

    ReaderWorld untrusted;
    untrusted.codex.trusted = false;
    UsageReader& denied = untrusted.makeReader();
    denied.beginReadCountdown(false);
    EXPECT_EQ(statusText(denied.status()), "Accessibility permission required");
    EXPECT_EQ(untrusted.codex.trustPrompts(), 1u);
    EXPECT_TRUE(untrusted.input.postedEvents().empty());
}

// Nothing of an abandoned countdown reaches the run that follows it: no tick moves its countdown
// and no late click is sent.
TEST(RefreshRun, AnAbandonedCountdownLeavesNothingBehind) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader(CodexPlan::plus, true);
    reader.beginReadCountdown(true);
    world.time.advance(3.5);
    ASSERT_EQ(reader.countdown(), 7);
    reader.setCodexPlan(CodexPlan::freeGo);
    EXPECT_FALSE(reader.automationInProgress());
    EXPECT_EQ(reader.countdown(), std::nullopt);

    world.codex.setPlan(CodexPlan::freeGo);
    std::vector<std::optional<int>> countdowns;
    const auto observer = reader.addObserver([&] {
        if (countdowns.empty() || countdowns.back() != reader.countdown()) {
            countdowns.push_back(reader.countdown());
        }
    });
    world.refresh();
    world.time.advance(10);
    reader.removeObserver(observer);
    EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::committed());
    EXPECT_EQ(countdowns, (std::vector<std::optional<int>>{std::nullopt}));
    EXPECT_EQ(world.postedMouseEvents(), 3u) << "one click: moved, down, up";
}

// A run given up in the middle of a walk: the walk's remaining round trips fail at once, its
// result is dropped, and the worker is left with nothing to do.
TEST(RefreshRun, ARunGivenUpInTheMiddleOfAWalkLeavesNoWorkBehind) {
    struct Row {
        const char* name;
        bool automatic;
        std::function<void(ReaderWorld&)> giveUp;
    };
    const Row rows[] = {
        {"plan changed", false, [](ReaderWorld& w) { w.reader->setCodexPlan(CodexPlan::pro); }},
        {"automatic refresh switched off", true,
         [](ReaderWorld& w) { w.reader->setAutomaticRefreshEnabled(false); }},
        {"reader gone", false, [](ReaderWorld& w) { w.reader.reset(); }},
    };
    for (const Row& row : rows) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader(CodexPlan::plus, row.automatic);
        // The look at the menu at the request is a whole walk: seconds at this latency.
        world.codex.setRoundTripCost(&world.time, 0.010);
        bool insideJob = false;
        TaskHandle giveUp = world.time.asyncAfter(0.5, [&] {
            insideJob = world.worker.busy();
            row.giveUp(world);
        });
        reader.beginReadCountdown(row.automatic);
        world.time.advance(60);
        EXPECT_TRUE(insideJob) << row.name;
        EXPECT_TRUE(world.worker.idle()) << row.name;
        EXPECT_LT(world.worker.busySeconds(), 0.6) << row.name << ": the walk went on";
        EXPECT_EQ(world.worker.jobsRun(), 1u) << row.name;
        EXPECT_TRUE(world.input.postedEvents().empty()) << row.name;
        EXPECT_TRUE(!world.reader || !world.reader->automationInProgress()) << row.name;
    }
}

}  // namespace
}  // namespace gaugely
