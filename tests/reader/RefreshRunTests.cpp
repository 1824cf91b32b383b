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
        reader.beginReadCountdown(false);
        world.runUntilRunEnds();
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

TEST(RefreshRun, ManualPlusTraceReadsWordForWord) {
    ReaderWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeReader(CodexPlan::plus);
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
    const std::vector<std::string> expected{
        "Refresh [00000001] manual: refresh requested at 0 ms",
        "Refresh [00000001] manual: eligibility and safety evaluation passed — menu presence: "
        "closed at 0 ms",
        "Refresh timing: refresh requested at 0 ms",
        "Refresh [00000001] manual: target app resolved at 399 ms",
        "Refresh [00000001] manual: target menu inspection — presence closed; traversal complete "
        "at 399 ms",
        "Refresh [00000001] manual: profile control found at 399 ms",
        "Refresh [00000001] manual: profile control open action attempted at 399 ms",
        "Refresh timing: Profile click issued at 399 ms",
        "Refresh [00000001] manual: profile menu became readable at 549 ms",
        "Refresh timing: Profile menu first detected as open at 549 ms",
        "Refresh timing: Profile Accessibility menu structure available at 549 ms",
        "Refresh timing: Usage remaining item discoverable at 549 ms",
        "Refresh timing: Usage remaining item focused at 599 ms",
        "Refresh timing: Return expansion action issued at 599 ms",
        "Refresh timing: Usage remaining expanded at 699 ms",
        "Refresh [00000001] manual: menu became readable or timed out at 699 ms",
        "Refresh [00000001] manual: usage row found/not found — found at 699 ms",
        "Refresh [00000001] manual: percentage parsed/not parsed — parsed at 699 ms",
        "Refresh [00000001] manual: reset data parsed/not parsed — parsed at 699 ms",
        "Refresh [00000001] manual: stable-read confirmation — waiting for a second matching value "
        "at 699 ms",
        "Refresh [00000001] manual: snapshot validated and committed at 949 ms",
        "Refresh [00000001] manual: snapshot committed at 949 ms",
        "Refresh [00000001] manual: cleanup required/not required — required for refresh-owned "
        "menu at 949 ms",
        "Refresh [00000001] manual: cleanup result — closed at 999 ms",
        "Refresh timing: Profile menu confirmed closed at 999 ms",
        "Refresh cleanup completed; owned Codex profile menu restored to closed state",
        "Refresh menu dwell: 449 ms",
        "Refresh [00000001] manual: final outcome success — snapshot committed; cleanup closed at "
        "999 ms",
    };
    EXPECT_EQ(world.refreshLines(), expected);
    // Stage lines at info, timing marks at debug.
    for (const auto& entry : world.log.entries()) {
        if (entry.line.rfind("Refresh timing:", 0) == 0) {
            EXPECT_EQ(entry.level, LogLevel::debug) << entry.line;
        }
    }
}

// An automatic run with the scheduler out of the way: the test asks for it directly.
UsageReader& automaticReader(ReaderWorld& world) {
    UsageReader& reader = world.makeReader(CodexPlan::plus, true);
    return reader;
}

