#include <gtest/gtest.h>

#include "Meterlane/Presentation/FirstRunOnboarding.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "Meterlane/Simulation/ScriptedAlertPresenter.h"
#include "reader/ReaderWorld.h"

namespace gaugely {
namespace {

constexpr std::size_t openSettings = 0;

struct OnboardingWorld : ReaderWorld {
    ScriptedAlertPresenter alerts;
    FirstRunPlanSelectionPresenter planPresenter{alerts, "Gaugely"};
    AccessibilityPermissionGuidancePresenter guidancePresenter{alerts, workspace, "Gaugely"};
    bool suppressed = false;
    FirstRunOnboardingCoordinator coordinator{planPresenter, guidancePresenter,
                                              [this] { return suppressed; }};

    // Launches with nothing chosen and runs the onboarding as the app does once the menu bar
    // item is ready.
    UsageReader& launchAndOnboard() {
        UsageReader& launched = makeReader(std::nullopt);
        coordinator.establishMenuBarLifecycle(launched, time);
        time.advance(0);
        return launched;
    }

    std::vector<std::string> messagesShown() const {
        std::vector<std::string> messages;
        for (const AlertRequest& request : alerts.shown) {
            messages.push_back(request.message);
        }
        return messages;
    }
};

const std::string planAlert = "Choose Your Codex Plan";
const std::string guidanceAlert = "Accessibility Permission Required";

TEST(Onboarding, PlanThenPermissionEachAtMostOnce) {
    const struct {
        const char* name;
        bool trusted;
        bool suppressed;
        std::vector<AlertResponse> answers;
        std::vector<std::string> shown;
        std::optional<CodexPlan> chosen;
        bool openedSettings;
    } rows[] = {
        // The plan, then the guidance declined, is the app assembly's onboarding test.
        {"plan, then System Settings",
         false,
         false,
         {{0, 2}, {openSettings, std::nullopt}},
         {planAlert, guidanceAlert},
         CodexPlan::pro,
         true},
        {"trusted: the plan only", true, false, {{0, 0}}, {planAlert}, CodexPlan::freeGo, false},
        // No plan, no guidance this round.
        {"plan alert closed", false, false, {{std::nullopt, 1}}, {planAlert}, std::nullopt, false},
        {"a choice out of range", false, false, {{0, 3}}, {planAlert}, std::nullopt, false},
        // An update's relaunch must not greet an existing user as a new one.
        {"suppressed by the updater", false, true, {}, {}, std::nullopt, false},
    };
    for (const auto& row : rows) {
        OnboardingWorld world;
        world.codex.trusted = row.trusted;
        world.suppressed = row.suppressed;
        world.alerts.answers.assign(row.answers.begin(), row.answers.end());
        UsageReader& reader = world.launchAndOnboard();
        // The status item reporting ready again asks nothing more, and the guidance, once shown
        // or declined, never comes back in this run.
        world.coordinator.establishMenuBarLifecycle(reader, world.time);
        world.time.advance(1);
        if (reader.hasExplicitPlanSelection()) {
            world.guidancePresenter.presentIfNeeded(reader);
        }

        EXPECT_EQ(world.messagesShown(), row.shown) << row.name;
        EXPECT_EQ(
            reader.hasExplicitPlanSelection() ? std::optional(reader.codexPlan()) : std::nullopt,
            row.chosen)
            << row.name;
        EXPECT_EQ(world.workspace.openedURLs(),
                  row.openedSettings
                      ? std::vector<std::string>{std::string(accessibilitySettingsURL)}
                      : std::vector<std::string>{})
            << row.name;
        if (row.suppressed || row.shown.size() == 2) {
            EXPECT_FALSE(reader.accessibilityGuidanceIsEligible()) << row.name;
        }
    }
}

}  // namespace
}  // namespace gaugely
