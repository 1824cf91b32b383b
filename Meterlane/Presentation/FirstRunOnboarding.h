#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Meterlane/Platform/AlertPresenter.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

class UsageReader;

// The first run's two questions, in this order, once the menu bar item exists: which Codex plan
// (so the right usage windows are read), then the Accessibility permission. Each presenter shows
// at most one alert at a time; the guidance shows at most once per run of the program, whatever
// the answer. Main queue only.
//
// The reader is not owned: the app's start-up assembly creates it first and destroys it last.

class FirstRunPlanSelectionPresenter {
  public:
    FirstRunPlanSelectionPresenter(AlertPresenter& alerts, std::string appName);

    // True when the user chose a plan.
    [[nodiscard]] bool presentIfNeeded(UsageReader& reader);

    static constexpr std::size_t popUpWidth = 260;
    static constexpr std::size_t popUpHeight = 26;

  private:
    AlertPresenter& alerts_;
    std::string appName_;
    bool isPresenting_ = false;
};

class AccessibilityPermissionGuidancePresenter {
  public:
    AccessibilityPermissionGuidancePresenter(AlertPresenter& alerts, Workspace& workspace,
                                             std::string appName);

    void presentIfNeeded(UsageReader& reader);

  private:
    AlertPresenter& alerts_;
    Workspace& workspace_;
    std::string appName_;
    bool isPresenting_ = false;
};

class FirstRunOnboardingCoordinator {
  public:
    // `onboardingIsSuppressed`: the updater's answer, true while an update it installed is being
    // relaunched into (asking then would greet an existing user as a new one).
    FirstRunOnboardingCoordinator(FirstRunPlanSelectionPresenter& planSelectionPresenter,
                                  AccessibilityPermissionGuidancePresenter& guidancePresenter,
                                  std::function<bool()> onboardingIsSuppressed);

    // Called once the refresh status item is ready; the questions follow at the run loop's next
    // turn, after the menu bar has been laid out (see `MainQueue::performOnRunLoop`). Later calls
    // only remember the reader.
    void establishMenuBarLifecycle(UsageReader& reader, MainQueue& queue);

    void ensureOnboardingIfNeeded();
    void ensureOnboardingIfNeeded(UsageReader& reader);

    bool isActive() const { return isActive_; }

  private:
    FirstRunPlanSelectionPresenter& planSelectionPresenter_;
    AccessibilityPermissionGuidancePresenter& guidancePresenter_;
    std::function<bool()> onboardingIsSuppressed_;
    UsageReader* reader_ = nullptr;
    bool isActive_ = false;
    TaskHandle scheduled_;
};

}  // namespace gaugely
