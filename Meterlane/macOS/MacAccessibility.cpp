#include "Meterlane/macOS/MacAccessibility.h"

#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

// The port copies Apple's error codes so the core can tell them apart; they must stay Apple's.
static_assert(ax::success == kAXErrorSuccess);
static_assert(ax::failure == kAXErrorFailure);
static_assert(ax::illegalArgument == kAXErrorIllegalArgument);
static_assert(ax::invalidUIElement == kAXErrorInvalidUIElement);
static_assert(ax::cannotComplete == kAXErrorCannotComplete);
static_assert(ax::attributeUnsupported == kAXErrorAttributeUnsupported);
static_assert(ax::notImplemented == kAXErrorNotImplemented);
static_assert(ax::apiDisabled == kAXErrorAPIDisabled);
static_assert(ax::noValue == kAXErrorNoValue);

namespace {

AXValue translate(CFTypeRef value) {
    if (!value) {
        return std::monostate{};
    }
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) {
        return stringFromCFString(static_cast<CFStringRef>(value));
    }
    if (type == CFBooleanGetTypeID()) {
        return static_cast<bool>(CFBooleanGetValue(static_cast<CFBooleanRef>(value)));
    }
    if (type == CFNumberGetTypeID()) {
        double number = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &number);
        return number;
    }
    if (type == AXUIElementGetTypeID()) {
        return MacAXElement::wrap(static_cast<AXUIElementRef>(value));
    }
    if (type == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(value);
        const CFIndex count = CFArrayGetCount(array);
        std::vector<AXElement> elements;
        elements.reserve(static_cast<std::size_t>(count));
        for (CFIndex index = 0; index < count; ++index) {
            const CFTypeRef item = CFArrayGetValueAtIndex(array, index);
            if (!item || CFGetTypeID(item) != AXUIElementGetTypeID()) {
                return std::monostate{};
            }
            elements.push_back(MacAXElement::wrap(static_cast<AXUIElementRef>(item)));
        }
        return elements;
    }
    if (type == AXValueGetTypeID()) {
        const auto geometry = static_cast<AXValueRef>(value);
        switch (AXValueGetType(geometry)) {
            case kAXValueTypeCGPoint: {
                CGPoint point{};
                if (AXValueGetValue(geometry, kAXValueTypeCGPoint, &point)) {
                    return Point{point.x, point.y};
                }
                break;
            }
            case kAXValueTypeCGSize: {
                CGSize size{};
                if (AXValueGetValue(geometry, kAXValueTypeCGSize, &size)) {
                    return Size{size.width, size.height};
                }
                break;
            }
            default:
                break;
        }
    }
    return std::monostate{};
}

// One slot of a multiple-attribute copy: a failed attribute comes back as an AXValue wrapping its
// error, or as kCFNull when it simply has no value.
AXAttributeResult translateSlot(CFTypeRef slot) {
    if (!slot || CFGetTypeID(slot) == CFNullGetTypeID()) {
        return {ax::noValue, {}};
    }
    if (CFGetTypeID(slot) == AXValueGetTypeID() &&
        AXValueGetType(static_cast<AXValueRef>(slot)) == kAXValueTypeAXError) {
        AXError error = kAXErrorFailure;
        AXValueGetValue(static_cast<AXValueRef>(slot), kAXValueTypeAXError, &error);
        return {static_cast<int32_t>(error), {}};
    }
    return {ax::success, translate(slot)};
}

}  // namespace

bool MacAXElement::equals(const Impl& other) const {
    const auto* platform = dynamic_cast<const MacAXElement*>(&other);
    return platform && CFEqual(element_.get(), platform->element_.get());
}

std::size_t MacAXElement::hash() const {
    return static_cast<std::size_t>(CFHash(element_.get()));
}

AXElement MacAXElement::wrap(AXUIElementRef element) {
    if (!element) {
        return AXElement();
    }
    return AXElement(std::make_shared<MacAXElement>(CFRef<AXUIElementRef>::retain(element)));
}

AXUIElementRef MacAXElement::unwrap(const AXElement& element) {
    const auto* platform = dynamic_cast<const MacAXElement*>(element.impl());
    return platform ? platform->ref() : nullptr;
}

AXElement MacAccessibility::applicationElement(ProcessID pid) {
    const auto application = CFRef<AXUIElementRef>::adopt(AXUIElementCreateApplication(pid));
    if (!application) {
        return AXElement();
    }
    // Electron apps keep their web content's tree sparse until an assistive client asks for it;
    // an app that does not know the attribute just returns an error, which changes nothing. Once
    // a process has accepted it, asking again would only cost a round trip per step.
    bool enabled = false;
    {
        const std::lock_guard lock(manualAccessibilityMutex_);
        enabled = manualAccessibilityEnabled_.count(pid) != 0;
    }
    if (!enabled && AXUIElementSetAttributeValue(application.get(), CFSTR("AXManualAccessibility"),
                                                 kCFBooleanTrue) == kAXErrorSuccess) {
        const std::lock_guard lock(manualAccessibilityMutex_);
        manualAccessibilityEnabled_.insert(pid);
    }
    return AXElement(std::make_shared<MacAXElement>(application));
}