TEST(RefreshRun, AutomaticRunCountsDownTenSecondsBeforeItClicks) {
    ReaderWorld world;
    UsageReader& reader = automaticReader(world);
    std::vector<int> countdown;
    reader.addObserver([&] {
        if (reader.countdown() && (countdown.empty() || countdown.back() != *reader.countdown())) {
            countdown.push_back(*reader.countdown());
        }
    });
    reader.beginReadCountdown(true);
    EXPECT_EQ(statusText(reader.status()), "Inspecting account control in 10...");
    world.time.advance(9.5);
    EXPECT_EQ(statusText(reader.status()), "Inspecting account control in 1...");
    EXPECT_TRUE(world.input.postedEvents().empty());
    world.time.advance(0.95);  // 10 s, then Codex's 0.4 s activation wait
    EXPECT_EQ(world.postedMouseEvents(), 3u);
    world.runUntilRunEnds();
    EXPECT_EQ(countdown, (std::vector<int>{10, 9, 8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(reader.snapshot().weekly, "40%");
    EXPECT_TRUE(world.log.contains("Automatic refresh countdown started"));
}

TEST(RefreshRun, AutomaticCountdownDefersWheneverItsConditionsLapse) {
    const struct {
        const char* name;
        std::function<void(ReaderWorld&)> meanwhile;
        std::string status;
    } cases[] = {
        {"user typed 3 s ago", [](ReaderWorld& w) { w.input.setLastInputSecondsAgo(3); },
         "Automatic refresh deferred while you are active."},
        {"Codex left the front", [](ReaderWorld& w) { w.workspace.setFrontmost(std::nullopt); },
         "Automatic refresh deferred — Codex is no longer frontmost."},
        {"switched off", [](ReaderWorld& w) { w.reader->setAutomaticRefreshEnabled(false); },
         "Inspecting account control in 6..."},
    };
    for (const auto& c : cases) {
        ReaderWorld world;
        UsageReader& reader = automaticReader(world);
        reader.beginReadCountdown(true);
        world.time.advance(4.5);
        c.meanwhile(world);
        // The next tick acts; later the scheduler's own tick may try again.
        world.time.advance(1);
        EXPECT_FALSE(reader.automationInProgress()) << c.name;
        EXPECT_EQ(reader.countdown(), std::nullopt) << c.name;
        EXPECT_TRUE(world.input.postedEvents().empty()) << c.name;
        if (std::string(c.name) == "switched off") {
            EXPECT_EQ(reader.lastRefreshOutcome(),
                      RefreshRunOutcome::deferred("Automatic Refresh was turned off"));
            continue;
        }
        EXPECT_EQ(statusText(reader.status()), c.status) << c.name;
        EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::deferred(c.status)) << c.name;
        // It stays due, so the scheduler tries again at its next tick.
        EXPECT_TRUE(reader.automaticRefreshIsPending()) << c.name;
    }
}

TEST(RefreshRun, OwnSettingsWindowInFrontKeepsTheCountdownGoing) {
    ReaderWorld world;
    UsageReader& reader = automaticReader(world);
    world.workspace.setFrontmost(std::nullopt);
    world.workspace.setSettingsWindowIsKey(true);
    reader.beginReadCountdown(true);
    world.runUntilRunEnds();
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
        UsageReader& reader = c.automatic ? automaticReader(world) : world.makeReader();
        world.codex.openMenuAsUser(c.expanded);
        reader.beginReadCountdown(c.automatic);
        world.runUntilRunEnds();
        EXPECT_EQ(world.finalOutcome(), c.outcome);
        EXPECT_TRUE(world.input.postedEvents().empty());
        EXPECT_TRUE(world.codex.menuIsOpen());
        EXPECT_EQ(statusText(reader.status()).value_or(""), c.status);
        EXPECT_EQ(reader.snapshot().fiveHour, c.expanded ? "72%" : "Not Found");
    }
}

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
        {"Codex not running", [](ReaderWorld& w) { w.codex.quit(); }, "Open Codex and try again.",
         0},
        {"Codex never comes to the front",
         [](ReaderWorld& w) {
             w.workspace.setFrontmost(std::nullopt);
             w.workspace.activationDelay.reset();
         },
         "Codex did not become active.", 0},
        {"Return does not expand", [](ReaderWorld& w) { w.codex.behaviour.expansionDelay.reset(); },
         "Usage remaining did not expand after Return.", 3},
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
        reader.beginReadCountdown(false);
        world.runUntilRunEnds();
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

TEST(RefreshRun, RealInputMidRunDefersAndLeavesTheMenuAlone) {
    ReaderWorld world;
    UsageReader& reader = automaticReader(world);
    reader.beginReadCountdown(true);
    // Countdown 10 s, activation 0.4 s, the menu opens about 0.13 s after the click.
    world.time.advance(10.6);
    ASSERT_TRUE(world.codex.menuIsOpen());
    const std::size_t postedBefore = world.input.postedEvents().size();
    world.input.injectRealKeyPress(0);
    world.runUntilRunEnds();
    EXPECT_EQ(world.input.postedEvents().size(), postedBefore);
    EXPECT_EQ(reader.refreshCleanupResult(), RefreshCleanupResult::preservedUserOwnedMenu);
    EXPECT_EQ(statusText(reader.status()), "Automatic refresh deferred while you are active.");
    EXPECT_TRUE(world.codex.menuIsOpen());
    EXPECT_TRUE(reader.automaticRefreshIsPending());
}

TEST(RefreshRun, OwnedMenuThatStaysOpenStillCommits) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader();
    world.codex.behaviour.escapeCloseDelay.reset();
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
    EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::cleanupUncertain());
    EXPECT_EQ(statusText(reader.status()),
              "Usage refreshed — Codex menu state could not be confirmed.");
    EXPECT_EQ(reader.snapshot().fiveHour, "72%");
    EXPECT_TRUE(
        world.log.contains("Refresh cleanup attempted; owned Codex profile menu remained visible"));
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
            UsageReader& reader = automatic ? automaticReader(world) : world.makeReader();
            fault.fault(world.input);
            reader.beginReadCountdown(automatic);
            world.runUntilRunEnds();
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
        {15, false, ActivationStyle::cooperative, std::nullopt},
        // A refresh that cannot bring Codex forward ends as it always has, having typed nothing.
        {14, true, ActivationStyle::cooperative, "Codex did not become active."},
    };
    for (const auto& row : rows) {
        ReaderWorld world;
        UsageReader& reader = world.makeReader();
        world.workspace.macOSMajorVersion = row.macOS;
        world.workspace.declinesCooperativeActivation = row.systemDeclines;
        world.workspace.setFrontmost(std::nullopt);
        reader.beginReadCountdown(false);
        world.runUntilRunEnds();
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

TEST(RefreshRun, FailedRunKeepsThePreviousSnapshot) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader();
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
    const UsageSnapshot committed = reader.snapshot();
    const auto stored = world.preferences.dataValue(defaultsKey::planSpecificUsageSnapshots);

    world.codex.setUsageRows(std::vector<std::string>{"5h", "soon", "Weekly", "later"});
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
    EXPECT_EQ(statusText(reader.status()), "Refresh failed — previous data kept");
    EXPECT_EQ(reader.snapshot(), committed);
    EXPECT_EQ(world.preferences.dataValue(defaultsKey::planSpecificUsageSnapshots), stored);
    // Each run has its own identifier.
    EXPECT_NE(world.finalOutcome(), "");
    EXPECT_TRUE(world.log.contains("Refresh [00000002] manual: refresh requested at 0 ms"));
}

TEST(RefreshRun, PlanChangeAbandonsTheRunWithoutAnotherKey) {
    ReaderWorld world;
    UsageReader& reader = world.makeReader();
    reader.beginReadCountdown(false);
    world.time.advance(0.56);  // the menu is open and the focus keys are out
    const std::size_t posted = world.input.postedEvents().size();
    reader.setCodexPlan(CodexPlan::freeGo);
    world.time.advance(5);
    EXPECT_FALSE(reader.automationInProgress());
    EXPECT_EQ(world.input.postedEvents().size(), posted);
    EXPECT_EQ(reader.snapshot(), UsageSnapshot::empty());
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
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
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
