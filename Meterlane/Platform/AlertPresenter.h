#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace gaugely {

// A modal alert of our own: a message, its explanation, buttons (the first is the default) and,
// when `choices` is set, a pop-up of choices below the text.
struct AlertRequest {
    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons;
    std::vector<std::string> choices;
    std::size_t selectedChoice = 0;
};

// What the user did: the button pressed (none when the alert closed otherwise) and the choice
// selected when it closed.
struct AlertResponse {
    std::optional<std::size_t> button;
    std::optional<std::size_t> choice;
};

// Shows alerts on behalf of the onboarding. `runModal` brings the app to the front, ignoring
// other applications (an agent app is never in front by itself), and returns when the alert
// closes. Main queue only.
class AlertPresenter {
  public:
    virtual ~AlertPresenter() = default;
    [[nodiscard]] virtual AlertResponse runModal(const AlertRequest& request) = 0;
};

}  // namespace gaugely
