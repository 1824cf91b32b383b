#include <gtest/gtest.h>

#include <functional>

#include "Meterlane/Presentation/StatusPresentation.h"
#include "StateWorld.h"

namespace gaugely {
namespace {

using Lines = std::vector<std::string>;

Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

constexpr ProcessID textEdit = 501;

void putAnotherApplicationInFront(StateWorld& world) {
    world.workspace.addApplication({"com.apple.TextEdit", textEdit, ActivationPolicy::regular});
    world.workspace.setFrontmost(textEdit);
}

TEST(AutomaticRefreshScheduler, RecoveryTakesTheStoredDeadlineElseTheLastReadingElseNow) {
    const std::string overdue = "Automatic refresh schedule restored as overdue and pending";
    const std::string future = "Automatic refresh schedule restored with a future deadline";
    const struct {
        const char* name;
        std::optional<double> storedDeadlineIn;
        std::optional<double> readingAge;
        const char* frequency;
        double expectedIn;
        bool overdue;
    } cases[] = {
        {"10-minute-old reading, 5-minute frequency", {}, 600, "fiveMinutes", 0, true},
        {"10-minute-old reading, 30-minute frequency", {}, 600, "thirtyMinutes", 1200, false},
        {"no reading yet", {}, {}, "twoMinutes", 120, false},
        {"a stored future deadline wins over the reading", 42.5, 600, "fiveMinutes", 42.5, false},
        {"a deadline of exactly now is overdue", 0, {}, "oneMinute", 0, true},
        {"a deadline an hour ago is pulled up to now", -3600, {}, "oneMinute", 0, true},
    };
    for (const auto& c : cases) {
        StateWorld world;
        const Date now = world.time.now();
        world.choosePlan();
        world.preferences.setString("automatic-refresh-frequency-v1", c.frequency);
        if (c.storedDeadlineIn) {
            world.preferences.setDate("next-automatic-refresh-date-v1",
                                      now.addingTimeInterval(*c.storedDeadlineIn));
        }
        if (c.readingAge) {
            world.storePlanRecords(
                {{plusReading(50, 50), now.addingTimeInterval(-*c.readingAge), CodexPlan::plus}});
        }
        // Codex behind: an overdue deadline stays where recovery put it.
        putAnotherApplicationInFront(world);
        UsageReader& reader = world.launch();
        EXPECT_EQ(world.schedulerLines().front(), c.overdue ? overdue : future) << c.name;
        EXPECT_EQ(reader.nextAutomaticRefreshDate(), now.addingTimeInterval(c.expectedIn))
            << c.name;
        EXPECT_EQ(world.preferences.dateValue("next-automatic-refresh-date-v1"),
                  now.addingTimeInterval(c.expectedIn))
            << c.name;
        EXPECT_EQ(reader.automaticRefreshIsPending(), c.overdue) << c.name;
    }
}

TEST(AutomaticRefreshScheduler, SwitchingOffRemovesTheDeadlineAndOnSchedulesOneIntervalAhead) {
    StateWorld world;
    world.choosePlan();
    UsageReader& reader = world.launch();
    ASSERT_TRUE(world.preferences.hasObject("next-automatic-refresh-date-v1"));
    world.log.clear();

    reader.setAutomaticRefreshEnabled(false);
    EXPECT_EQ(reader.nextAutomaticRefreshDate(), std::nullopt);
    EXPECT_FALSE(reader.automaticRefreshIsPending());
    EXPECT_FALSE(world.preferences.hasObject("next-automatic-refresh-date-v1"));
    EXPECT_EQ(world.preferences.boolValue("automatic-refresh-enabled-v1"), false);
    EXPECT_EQ(world.schedulerLines(), Lines{"Automatic refresh disabled by user"});

    // Changing the frequency while off stores it and schedules nothing.
    world.log.clear();
    reader.setRefreshFrequency(RefreshFrequency::tenMinutes);
    EXPECT_EQ(world.preferences.stringValue("automatic-refresh-frequency-v1"), "tenMinutes");
    EXPECT_EQ(reader.nextAutomaticRefreshDate(), std::nullopt);
    EXPECT_TRUE(world.schedulerLines().empty());

    world.time.advance(1000);
    world.log.clear();
    reader.setAutomaticRefreshEnabled(true);
    const Date expected = world.time.now().addingTimeInterval(600);
    EXPECT_EQ(reader.nextAutomaticRefreshDate(), expected);
    EXPECT_EQ(world.preferences.dateValue("next-automatic-refresh-date-v1"), expected);
    EXPECT_EQ(world.schedulerLines(), (Lines{"Automatic refresh scheduled in 600 seconds",
                                             "Automatic refresh enabled by user"}));

    // Setting what is already set does nothing at all.
    const size_t writes = world.preferences.writeCount();
    world.log.clear();
    reader.setAutomaticRefreshEnabled(true);
    reader.setRefreshFrequency(RefreshFrequency::tenMinutes);
    EXPECT_EQ(world.preferences.writeCount(), writes);
    EXPECT_TRUE(world.log.lines().empty());
}

// Asleep, the wall clock moves on while no tick runs; quit, nothing runs at all. Either way the
// first evaluation back tries a deadline that passed at once.
TEST(AutomaticRefreshScheduler, WakeAndRelaunchRecoverTheScheduleAndTryAPassedDeadlineAtOnce) {
    const std::string overdue = "Automatic refresh schedule restored as overdue and pending";
    const Lines tried = {"Automatic refresh is due", "Automatic refresh scheduled in 60 seconds",
                         "Automatic refresh attempt beginning",
                         "Automatic refresh countdown started"};
    const auto wake = [](double asleepFor) {
        return [asleepFor](StateWorld& w) {
            w.time.setNow(w.time.now().addingTimeInterval(asleepFor));
            w.workspace.postWake();
        };
    };
    const std::string woke = "Workspace wake detected; recovering automatic refresh schedule";
    const struct {
        const char* name;
        std::function<void(StateWorld&)> comeBack;
        Lines lines;
        bool overdue = true;
    } cases[] = {
        {"slept past the deadline", wake(3600), Lines{woke, overdue} + tried},
        {"woke before the deadline",
         wake(20),
         {woke, "Automatic refresh schedule restored with a future deadline"},
         false},
        {"relaunched past the deadline", [](StateWorld& w) { w.relaunch(3600); },
         Lines{overdue, "Automatic refresh scheduler started; cadence is 15 seconds"} + tried},
    };
    for (const auto& c : cases) {
        StateWorld world;
        world.choosePlan();
        UsageReader& first = world.launch();
        ASSERT_TRUE(first.nextAutomaticRefreshDate());
        const Date deadline = *first.nextAutomaticRefreshDate();
        world.log.clear();
        c.comeBack(world);
        world.time.advance(0);
        const UsageReader& reader = *world.reader;
        EXPECT_EQ(world.schedulerLines(), c.lines) << c.name;
        EXPECT_EQ(reader.countdown(), c.overdue ? std::optional<int>(10) : std::nullopt) << c.name;
        EXPECT_EQ(reader.nextAutomaticRefreshDate(),
                  c.overdue ? world.time.now().addingTimeInterval(60) : deadline)
            << c.name;
    }
}

TEST(AutomaticRefreshScheduler, LaunchAndComingToTheFrontCheckAccessibilityWithoutPrompting) {
    StateWorld world;
    world.preferences.setBool("automatic-refresh-enabled-v1", false);
    world.codex.trusted = false;
    UsageReader& reader = world.launch();
    EXPECT_FALSE(reader.accessibilityGranted());
    EXPECT_TRUE(reader.codexFound());  // looked up at launch, with no refresh in sight
    world.codex.trusted = true;        // granted in System Settings
    world.workspace.postDidBecomeActive();
    EXPECT_TRUE(reader.accessibilityGranted());
    EXPECT_EQ(world.codex.trustPrompts(), 0u);
}

// What one evaluation of a due deadline leaves behind.
struct Evaluation {
    Lines lines;
    std::optional<std::string> status;
    std::optional<std::string> reason;  // of the deferred outcome
    bool pending = false;
    std::optional<double> deadlineIn;  // from the evaluation; none: no deadline
};

// Nothing logged or shown; only the deadline tells.
Evaluation silent(std::optional<double> deadlineIn) {
    return {{}, {}, {}, false, deadlineIn};
}

// Deferred and still due, so the next tick tries again.
Evaluation deferred(const std::string& because, const std::string& reason, std::string status) {
    return {{"Automatic refresh is due", "Automatic refresh deferred because " + because,
             "Refresh [id] automatic: refresh requested; eligibility deferred — " + reason},
            std::move(status),
            reason,
            true,
            -1};
}

// One evaluation of a due deadline: the first rule that applies decides, and each row adds a
// condition from further down to show that it does not get a say.
TEST(AutomaticRefreshScheduler, EvaluationRulesApplyInOrder) {
    const struct {
        const char* name;
        void (*before)(StateWorld&);  // the store, before launch
        void (*after)(StateWorld&);   // the world, once launched
        Evaluation expected;
    } cases[] = {
        {"an update is installing (and Codex is gone)", nullptr,
         [](StateWorld& w) {
             w.reader->setUpdateRefreshGate(true);
             w.codex.quit();
         },
         silent(-1)},
        {"no plan chosen (and automatic refresh off)",
         [](StateWorld& w) {
             w.preferences.remove("codex-plan-v1");
             w.preferences.setBool("automatic-refresh-enabled-v1", false);
             w.preferences.setDate("next-automatic-refresh-date-v1", w.time.now());
         },
         nullptr, silent(-61)},
        {"switched off", nullptr,
         [](StateWorld& w) { w.reader->setAutomaticRefreshEnabled(false); }, silent(std::nullopt)},
        {"not yet due", nullptr, [](StateWorld& w) { w.time.setNow(w.launchedAt); }, silent(60)},
        {"no Accessibility permission (and Codex is gone)", nullptr,
         [](StateWorld& w) {
             w.codex.trusted = false;
             w.codex.quit();
         },
         deferred("Accessibility permission is unavailable", "Accessibility permission unavailable",
                  "Accessibility permission required")},
        // Not retried at every tick: the next look is one interval later.
        {"Codex not running (and the user is active)",
         nullptr,
         [](StateWorld& w) {
             w.codex.quit();
             w.input.setLastInputSecondsAgo(0);
         },
         {{"Automatic refresh is due", "Automatic refresh scheduled in 60 seconds",
           "Automatic refresh deferred because Codex is not running",
           "Refresh [id] automatic: refresh requested; eligibility deferred — Codex is not "
           "running"},
          "Open Codex to refresh usage",
          "Codex is not running",
          false,
          60}},
        {"a countdown is showing (and the user is active)", nullptr,
         [](StateWorld& w) {
             w.reader->beginReadCountdown(true);
             w.time.advance(0);
             w.input.setLastInputSecondsAgo(0);
         },
         deferred("a countdown is already active", "another automatic countdown is active",
                  "Inspecting account control in 10...")},
        {"a manual run is under way (and Codex is behind)", nullptr,
         [](StateWorld& w) {
             w.reader->beginReadCountdown(false);
             // The run's look at the menu comes back from the worker.
             w.time.advance(0);
             putAnotherApplicationInFront(w);
         },
         deferred("another refresh is in progress", "another refresh is in progress",
                  "Locating Codex profile control...")},
        {"another application in front (and the user is active)", nullptr,
         [](StateWorld& w) {
             putAnotherApplicationInFront(w);
             w.input.setLastInputSecondsAgo(0);
         },
         deferred("neither Codex nor Gaugely Settings is frontmost",
                  "foreground safety condition not satisfied",
                  "Refresh deferred — return to Codex when idle")},
        {"our Settings window is key but the user typed 9.9 s ago", nullptr,
         [](StateWorld& w) {
             putAnotherApplicationInFront(w);
             w.workspace.setSettingsWindowIsKey(true);
             w.input.setLastInputSecondsAgo(9.9);
         },
         deferred("the user is active", "user activity before countdown",
                  "Refresh deferred — try again when Codex is idle")},
        {"Codex in front and idle for exactly 10 s",
         nullptr,
         [](StateWorld& w) { w.input.setLastInputSecondsAgo(10); },
         {{"Automatic refresh is due", "Automatic refresh scheduled in 60 seconds",
           "Automatic refresh attempt beginning", "Automatic refresh countdown started"},
          "Inspecting account control in 10...",
          {},
          false,
          60}},
    };
    for (const auto& c : cases) {
        StateWorld world;
        world.choosePlan();
        if (c.before) {
            c.before(world);
        }
        UsageReader& reader = world.launch();
        // Due one second ago, with no tick run since the launch.
        world.time.setNow(world.launchedAt.addingTimeInterval(61));
        if (c.after) {
            c.after(world);
        }
        world.log.clear();
        reader.evaluateAutomaticRefresh();
        // A run's countdown starts once its look at the menu is back from the worker.
        world.time.advance(0);
        const Evaluation& e = c.expected;
        EXPECT_EQ(withoutTraceIdentifiers(world.schedulerLines()), e.lines) << c.name;
        EXPECT_EQ(statusText(reader.status()), e.status) << c.name;
        if (e.reason) {
            EXPECT_EQ(reader.lastRefreshOutcome(), RefreshRunOutcome::deferred(*e.reason))
                << c.name;
        }
        EXPECT_EQ(reader.automaticRefreshIsPending(), e.pending) << c.name;
        EXPECT_EQ(reader.nextAutomaticRefreshDate(),
                  e.deadlineIn ? std::optional(world.time.now().addingTimeInterval(*e.deadlineIn))
                               : std::nullopt)
            << c.name;
    }
}

}  // namespace
}  // namespace gaugely
