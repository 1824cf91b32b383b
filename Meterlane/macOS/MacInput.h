#pragma once

#include "Meterlane/Platform/Input.h"

namespace gaugely {

// The Input port over Quartz events: posting at the HID event tap, a listen-only session tap on
// the main run loop, the combined session state's idle time, and the Input Monitoring permission
// (listen-event access).
class MacInput final : public Input {
  public:
    bool postMouseEvent(InputEventType type, Point point, uint64_t userData) override;
    bool postKeyPress(uint16_t virtualKeyCode, uint64_t userData) override;
    std::unique_ptr<InputEventTap> createListenOnlyTap(uint64_t eventMask,
                                                       TapCallback callback) override;
    double secondsSinceLastInputEvent() override;
    bool preflightListenEventAccess() override;
    bool requestListenEventAccess() override;
};

}  // namespace gaugely
