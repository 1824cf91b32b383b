#pragma once

#include <cstdint>
#include <memory>

#include "Meterlane/Platform/Input.h"

namespace gaugely {

// Every synthetic event carries this in its source user-data field: the bytes "MLMONITO".
inline constexpr uint64_t syntheticEventMarker = 0x4D4C4D4F4E49544FULL;

namespace keycode {
inline constexpr uint16_t downArrow = 125;
inline constexpr uint16_t returnKey = 36;
inline constexpr uint16_t escape = 53;
}  // namespace keycode

// Watches, through a listen-only tap, for input that did not come from us. One monitor serves one
// synthetic sequence; once it has seen real input it stays tripped.
class RealInputMonitor {
  public:
    explicit RealInputMonitor(Input& input) : input_(input) {}
    ~RealInputMonitor() { stop(); }
    RealInputMonitor(const RealInputMonitor&) = delete;
    RealInputMonitor& operator=(const RealInputMonitor&) = delete;

    static uint64_t monitoredEventMask();

    // False when a tap exists already, when the process may not listen to the keyboard, or when
    // the platform refuses a tap.
    [[nodiscard]] bool start();
    void stop();

    bool realInputDetected() const { return realInputDetected_; }
    bool hasTap() const { return eventTap_ != nullptr; }

    // Every event the tap delivers; the event itself passes on unchanged.
    void realInputMonitorCallback(InputEventType type, int64_t userData);

  private:
    Input& input_;
    std::unique_ptr<InputEventTap> eventTap_;
    bool realInputDetected_ = false;
    // The tap may outlive a stop() inside its own callback; this lets late deliveries do nothing.
    std::shared_ptr<RealInputMonitor*> context_;
};

}  // namespace gaugely
