#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include <deque>
#include <memory>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Platform/AlertPresenter.h"
#include "Meterlane/Platform/TaskGroup.h"
#include "Meterlane/Presentation/FirstRunOnboarding.h"
#include "tools/gaugely/SimulatedWorld.h"

namespace gaugely::tool {

// What a scenario does to the simulated world and when. Every action is a work item on the
// world's main queue at its moment, so it runs in order with the reader's own work and the
// same way on every run.
class ScenarioScript {
  public:
    ScenarioScript(SimulatedWorld& world, CodexPlan plan,
                   std::function<void(std::string_view)> narrate,
                   std::function<void(const AlertRequest&)> showAlert = {});
    ~ScenarioScript();

    SimulatedWorld& world() { return world_; }
    UsageReader& reader() { return *world_.reader; }
    // The user's plan (and Codex's).
    CodexPlan plan() const { return plan_; }

    // `seconds` after the start, tells `what` happened (nothing when empty), then does it.
    void at(double seconds, std::string what, std::function<void()> action = {});

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
    // Whether a script of repeated refreshes has done them all and reached its end.
    bool isOver(double elapsed) const { return repeatsLeft_ == 0 && elapsed >= duration_; }

    // Where the script ends; a refresh still running then is allowed to finish.
    void endAt(double seconds) { duration_ = seconds; }
    double duration() const { return duration_; }

    // "5h", "Monthly" or "General Weekly".
    std::string primaryWindowTitle() const;

  private:
    void clickRefreshWhenEnabled(bool waited);

    // Shows each alert in the view and answers as the script says.
    class ScriptedAlerts final : public AlertPresenter {
      public:
        std::function<void(const AlertRequest&)> show;
        std::deque<AlertResponse> answers;
        AlertResponse runModal(const AlertRequest& request) override;
    };

    SimulatedWorld& world_;
    CodexPlan plan_;
    std::function<void(std::string_view)> narrate_;
    ScriptedAlerts alerts_;
    std::unique_ptr<FirstRunPlanSelectionPresenter> planPresenter_;
    std::unique_ptr<AccessibilityPermissionGuidancePresenter> guidancePresenter_;
    std::unique_ptr<FirstRunOnboardingCoordinator> onboarding_;
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
};

// The update story, written beside the simulated updater.
void writeUpdate(ScenarioScript& script);

// In the order `--scenario list` shows them; the demo first.
std::span<const Scenario> scenarios();
const Scenario* findScenario(std::string_view name);

}  // namespace gaugely::tool
