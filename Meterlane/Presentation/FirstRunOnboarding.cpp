#include "Meterlane/Presentation/FirstRunOnboarding.h"

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Presentation/PopoverViewModel.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

FirstRunPlanSelectionPresenter::FirstRunPlanSelectionPresenter(AlertPresenter& alerts,
                                                               std::string appName)
    : alerts_(alerts), appName_(std::move(appName)) {}

bool FirstRunPlanSelectionPresenter::presentIfNeeded(UsageReader& reader) {
    if (!reader.firstRunPlanSelectionIsEligible() || isPresenting_) {
        return false;
    }
    isPresenting_ = true;
    AlertRequest request;
    request.message = "Choose Your Codex Plan";
    request.informativeText =
        "Select the Codex plan you use so " + appName_ + " can read the correct usage limits.";
    request.buttons = {"Continue"};
    for (const CodexPlan plan : allCases<CodexPlan>()) {
        request.choices.emplace_back(title(plan));
    }
    const AlertResponse response = alerts_.runModal(request);
    isPresenting_ = false;
    const auto& plans = allCases<CodexPlan>();
    if (response.button != 0u || !response.choice || *response.choice >= plans.size()) {
        return false;
    }
    reader.setCodexPlan(plans[*response.choice]);
    return true;
}

AccessibilityPermissionGuidancePresenter::AccessibilityPermissionGuidancePresenter(
    AlertPresenter& alerts, Workspace& workspace, std::string appName)
    : alerts_(alerts), workspace_(workspace), appName_(std::move(appName)) {}

void AccessibilityPermissionGuidancePresenter::presentIfNeeded(UsageReader& reader) {
    if (!reader.accessibilityGuidanceIsEligible() || isPresenting_) {
        return;
    }
    isPresenting_ = true;
    AlertRequest request;
    request.message = "Accessibility Permission Required";
    request.informativeText =
        appName_ +
        " needs macOS Accessibility permission to read your Codex usage information.\n\nEnable " +
        appName_ + " in:\nSystem Settings \u2192 Privacy & Security \u2192 Accessibility";
    request.buttons = {"Open System Settings", "Not Now"};
    const AlertResponse response = alerts_.runModal(request);
    isPresenting_ = false;
    // Whatever the answer, once is enough for this run of the program.
    reader.dismissAccessibilityGuidanceForCurrentSession();
    if (response.button == 0u && !reader.refreshPermission(true)) {
        workspace_.openURL(std::string(accessibilitySettingsURL));
    }
}

FirstRunOnboardingCoordinator::FirstRunOnboardingCoordinator(
    FirstRunPlanSelectionPresenter& planSelectionPresenter,
    AccessibilityPermissionGuidancePresenter& guidancePresenter,
    std::function<bool()> onboardingIsSuppressed)
    : planSelectionPresenter_(planSelectionPresenter),
      guidancePresenter_(guidancePresenter),
      onboardingIsSuppressed_(std::move(onboardingIsSuppressed)) {}

void FirstRunOnboardingCoordinator::establishMenuBarLifecycle(UsageReader& reader,
                                                              MainQueue& queue) {
    reader_ = &reader;
    if (isActive_) {
        return;
    }
    isActive_ = true;
    // The alerts run modal sessions: started from the run loop, not as a queue item, so timers,
    // the log watch and notification answers go on while an alert waits for the user.
    scheduled_ = queue.performOnRunLoop([this] { ensureOnboardingIfNeeded(); });
}

void FirstRunOnboardingCoordinator::ensureOnboardingIfNeeded() {
    if (reader_ != nullptr) {
        ensureOnboardingIfNeeded(*reader_);
    }
}

void FirstRunOnboardingCoordinator::ensureOnboardingIfNeeded(UsageReader& reader) {
    if (!isActive_) {
        return;
    }
    if (onboardingIsSuppressed_ && onboardingIsSuppressed_()) {
        reader.dismissAccessibilityGuidanceForCurrentSession();
        return;
    }
    if (reader.firstRunPlanSelectionIsEligible() &&
        !planSelectionPresenter_.presentIfNeeded(reader)) {
        return;
    }
    guidancePresenter_.presentIfNeeded(reader);
}

}  // namespace gaugely