AXElement MacAccessibility::systemWideElement() {
    const auto systemWide = CFRef<AXUIElementRef>::adopt(AXUIElementCreateSystemWide());
    if (!systemWide) {
        return AXElement();
    }
    return AXElement(std::make_shared<MacAXElement>(systemWide));
}

int32_t MacAccessibility::setMessagingTimeout(const AXElement& element, double seconds) {
    const AXUIElementRef ref = MacAXElement::unwrap(element);
    if (!ref) {
        return kAXErrorIllegalArgument;
    }
    return AXUIElementSetMessagingTimeout(ref, static_cast<float>(seconds));
}

AXAttributeResult MacAccessibility::copyAttributeValue(const AXElement& element,
                                                       std::string_view attribute) {
    const AXUIElementRef platform = MacAXElement::unwrap(element);
    const auto name = makeCFString(attribute);
    if (!platform || !name) {
        return {ax::illegalArgument, {}};
    }
    CFRef<CFTypeRef> value;
    const AXError error = AXUIElementCopyAttributeValue(platform, name.get(), value.receive());
    if (error != kAXErrorSuccess) {
        return {static_cast<int32_t>(error), {}};
    }
    return {ax::success, translate(value.get())};
}

std::vector<AXAttributeResult> MacAccessibility::copyMultipleAttributeValues(
    const AXElement& element, std::span<const std::string_view> attributes) {
    std::vector<AXAttributeResult> results(attributes.size(), AXAttributeResult{});
    if (attributes.empty()) {
        return results;
    }
    const AXUIElementRef platform = MacAXElement::unwrap(element);
    const auto names = CFRef<CFMutableArrayRef>::adopt(CFArrayCreateMutable(
        kCFAllocatorDefault, static_cast<CFIndex>(attributes.size()), &kCFTypeArrayCallBacks));
    bool namesValid = platform && names;
    for (std::size_t index = 0; namesValid && index < attributes.size(); ++index) {
        const auto name = makeCFString(attributes[index]);
        namesValid = static_cast<bool>(name);
        if (namesValid) {
            CFArrayAppendValue(names.get(), name.get());
        }
    }
    if (!namesValid) {
        for (auto& result : results) {
            result.error = ax::illegalArgument;
        }
        return results;
    }

    // Options 0: keep going past a failed attribute, so each slot carries its own outcome.
    CFRef<CFArrayRef> values;
    const AXError error =
        AXUIElementCopyMultipleAttributeValues(platform, names.get(), 0, values.receive());
    if (error != kAXErrorSuccess || !values) {
        for (auto& result : results) {
            result.error = error != kAXErrorSuccess ? static_cast<int32_t>(error) : ax::failure;
        }
        return results;
    }
    const CFIndex count = CFArrayGetCount(values.get());
    for (std::size_t index = 0; index < results.size(); ++index) {
        const auto slot = static_cast<CFIndex>(index);
        results[index] = slot < count ? translateSlot(CFArrayGetValueAtIndex(values.get(), slot))
                                      : AXAttributeResult{ax::failure, {}};
    }
    return results;
}

std::optional<std::vector<std::string>> MacAccessibility::copyActionNames(
    const AXElement& element) {
    const AXUIElementRef platform = MacAXElement::unwrap(element);
    if (!platform) {
        return std::nullopt;
    }
    CFRef<CFArrayRef> names;
    if (AXUIElementCopyActionNames(platform, names.receive()) != kAXErrorSuccess || !names) {
        return std::nullopt;
    }
    std::vector<std::string> result;
    const CFIndex count = CFArrayGetCount(names.get());
    for (CFIndex index = 0; index < count; ++index) {
        const CFTypeRef name = CFArrayGetValueAtIndex(names.get(), index);
        if (name && CFGetTypeID(name) == CFStringGetTypeID()) {
            result.push_back(stringFromCFString(static_cast<CFStringRef>(name)));
        }
    }
    return result;
}

AXElementAtPositionResult MacAccessibility::elementAtPosition(const AXElement& application,
                                                              Point point) {
    const AXUIElementRef platform = MacAXElement::unwrap(application);
    if (!platform) {
        return {ax::illegalArgument, {}};
    }
    CFRef<AXUIElementRef> hit;
    const AXError error = AXUIElementCopyElementAtPosition(
        platform, static_cast<float>(point.x), static_cast<float>(point.y), hit.receive());
    if (error != kAXErrorSuccess) {
        return {static_cast<int32_t>(error), {}};
    }
    return {ax::success,
            hit ? AXElement(std::make_shared<MacAXElement>(std::move(hit))) : AXElement()};
}

bool MacAccessibility::isProcessTrusted(bool prompt) {
    const void* keys[] = {kAXTrustedCheckOptionPrompt};
    const void* values[] = {prompt ? kCFBooleanTrue : kCFBooleanFalse};
    const auto options = CFRef<CFDictionaryRef>::adopt(
        CFDictionaryCreate(kCFAllocatorDefault, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                           &kCFTypeDictionaryValueCallBacks));
    return AXIsProcessTrustedWithOptions(options.get());
}

}  // namespace gaugely
