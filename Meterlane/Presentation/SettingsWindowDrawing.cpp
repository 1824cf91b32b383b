#include "Meterlane/Presentation/SettingsWindowDrawing.h"

namespace gaugely {

SettingsWindowDrawing::SettingsWindowDrawing(MainQueue& queue,
                                             std::function<SettingsViewModel()> model,
                                             SettingsWindowSurface surface)
    : queue_(queue), model_(std::move(model)), surface_(std::move(surface)) {}

void SettingsWindowDrawing::draw(const SettingsViewModel& model) {
    drawn_ = model;
    if (surface_.draw) {
        surface_.draw(model);
    }
}

void SettingsWindowDrawing::show(const std::optional<std::string>& section) {
    shown_ = true;
    draw(model_());
    if (surface_.bringForward) {
        surface_.bringForward();
    }
    if (section && surface_.scrollToSection) {
        surface_.scrollToSection(*section);
    }
}

void SettingsWindowDrawing::closed() {
    shown_ = false;
    drawn_.reset();
}

void SettingsWindowDrawing::modelsChanged() {
    if (!shown_) {
        return;
    }
    SettingsViewModel model = model_();
    if (drawn_ && *drawn_ == model) {
        return;
    }
    draw(model);
}

void SettingsWindowDrawing::actionPerformed() {
    if (!shown_ || pendingRedraw_) {
        return;
    }
    pendingRedraw_ = queue_.async([this] {
        pendingRedraw_.cancel();
        if (shown_) {
            draw(model_());
        }
    });
}

}  // namespace gaugely
