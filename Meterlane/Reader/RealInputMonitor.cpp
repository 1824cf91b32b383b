#include "Meterlane/Reader/RealInputMonitor.h"

namespace gaugely {

uint64_t RealInputMonitor::monitoredEventMask() {
    static const uint64_t mask = [] {
        uint64_t bits = 0;
        for (const InputEventType type :
             {InputEventType::mouseMoved, InputEventType::leftMouseDown,
              InputEventType::leftMouseUp, InputEventType::rightMouseDown,
              InputEventType::rightMouseUp, InputEventType::otherMouseDown,
              InputEventType::otherMouseUp, InputEventType::keyDown, InputEventType::keyUp,
              InputEventType::flagsChanged, InputEventType::scrollWheel}) {
            bits |= eventMaskBit(type);
        }
        return bits;
    }();
    return mask;
}

bool RealInputMonitor::start() {
    if (eventTap_) {
        return false;
    }
    // Without the permission the platform would still make a tap, blind to the keyboard: a guard
    // that cannot see typing is no guard, so this counts as a tap that could not be made.
    if (!input_.preflightListenEventAccess()) {
        return false;
    }
    context_ = std::make_shared<RealInputMonitor*>(this);
    std::weak_ptr<RealInputMonitor*> context = context_;
    eventTap_ = input_.createListenOnlyTap(
        monitoredEventMask(), [context](InputEventType type, int64_t userData) {
            const std::shared_ptr<RealInputMonitor*> monitor = context.lock();
            if (!monitor || *monitor == nullptr) {
                return;
            }
            (*monitor)->realInputMonitorCallback(type, userData);
        });
    if (!eventTap_) {
        context_.reset();
        return false;
    }
    eventTap_->setEnabled(true);
    return true;
}

void RealInputMonitor::stop() {
    eventTap_.reset();
    context_.reset();
}

void RealInputMonitor::realInputMonitorCallback(InputEventType type, int64_t userData) {
    if (type == InputEventType::tapDisabledByTimeout ||
        type == InputEventType::tapDisabledByUserInput) {
        // The system switches a tap off when it is slow or when the user intervenes; only the
        // latter is the user's doing.
        if (eventTap_) {
            eventTap_->setEnabled(true);
        }
        if (type == InputEventType::tapDisabledByUserInput) {
            realInputDetected_ = true;
        }
        return;
    }
    if (static_cast<uint64_t>(userData) != syntheticEventMarker) {
        realInputDetected_ = true;
    }
}

}  // namespace gaugely
