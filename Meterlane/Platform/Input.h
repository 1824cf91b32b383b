#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Meterlane/Platform/Accessibility.h"

namespace gaugely {

// Event types as the platform numbers them (the tap's mask is built from these).
enum class InputEventType : uint32_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    rightMouseDown = 3,
    rightMouseUp = 4,
    mouseMoved = 5,
    keyDown = 10,
    keyUp = 11,
    flagsChanged = 12,
    scrollWheel = 22,
    otherMouseDown = 25,
    otherMouseUp = 26,
    tapDisabledByTimeout = 0xFFFFFFFE,
    tapDisabledByUserInput = 0xFFFFFFFF,
};

constexpr uint64_t eventMaskBit(InputEventType type) {
    return uint64_t{1} << static_cast<uint32_t>(type);
}

// A listen-only event tap. Destroying it removes it from the run loop and invalidates it.
class InputEventTap {
  public:
    virtual ~InputEventTap() = default;
    virtual void setEnabled(bool enabled) = 0;
};

// Synthetic input and the observation of real input.
class Input {
  public:
    virtual ~Input() = default;

    // One mouse event (moved, left down or left up, left button) at a global top-left point,
    // from a fresh HID-system-state source, with `userData` in the source user-data field,
    // posted at the HID event tap. False when the source or event could not be created.
    [[nodiscard]] virtual bool postMouseEvent(InputEventType type, Point point,
                                              uint64_t userData) = 0;

    // One key press: a single HID-system-state source, key down and key up both created and
    // marked with `userData`, then both posted. False (and nothing posted) when any creation fails.
    [[nodiscard]] virtual bool postKeyPress(uint16_t virtualKeyCode, uint64_t userData) = 0;

    // A listen-only session tap at the head for the event types in `eventMask`, delivered on the
    // main thread with the event's type and its source user-data field; none on failure.
    using TapCallback = std::function<void(InputEventType type, int64_t userData)>;
    [[nodiscard]] virtual std::unique_ptr<InputEventTap> createListenOnlyTap(
        uint64_t eventMask, TapCallback callback) = 0;

    // Seconds since the last input event of any type (combined session state).
    virtual double secondsSinceLastInputEvent() = 0;

    // Whether this process may listen to keyboard events (macOS's Input Monitoring permission),
    // asked without a prompt. Without it the platform still makes a tap, silently stripped of the
    // key events, so a tap's existence says nothing about the user's typing being seen.
    [[nodiscard]] virtual bool preflightListenEventAccess() = 0;
    // Asks for that permission, which may show the system's prompt the first time; true when
    // it is granted.
    virtual bool requestListenEventAccess() = 0;
};

}  // namespace gaugely
