#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Platform/AlertPresenter.h"
#include "Meterlane/Platform/TaskGroup.h"
#include "tools/gaugely/SimulatedMac.h"

namespace gaugely::tool {

// What a scenario does to the simulated Mac and its app, and when. Every action is a work item on
// the Mac's main queue at its moment, so it runs in order with the app's own work and the same
// way on every run. When an installation quits the app to be relaunched, macOS starts the new
// version a moment later.
//
// Moments are on the story's clock, which stands still while Codex answers the reader's
// accessibility calls: with --ax-latency a refresh takes longer, and the story waits for it, so
// each step still falls between the same steps of a refresh as it does with instant answers, and
// a scenario tells the same story (the same notifications) at any latency.
class ScenarioScript {
  public:
    ScenarioScript(SimulatedMac& world, CodexPlan plan,
                   std::function<void(std::string_view)> narrate,
                   std::function<void(const AlertRequest&)> showAlert = {});
    ~ScenarioScript();

    SimulatedMac& world() { return world_; }
    UsageReader& reader() { return world_.reader(); }
    // The user's plan (and Codex's).
    CodexPlan plan() const { return plan_; }

    // `seconds` from now on the story's clock (the script is written at its start), tells `what`
    // happened (nothing when empty), then does it.
    void at(double seconds, std::string what, std::function<void()> action = {});
    // Seconds since the script was made, less the time Codex has spent answering meanwhile.
    double storyTime() const;

    // The user chooses the plan in Settings (first run).
    void choosePlan(double seconds);
    // The app's first-run questions once its menu bar item is ready, as the app asks them: the
    // plan (the user picks theirs), then the Accessibility permission, where the user presses
    // "Open System Settings".
    void runOnboarding(double seconds);
    // The user allows Gaugely under Privacy & Security → Accessibility, then opens the popover,
    // which checks the permission again.
    void grantAccessibility(double seconds);
    // The user clicks the refresh item. While a refresh runs the item is disabled, so they wait
    // for it and click again.
    void pressRefresh(double seconds);
    // The user presses "Update & Restart" in Settings.
    void pressUpdateAndRestart(double seconds, std::string what);
    // Codex's plan window (5h for plus, monthly for free/go, general weekly for pro) changes.
    void setPrimaryUsage(double seconds, int percentLeft, std::string why);
    void setWeeklyUsage(double seconds, int percentLeft);
    // The user types in Codex, one key a second, from `from` to `to`.
    void typeInCodex(double from, double to);
    void clickInCodex(double seconds);
    void quitCodex(double seconds);
    void launchCodex(double seconds);
    // Changes the refresh frequency when the stored one differs.
    void useRefreshFrequency(double seconds, RefreshFrequency frequency);

    // After the script's first manual refresh, `count - 1` more, each `gap` seconds after the
    // previous one ended; the script then ends as a single refresh's does.
    void repeatRefreshes(int count, double gap);
    // Whether the script has done all it has to do (repeated refreshes included) and reached its
    // end on the story's clock.
    bool isOver() const { return repeatsLeft_ == 0 && storyTime() >= duration_ - storyTolerance; }
    // Whether a refresh is running or a click on the refresh item is waiting for one to end: the
    // scenario goes on until neither is so.
    bool hasRunsUnderWay() const;

    // Where the script ends, on the story's clock.
    void endAt(double seconds) { duration_ = seconds; }
    double duration() const { return duration_; }

    // Story moments this close count as the same: sums of the same seconds may differ in the
    // last bit.
    static constexpr double storyTolerance = 1e-9;

    // "5h", "Monthly" or "General Weekly".
    std::string primaryWindowTitle() const;

  private:
    void clickRefreshWhenEnabled(bool waited);
    // Runs `step` once the story's clock reads `moment`, looking first `after` seconds from now.
    void atStoryMoment(double after, double moment, std::function<void()> step);
    double codexAnsweringSeconds() const;

    SimulatedMac& world_;
    CodexPlan plan_;
    double origin_;
    double codexAnsweringAtOrigin_;
    int clicksWaiting_ = 0;
    std::function<void(std::string_view)> narrate_;
    double duration_ = 0;
    int repeatsLeft_ = 0;
    bool repeatRunning_ = false;
    std::size_t observer_ = 0;
    // The script's actions still to come; they go with it.
    TaskGroup actions_{world_.time};
};

struct Scenario {
    std::string_view name;
    std::string_view summary;
    void (*write)(ScenarioScript& script);
    // First run: starts with no plan chosen and no Accessibility permission.
    bool startsWithoutPlan = false;
    // The feed offers an update (to a Mac that never checked), and the updater's lines are shown.
    bool publishesUpdate = false;
};

// In the order `--scenario list` shows them; the demo first.
std::span<const Scenario> scenarios();
const Scenario* findScenario(std::string_view name);

}  // namespace gaugely::tool
