#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Presentation/SettingsViewModel.h"

namespace gaugely {

// The settings window as the platform provides it; it draws what it is given and reports nothing.
struct SettingsWindowSurface {
    // Builds the window's content from the view data, making the window on first use, and lays
    // the content out before returning, so what follows can rely on every section's place.
    std::function<void(const SettingsViewModel& model)> draw;
    // Brings the app and the window to the front.
    std::function<void()> bringForward;
    // Scrolls the section with this title into view.
    std::function<void(const std::string& sectionTitle)> scrollToSection;
};

// When the settings window draws. It always shows what the models say, never what the user last
// did to a control: a switch the models refused (Launch at Login waiting for approval publishes
// nothing) must spring back. So after every action the window draws the models again, whatever
// changed, on the next turn of the main queue, once the control that reported the action is done
// with it; other changes of the models draw only what differs from what is shown.
//
// Showing the window draws it, brings it forward, and only then scrolls: a section can be scrolled
// to only once it is drawn and laid out. Main queue only.
class SettingsWindowDrawing {
  public:
    SettingsWindowDrawing(MainQueue& queue, std::function<SettingsViewModel()> model,
                          SettingsWindowSurface surface);
    SettingsWindowDrawing(const SettingsWindowDrawing&) = delete;
    SettingsWindowDrawing& operator=(const SettingsWindowDrawing&) = delete;

    // Draws from the models, brings the window forward, then scrolls to `section` when given.
    void show(const std::optional<std::string>& section);
    // The user closed the window: nothing is drawn until it is shown again.
    void closed();
    void modelsChanged();
    // The user used one of the window's controls, and its action has reached the models.
    void actionPerformed();

    bool isShown() const { return shown_; }

  private:
    void draw(const SettingsViewModel& model);

    MainQueue& queue_;
    std::function<SettingsViewModel()> model_;
    SettingsWindowSurface surface_;
    bool shown_ = false;
    std::optional<SettingsViewModel> drawn_;
    TaskHandle pendingRedraw_;
};

}  // namespace gaugely
