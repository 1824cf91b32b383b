#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "Meterlane/Platform/AlertPresenter.h"

namespace gaugely {

// Answers alerts from a script, in order, and keeps every alert shown. With the script used up,
// an alert is closed without a button, as Escape would.
class ScriptedAlertPresenter final : public AlertPresenter {
  public:
    std::deque<AlertResponse> answers;
    std::vector<AlertRequest> shown;
    // What happens while an alert is up, before it is answered (the user taking their time).
    std::function<void()> whileShown;

    AlertResponse runModal(const AlertRequest& request) override {
        shown.push_back(request);
        if (whileShown) {
            whileShown();
        }
        if (answers.empty()) {
            return {};
        }
        AlertResponse answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

}  // namespace gaugely
