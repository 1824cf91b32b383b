#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Meterlane/Platform/Input.h"
#include "Meterlane/Platform/Workspace.h"
#include "Meterlane/Simulation/ObserverList.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// One input event as it travels through the simulated session.
struct InputEvent {
    InputEventType type = InputEventType::mouseMoved;
    Point point;           // mouse events
    uint16_t keyCode = 0;  // key events
    uint64_t userData = 0;
    double time = 0;  // monotonic seconds when it was posted
    bool operator==(const InputEvent&) const = default;
};

// The session's input: what the reader posts, what the user does, and the listen-only taps that
// watch both. Applications (the simulated Codex) see every event as it is posted; taps are told on
// the main queue, as a run-loop source would, so a tap callback never runs inside a step.
class FakeInput final : public Input {
  public:
    explicit FakeInput(VirtualTime& time);
    ~FakeInput() override;
    FakeInput(const FakeInput&) = delete;
    FakeInput& operator=(const FakeInput&) = delete;

    bool postMouseEvent(InputEventType type, Point point, uint64_t userData) override;
    bool postKeyPress(uint16_t virtualKeyCode, uint64_t userData) override;
    // Taps start enabled, as the platform creates them.
    std::unique_ptr<InputEventTap> createListenOnlyTap(uint64_t eventMask,
                                                       TapCallback callback) override;
    // Since the last event of any kind, synthetic ones included, as the combined session state
    // counts them.
    double secondsSinceLastInputEvent() override;
    bool preflightListenEventAccess() override { return listenEventAccess; }
    bool requestListenEventAccess() override;

    // Applications in the session; called at once with each event, synthetic or real.
    std::unique_ptr<Subscription> addListener(std::function<void(const InputEvent&)> listener);

    // The user at the keyboard or mouse: an unmarked event (user data 0).
    void injectRealInput(InputEventType type, Point point = {}, uint16_t keyCode = 0);
    void injectRealKeyPress(uint16_t keyCode);
    void injectRealClick(Point point);
    void setLastInputSecondsAgo(double seconds);

    // Every synthetic event posted, in order (a key press is its key down and key up).
    const std::vector<InputEvent>& postedEvents() const { return posted_; }
    // The key codes of the posted key presses, in order.
    std::vector<uint16_t> postedKeyPresses() const;
    void clearPostedEvents() { posted_.clear(); }

    // Fault knobs. Creation failures post nothing; a key press fails whole.
    bool tapCreationFails = false;
    // Input Monitoring permission. Without it a tap is still made, as the platform makes it: with
    // the keyboard's events taken out of its mask (none at all when nothing else is left).
    bool listenEventAccess = true;
    // Whether asking for the permission grants it (the user's answer to the system's prompt).
    bool requestGrantsListenEventAccess = false;
    std::size_t listenEventAccessRequests() const { return listenEventAccessRequests_; }
    std::optional<std::size_t> mouseEventsBeforeFailure;  // none: never fails
    std::optional<std::size_t> keyPressesBeforeFailure;   // none: never fails

    // Taps alive now, in creation order.
    std::size_t liveTapCount() const;
    std::size_t tapsCreated() const { return tapsCreated_; }
    bool tapIsEnabled(std::size_t index) const;
    // The system turns the tap off: it is told with `reason` (tapDisabledByTimeout or
    // tapDisabledByUserInput) and sees nothing until its owner enables it again.
    void disableTap(std::size_t index, InputEventType reason);
    void disableAllTaps(InputEventType reason);

  private:
    struct TapState;
    class Tap;

    void dispatch(const InputEvent& event);
    std::vector<std::shared_ptr<TapState>> liveTaps() const;

    VirtualTime& time_;
    double lastInput_;
    std::vector<InputEvent> posted_;
    std::size_t mouseEventsCreated_ = 0;
    std::size_t keyPressesCreated_ = 0;
    std::size_t tapsCreated_ = 0;
    std::size_t listenEventAccessRequests_ = 0;
    std::vector<std::weak_ptr<TapState>> taps_;
    ObserverList<const InputEvent&> listeners_;
};

}  // namespace gaugely
