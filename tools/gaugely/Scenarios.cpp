#include <algorithm>
#include <array>

#include "tools/gaugely/Scenario.h"

namespace gaugely::tool {

namespace {

// A key without meaning to Codex's menu ("A"), as typing in the composer is.
constexpr uint16_t letterKey = 0;

// The full cycle in about a minute: a manual refresh, Codex's usage falling while the user
// works, an automatic refresh with its countdown that finds usage low, then the window's reset.
void writeDemo(ScenarioScript& s) {
    s.useRefreshFrequency(0, RefreshFrequency::thirtySeconds);
    s.pressRefresh(2);
    s.setPrimaryUsage(10, 45, "you keep working in Codex");
    s.setWeeklyUsage(12, 37);
    s.setPrimaryUsage(20, 31, "you keep working in Codex");
    s.setPrimaryUsage(32, 18, "a long agent run");
    s.setWeeklyUsage(34, 33);
    s.setPrimaryUsage(57, 100, "its window resets");
    s.pressRefresh(58);
    s.endAt(62);
}

void writeFirstRun(ScenarioScript& s) {
    s.runOnboarding(0);
    s.grantAccessibility(3);
    s.pressRefresh(4);
    s.endAt(8);
}

void writeManual(ScenarioScript& s) {
    s.pressRefresh(1);
    s.endAt(5);
}

void writeAutomatic(ScenarioScript& s) {
    s.useRefreshFrequency(0, RefreshFrequency::thirtySeconds);
    s.endAt(45);
}

// Typing before the refresh falls due puts it off; a click during its countdown stops it. Each
// time the next 15-second tick tries again and begins once the user has been idle for 10 s.
void writeDeferred(ScenarioScript& s) {
    s.useRefreshFrequency(0, RefreshFrequency::thirtySeconds);
    s.pressRefresh(1);
    s.typeInCodex(37, 44);
    s.clickInCodex(62.5);
    s.endAt(88);
}

void writeLowUsage(ScenarioScript& s) {
    s.pressRefresh(1);
    s.setPrimaryUsage(4, 18, "a long agent run");
    s.pressRefresh(5);
    s.endAt(9);
}

void writeReset(ScenarioScript& s) {
    s.setPrimaryUsage(0, 25, "a busy morning");
    s.pressRefresh(1);
    s.setPrimaryUsage(4, 100, "its window resets");
    s.pressRefresh(5);
    s.endAt(9);
}

// Without Codex nothing can be read: a manual refresh says so, and a due automatic refresh
// moves its deadline one interval on instead of retrying every tick.
void writeCodexNotRunning(ScenarioScript& s) {
    s.useRefreshFrequency(0, RefreshFrequency::thirtySeconds);
    s.pressRefresh(1);
    s.quitCodex(5);
    s.pressRefresh(7);
    s.endAt(50);
}

// A background check finds build 4; "Update & Restart" is refused while a refresh reads Codex
// and accepted once it has finished; the app quits to be relaunched, and the new version's
// updater consumes the receipt the old one wrote.
void writeUpdate(ScenarioScript& s) {
    s.pressRefresh(5);
    s.pressUpdateAndRestart(5.5, "You open Settings and press Update & Restart.");
    s.pressUpdateAndRestart(8, "You press Update & Restart again.");
    s.endAt(13);
}

// How long after the app quits for an update macOS starts the new version.
constexpr double relaunchSeconds = 1.2;

constexpr std::array scenarioTable{
    Scenario{"demo", "the full cycle in a minute: two kinds of refresh, low usage, a reset",
             writeDemo},
    Scenario{"first-run", "no plan yet: the plan and Accessibility alerts, then a manual refresh",
             writeFirstRun, true},
    Scenario{"manual", "a manual refresh", writeManual},
    Scenario{"automatic", "an automatic refresh with its 10-second countdown", writeAutomatic},
    Scenario{"deferred", "a due refresh put off by your input, retried on the 15 s tick when idle",
             writeDeferred},
    Scenario{"low-usage", "usage drops to 18%: \"Codex Usage Low\"", writeLowUsage},
    Scenario{"reset", "a window returns to 100%: \"Codex Usage Reset\"", writeReset},
    Scenario{"codex-not-running",
             "Codex quits: \"Open Codex to refresh usage\", due refresh pushed back",
             writeCodexNotRunning},
    Scenario{"update", "an update is found, held back by a refresh, installed and verified",
             writeUpdate, false, true},
};

}  // namespace

std::span<const Scenario> scenarios() {
    return scenarioTable;
}

const Scenario* findScenario(std::string_view name) {
    for (const Scenario& scenario : scenarioTable) {
        if (scenario.name == name) {
            return &scenario;
        }
    }
    return nullptr;
}

ScenarioScript::ScenarioScript(SimulatedMac& world, CodexPlan plan,
                               std::function<void(std::string_view)> narrate,
                               std::function<void(const AlertRequest&)> showAlert)
    : world_(world),
      plan_(plan),
      origin_(world.time.monotonicSeconds()),
      codexAnsweringAtOrigin_(codexAnsweringSeconds()),
      narrate_(std::move(narrate)) {
    if (showAlert) {
        world_.alerts.whileShown = [this, showAlert = std::move(showAlert)] {
            showAlert(world_.alerts.shown.back());
        };
    }
    world_.relaunchRequested = [this] {
        at(relaunchSeconds, "macOS starts the new version.", [this] { world_.launch(); });
    };
}

double ScenarioScript::codexAnsweringSeconds() const {
    // On the main thread or on the accessibility worker.
    return world_.codex.answeringSeconds();
}

double ScenarioScript::storyTime() const {
    return world_.time.monotonicSeconds() - origin_ -
           (codexAnsweringSeconds() - codexAnsweringAtOrigin_);
}

bool ScenarioScript::hasRunsUnderWay() const {
    return world_.reader().automationInProgress() || clicksWaiting_ > 0;
}

ScenarioScript::~ScenarioScript() {
    world_.alerts.whileShown = nullptr;
    world_.relaunchRequested = nullptr;
}

void ScenarioScript::runOnboarding(double seconds) {
    const auto& plans = allCases<CodexPlan>();
    const auto planIndex =
        static_cast<std::size_t>(std::find(plans.begin(), plans.end(), plan_) - plans.begin());
    // "Continue" with the user's plan, then "Open System Settings".
    world_.alerts.answers = {{0, planIndex}, {0, std::nullopt}};
    at(seconds, "", [this] { world_.app().refreshItemReady(); });
}

void ScenarioScript::grantAccessibility(double seconds) {
    at(seconds,
       "You allow Gaugely in System Settings \u2192 Privacy & Security \u2192 Accessibility, "
       "then open the popover.",
       [this] {
           world_.codex.trusted = true;
           reader().refreshPermission(false);
       });
}

void ScenarioScript::at(double seconds, std::string what, std::function<void()> action) {
    atStoryMoment(seconds, storyTime() + seconds,
                  [this, what = std::move(what), action = std::move(action)] {
                      if (!what.empty()) {
                          narrate_(what);
                      }
                      if (action) {
                          action();
                      }
                  });
}

void ScenarioScript::atStoryMoment(double after, double moment, std::function<void()> step) {
    actions_.after(after, [this, moment, step = std::move(step)]() mutable {
        // Codex answered the reader meanwhile, and the story waits as long as that took.
        const double left = moment - storyTime();
        if (left > storyTolerance) {
            atStoryMoment(left, moment, std::move(step));
            return;
        }
        step();
    });
}

std::string ScenarioScript::primaryWindowTitle() const {
    switch (plan_) {
        case CodexPlan::freeGo:
            return "Monthly";
        case CodexPlan::plus:
            return "5h";
        case CodexPlan::pro:
            return "General Weekly";
    }
    return {};
}

void ScenarioScript::choosePlan(double seconds) {
    at(seconds, "You choose " + std::string(title(plan_)) + " as your plan in Settings.",
       [this] { reader().setCodexPlan(plan_); });
}

void ScenarioScript::repeatRefreshes(int count, double gap) {
    // A single manual refresh's script ends this long after its refresh began.
    const double tail = duration_;
    repeatsLeft_ = count;
    // The reader calls a copy of its observer each time: what must last is kept here.
    observer_ = reader().addObserver([this, gap, tail] {
        const bool now = reader().automationInProgress();
        const bool ended = repeatRunning_ && !now;
        repeatRunning_ = now;
        if (ended && repeatsLeft_ > 0) {
            --repeatsLeft_;
            // `at` counts from now.
            if (repeatsLeft_ > 0) {
                pressRefresh(gap);
            } else {
                endAt(storyTime() + tail - 1);
                // Something to run at the end, so the clock stops exactly there.
                at(tail - 1, "");
            }
        }
    });
}

void ScenarioScript::pressRefresh(double seconds) {
    at(seconds, "", [this] { clickRefreshWhenEnabled(false); });
}

void ScenarioScript::pressUpdateAndRestart(double seconds, std::string what) {
    at(seconds, std::move(what), [this] {
        world_.app().performSettingsAction(
            {SettingsControl::updateAndRestart, std::nullopt, std::nullopt, false});
    });
}

void ScenarioScript::clickRefreshWhenEnabled(bool waited) {
    if (waited) {
        --clicksWaiting_;
    }
    if (reader().automationInProgress()) {
        if (!waited) {
            narrate_("You go to click the refresh item, but a refresh is running; you wait.");
        }
        ++clicksWaiting_;
        actions_.after(0.5, [this] { clickRefreshWhenEnabled(true); });
        return;
    }
    narrate_("You click the refresh item.");
    reader().beginReadCountdown(false);
}

void ScenarioScript::setPrimaryUsage(double seconds, int percentLeft, std::string why) {
    at(seconds,
       "Codex now shows " + primaryWindowTitle() + " " + std::to_string(percentLeft) + "% left (" +
           why + ").",
       [this, percentLeft] {
           CodexUsage usage = world_.codex.usage();
           // A window that starts over has its next reset a whole window away.
           const bool reset = percentLeft == 100;
           switch (plan_) {
               case CodexPlan::freeGo:
                   usage.monthlyPercentLeft = percentLeft;
                   usage.monthlyReset = reset ? "Dec 21" : usage.monthlyReset;
                   break;
               case CodexPlan::plus:
                   usage.fiveHourPercentLeft = percentLeft;
                   usage.fiveHourReset = reset ? "1:58 PM" : usage.fiveHourReset;
                   break;
               case CodexPlan::pro:
                   usage.proWeeklyPercentLeft = percentLeft;
                   break;
           }
           world_.codex.setUsage(usage);
       });
}

void ScenarioScript::setWeeklyUsage(double seconds, int percentLeft) {
    if (plan_ != CodexPlan::plus) {
        return;
    }
    at(seconds, "Codex now shows Weekly " + std::to_string(percentLeft) + "% left.",
       [this, percentLeft] {
           CodexUsage usage = world_.codex.usage();
           usage.weeklyPercentLeft = percentLeft;
           world_.codex.setUsage(usage);
       });
}

void ScenarioScript::typeInCodex(double from, double to) {
    at(from, "You start typing in Codex.");
    for (double t = from; t <= to; t += 1) {
        at(t, "", [this] { world_.input.injectRealKeyPress(letterKey); });
    }
    at(to, "You stop typing.");
}

void ScenarioScript::clickInCodex(double seconds) {
    at(seconds, "You click in Codex's window.", [this] {
        world_.input.injectRealClick(Point{400, 300});
    });
}

void ScenarioScript::quitCodex(double seconds) {
    at(seconds, "You quit Codex.", [this] { world_.codex.quit(); });
}

void ScenarioScript::launchCodex(double seconds) {
    at(seconds, "You open Codex again.", [this] { world_.codex.launch(); });
}

void ScenarioScript::useRefreshFrequency(double seconds, RefreshFrequency frequency) {
    at(seconds, "", [this, frequency] {
        if (reader().refreshFrequency() == frequency) {
            return;
        }
        narrate_("You set the refresh frequency to " + std::string(title(frequency)) +
                 " in Settings.");
        reader().setRefreshFrequency(frequency);
    });
}

}  // namespace gaugely::tool
