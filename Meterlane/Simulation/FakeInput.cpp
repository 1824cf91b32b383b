#include "Meterlane/Simulation/FakeInput.h"

#include <algorithm>

namespace gaugely {

struct FakeInput::TapState {
    uint64_t mask = 0;
    TapCallback callback;
    bool enabled = true;
};

class FakeInput::Tap final : public InputEventTap {
  public:
    explicit Tap(std::shared_ptr<TapState> state) : state_(std::move(state)) {}
    void setEnabled(bool enabled) override { state_->enabled = enabled; }

  private:
    // Pending deliveries hold the state weakly, so a destroyed tap is told nothing more.
    std::shared_ptr<TapState> state_;
};

namespace {

// The session starts with the user away for an hour, so automatic runs may start at once.
constexpr double initialIdleSeconds = 3600;

bool isDisablement(InputEventType type) {
    return type == InputEventType::tapDisabledByTimeout ||
           type == InputEventType::tapDisabledByUserInput;
}

bool maskIncludes(uint64_t mask, InputEventType type) {
    return static_cast<uint32_t>(type) < 64 && (mask & eventMaskBit(type)) != 0;
}

}  // namespace

FakeInput::FakeInput(VirtualTime& time)
    : time_(time), lastInput_(time.monotonicSeconds() - initialIdleSeconds) {}

FakeInput::~FakeInput() = default;

bool FakeInput::postMouseEvent(InputEventType type, Point point, uint64_t userData) {
    if (mouseEventsBeforeFailure && mouseEventsCreated_ >= *mouseEventsBeforeFailure) {
        return false;
    }
    ++mouseEventsCreated_;
    const InputEvent event{type, point, 0, userData, time_.monotonicSeconds()};
    posted_.push_back(event);
    dispatch(event);
    return true;
}

bool FakeInput::postKeyPress(uint16_t virtualKeyCode, uint64_t userData) {
    if (keyPressesBeforeFailure && keyPressesCreated_ >= *keyPressesBeforeFailure) {
        return false;
    }
    ++keyPressesCreated_;
    for (const auto type : {InputEventType::keyDown, InputEventType::keyUp}) {
        const InputEvent event{type, {}, virtualKeyCode, userData, time_.monotonicSeconds()};
        posted_.push_back(event);
        dispatch(event);
    }
    return true;
}

std::unique_ptr<InputEventTap> FakeInput::createListenOnlyTap(uint64_t eventMask,
                                                              TapCallback callback) {
    if (tapCreationFails) {
        return nullptr;
    }
    if (!listenEventAccess) {
        eventMask &= ~(eventMaskBit(InputEventType::keyDown) | eventMaskBit(InputEventType::keyUp) |
                       eventMaskBit(InputEventType::flagsChanged));
        if (eventMask == 0) {
            return nullptr;
        }
    }
    auto state = std::make_shared<TapState>();
    state->mask = eventMask;
    state->callback = std::move(callback);
    std::erase_if(taps_, [](const auto& tap) { return tap.expired(); });
    taps_.push_back(state);
    ++tapsCreated_;
    return std::make_unique<Tap>(std::move(state));
}

bool FakeInput::requestListenEventAccess() {
    ++listenEventAccessRequests_;
    listenEventAccess = listenEventAccess || requestGrantsListenEventAccess;
    return listenEventAccess;
}

double FakeInput::secondsSinceLastInputEvent() {
    return time_.monotonicSeconds() - lastInput_;
}

std::unique_ptr<Subscription> FakeInput::addListener(
    std::function<void(const InputEvent&)> listener) {
    return listeners_.add(std::move(listener));
}

void FakeInput::injectRealInput(InputEventType type, Point point, uint16_t keyCode) {
    dispatch(InputEvent{type, point, keyCode, 0, time_.monotonicSeconds()});
}

void FakeInput::injectRealKeyPress(uint16_t keyCode) {
    injectRealInput(InputEventType::keyDown, {}, keyCode);
    injectRealInput(InputEventType::keyUp, {}, keyCode);
}

void FakeInput::injectRealClick(Point point) {
    injectRealInput(InputEventType::leftMouseDown, point);
    injectRealInput(InputEventType::leftMouseUp, point);
}

void FakeInput::setLastInputSecondsAgo(double seconds) {
    lastInput_ = time_.monotonicSeconds() - seconds;
}

std::vector<uint16_t> FakeInput::postedKeyPresses() const {
    std::vector<uint16_t> codes;
    for (const auto& event : posted_) {
        if (event.type == InputEventType::keyDown) {
            codes.push_back(event.keyCode);
        }
    }
    return codes;
}

std::size_t FakeInput::liveTapCount() const {
    return liveTaps().size();
}

bool FakeInput::tapIsEnabled(std::size_t index) const {
    const auto taps = liveTaps();
    return index < taps.size() && taps[index]->enabled;
}

void FakeInput::disableTap(std::size_t index, InputEventType reason) {
    const auto taps = liveTaps();
    if (index >= taps.size() || !isDisablement(reason)) {
        return;
    }
    taps[index]->enabled = false;
    std::weak_ptr<TapState> weak = taps[index];
    time_.post([weak, reason] {
        if (auto tap = weak.lock(); tap && tap->callback) {
            tap->callback(reason, 0);
        }
    });
}

void FakeInput::disableAllTaps(InputEventType reason) {
    for (std::size_t index = 0; index < liveTapCount(); ++index) {
        disableTap(index, reason);
    }
}

void FakeInput::dispatch(const InputEvent& event) {
    lastInput_ = event.time;
    listeners_.notify(event);
    for (const auto& tap : liveTaps()) {
        if (!tap->enabled || !maskIncludes(tap->mask, event.type)) {
            continue;
        }
        std::weak_ptr<TapState> weak = tap;
        const auto type = event.type;
        const auto userData = static_cast<int64_t>(event.userData);
        time_.post([weak, type, userData] {
            if (auto live = weak.lock(); live && live->callback) {
                live->callback(type, userData);
            }
        });
    }
}

std::vector<std::shared_ptr<FakeInput::TapState>> FakeInput::liveTaps() const {
    std::vector<std::shared_ptr<TapState>> result;
    for (const auto& weak : taps_) {
        if (auto tap = weak.lock()) {
            result.push_back(std::move(tap));
        }
    }
    return result;
}

}  // namespace gaugely
