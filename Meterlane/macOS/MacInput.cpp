#include "Meterlane/macOS/MacInput.h"

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>

#include "Meterlane/Reader/RealInputMonitor.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// The port copies Apple's event types and the tap's disable notices so the core can decide on
// them; a tap callback casts the platform's type straight to ours.
static_assert(static_cast<CGEventType>(InputEventType::leftMouseDown) == kCGEventLeftMouseDown);
static_assert(static_cast<CGEventType>(InputEventType::leftMouseUp) == kCGEventLeftMouseUp);
static_assert(static_cast<CGEventType>(InputEventType::rightMouseDown) == kCGEventRightMouseDown);
static_assert(static_cast<CGEventType>(InputEventType::rightMouseUp) == kCGEventRightMouseUp);
static_assert(static_cast<CGEventType>(InputEventType::mouseMoved) == kCGEventMouseMoved);
static_assert(static_cast<CGEventType>(InputEventType::keyDown) == kCGEventKeyDown);
static_assert(static_cast<CGEventType>(InputEventType::keyUp) == kCGEventKeyUp);
static_assert(static_cast<CGEventType>(InputEventType::flagsChanged) == kCGEventFlagsChanged);
static_assert(static_cast<CGEventType>(InputEventType::scrollWheel) == kCGEventScrollWheel);
static_assert(static_cast<CGEventType>(InputEventType::otherMouseDown) == kCGEventOtherMouseDown);
static_assert(static_cast<CGEventType>(InputEventType::otherMouseUp) == kCGEventOtherMouseUp);
static_assert(static_cast<CGEventType>(InputEventType::tapDisabledByTimeout) ==
              kCGEventTapDisabledByTimeout);
static_assert(static_cast<CGEventType>(InputEventType::tapDisabledByUserInput) ==
              kCGEventTapDisabledByUserInput);
// The marker travels in the event source's user-data field, number 42.
static_assert(kCGEventSourceUserData == 42);
// Virtual key codes of the keys the run presses.
static_assert(keycode::downArrow == kVK_DownArrow);
static_assert(keycode::returnKey == kVK_Return);
static_assert(keycode::escape == kVK_Escape);

namespace {

void mark(CGEventRef event, uint64_t userData) {
    // The field is signed 64-bit; the marker travels as its bit pattern.
    CGEventSetIntegerValueField(event, kCGEventSourceUserData, static_cast<int64_t>(userData));
}

class MacInputEventTap final : public InputEventTap {
  public:
    explicit MacInputEventTap(Input::TapCallback callback)
        : callback_(std::make_shared<Input::TapCallback>(std::move(callback))) {}

    ~MacInputEventTap() override {
        if (source_) {
            CFRunLoopRemoveSource(CFRunLoopGetMain(), source_.get(), kCFRunLoopCommonModes);
        }
        if (port_) {
            CFMachPortInvalidate(port_.get());
        }
    }

    bool start(CGEventMask mask) {
        port_ = CFRef<CFMachPortRef>::adopt(
            CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionListenOnly,
                             mask, &MacInputEventTap::deliver, this));
        if (!port_) {
            return false;
        }
        source_ = CFRef<CFRunLoopSourceRef>::adopt(
            CFMachPortCreateRunLoopSource(kCFAllocatorDefault, port_.get(), 0));
        if (!source_) {
            return false;
        }
        CFRunLoopAddSource(CFRunLoopGetMain(), source_.get(), kCFRunLoopCommonModes);
        CGEventTapEnable(port_.get(), true);
        return true;
    }

    void setEnabled(bool enabled) override {
        if (port_) {
            CGEventTapEnable(port_.get(), enabled);
        }
    }

  private:
    // Runs on the main thread (the source is on the main run loop). It only reports; whether an
    // event is real input, and re-enabling a disabled tap, are the caller's business.
    static CGEventRef deliver(CGEventTapProxy, CGEventType type, CGEventRef event, void* context) {
        if (const auto* tap = static_cast<const MacInputEventTap*>(context)) {
            // Held here because the callback may destroy this tap.
            const std::shared_ptr<Input::TapCallback> callback = tap->callback_;
            const int64_t userData =
                event ? CGEventGetIntegerValueField(event, kCGEventSourceUserData) : 0;
            if (*callback) {
                (*callback)(static_cast<InputEventType>(type), userData);
            }
        }
        return event;
    }

    std::shared_ptr<Input::TapCallback> callback_;
    CFRef<CFMachPortRef> port_;
    CFRef<CFRunLoopSourceRef> source_;
};

}  // namespace

bool MacInput::postMouseEvent(InputEventType type, Point point, uint64_t userData) {
    CGMouseButton button = kCGMouseButtonLeft;
    switch (type) {
        case InputEventType::mouseMoved:
        case InputEventType::leftMouseDown:
        case InputEventType::leftMouseUp:
            button = kCGMouseButtonLeft;
            break;
        case InputEventType::rightMouseDown:
        case InputEventType::rightMouseUp:
            button = kCGMouseButtonRight;
            break;
        case InputEventType::otherMouseDown:
        case InputEventType::otherMouseUp:
            button = kCGMouseButtonCenter;
            break;
        default:
            return false;
    }
    const auto source =
        CFRef<CGEventSourceRef>::adopt(CGEventSourceCreate(kCGEventSourceStateHIDSystemState));
    if (!source) {
        return false;
    }
    const auto event = CFRef<CGEventRef>::adopt(CGEventCreateMouseEvent(
        source.get(), static_cast<CGEventType>(type), CGPointMake(point.x, point.y), button));
    if (!event) {
        return false;
    }
    mark(event.get(), userData);
    CGEventPost(kCGHIDEventTap, event.get());
    return true;
}

bool MacInput::postKeyPress(uint16_t virtualKeyCode, uint64_t userData) {
    const auto source =
        CFRef<CGEventSourceRef>::adopt(CGEventSourceCreate(kCGEventSourceStateHIDSystemState));
    if (!source) {
        return false;
    }
    const auto keyDown =
        CFRef<CGEventRef>::adopt(CGEventCreateKeyboardEvent(source.get(), virtualKeyCode, true));
    const auto keyUp =
        CFRef<CGEventRef>::adopt(CGEventCreateKeyboardEvent(source.get(), virtualKeyCode, false));
    if (!keyDown || !keyUp) {
        return false;
    }
    mark(keyDown.get(), userData);
    mark(keyUp.get(), userData);
    CGEventPost(kCGHIDEventTap, keyDown.get());
    CGEventPost(kCGHIDEventTap, keyUp.get());
    return true;
}

std::unique_ptr<InputEventTap> MacInput::createListenOnlyTap(uint64_t eventMask,
                                                             TapCallback callback) {
    // Made before the tap so the tap's context pointer is final.
    auto tap = std::make_unique<MacInputEventTap>(std::move(callback));
    if (!tap->start(static_cast<CGEventMask>(eventMask))) {
        return nullptr;
    }
    return tap;
}

double MacInput::secondsSinceLastInputEvent() {
    return CGEventSourceSecondsSinceLastEventType(kCGEventSourceStateCombinedSessionState,
                                                  kCGAnyInputEventType);
}

bool MacInput::preflightListenEventAccess() {
    return CGPreflightListenEventAccess();
}

bool MacInput::requestListenEventAccess() {
    return CGRequestListenEventAccess();
}

}  // namespace gaugely
