#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace gaugely {

using ProcessID = int32_t;

// The platform's accessibility error codes that the reader tells apart.
namespace ax {
inline constexpr int32_t success = 0;
inline constexpr int32_t failure = -25200;
inline constexpr int32_t illegalArgument = -25201;
inline constexpr int32_t invalidUIElement = -25202;
inline constexpr int32_t cannotComplete = -25204;
inline constexpr int32_t attributeUnsupported = -25205;
inline constexpr int32_t notImplemented = -25208;
inline constexpr int32_t apiDisabled = -25211;
inline constexpr int32_t noValue = -25212;

// Attribute, role and action names, as the platform spells them.
inline constexpr std::string_view role = "AXRole";
inline constexpr std::string_view title = "AXTitle";
inline constexpr std::string_view description = "AXDescription";
inline constexpr std::string_view value = "AXValue";
inline constexpr std::string_view children = "AXChildren";
inline constexpr std::string_view parent = "AXParent";
inline constexpr std::string_view hidden = "AXHidden";
inline constexpr std::string_view expanded = "AXExpanded";
inline constexpr std::string_view focused = "AXFocused";
inline constexpr std::string_view position = "AXPosition";
inline constexpr std::string_view size = "AXSize";

inline constexpr std::string_view popUpButtonRole = "AXPopUpButton";
inline constexpr std::string_view menuRole = "AXMenu";
inline constexpr std::string_view menuItemRole = "AXMenuItem";
inline constexpr std::string_view menuBarRole = "AXMenuBar";

inline constexpr std::string_view pressAction = "AXPress";
}  // namespace ax

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    Point origin;
    Size size;

    // Edges included on the low side and excluded on the high side, as the platform's
    // rectangle test does; empty rectangles contain nothing.
    double minX() const { return origin.x; }
    double minY() const { return origin.y; }
    double maxX() const { return origin.x + size.width; }
    double maxY() const { return origin.y + size.height; }
    bool isEmpty() const { return !(size.width > 0) || !(size.height > 0); }
    bool contains(Point p) const {
        return !isEmpty() && p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
    }
    bool contains(const Rect& other) const {
        return !isEmpty() && !other.isEmpty() && other.minX() >= minX() && other.maxX() <= maxX() &&
               other.minY() >= minY() && other.maxY() <= maxY();
    }
    bool operator==(const Rect&) const = default;
};

// An opaque, reference-counted accessibility element. Two handles are equal when the platform
// says they denote the same element (CFEqual), never by handle identity.
class AXElement {
  public:
    class Impl {
      public:
        virtual ~Impl() = default;
        virtual bool equals(const Impl& other) const = 0;
        // Consistent with equals (CFHash on the platform), so handles can key a map.
        virtual std::size_t hash() const = 0;
    };

    AXElement() = default;
    explicit AXElement(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

    explicit operator bool() const { return impl_ != nullptr; }
    const Impl* impl() const { return impl_.get(); }

    friend bool operator==(const AXElement& a, const AXElement& b) {
        if (!a.impl_ || !b.impl_) {
            return !a.impl_ && !b.impl_;
        }
        return a.impl_ == b.impl_ || a.impl_->equals(*b.impl_);
    }

    std::size_t hash() const { return impl_ ? impl_->hash() : 0; }

  private:
    std::shared_ptr<const Impl> impl_;
};

struct AXElementHash {
    std::size_t operator()(const AXElement& element) const { return element.hash(); }
};

// An attribute value as the platform hands it over. `std::monostate` stands for a value of a type
// the reader never uses; it is a value, not an error.
using AXValue = std::variant<std::monostate, std::string, bool, double, std::vector<AXElement>,
                             AXElement, Point, Size>;

// The result of copying one attribute: an error code, or success with a value.
struct AXAttributeResult {
    int32_t error = ax::failure;
    AXValue value;

    bool ok() const { return error == ax::success; }
    template <class T>
    const T* get() const {
        return ok() ? std::get_if<T>(&value) : nullptr;
    }
};

struct AXElementAtPositionResult {
    int32_t error = ax::failure;
    AXElement element;
};

// The accessibility API, kept close to the platform's so the adapter only translates. Every call
// is a blocking round trip to the target process.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    virtual AXElement applicationElement(ProcessID pid) = 0;
    // The element that stands for the whole system; a messaging timeout set on it is this
    // process's default for every element.
    virtual AXElement systemWideElement() = 0;

    // How long a call on `element` waits for the target's answer before it fails with
    // `cannotComplete` (0: the system's default). Local: no round trip. Returns the error code.
    virtual int32_t setMessagingTimeout(const AXElement& element, double seconds) = 0;

    virtual AXAttributeResult copyAttributeValue(const AXElement& element,
                                                 std::string_view attribute) = 0;

    // Several attributes of one element in one round trip; one result per attribute, in order,
    // each keeping its own error.
    virtual std::vector<AXAttributeResult> copyMultipleAttributeValues(
        const AXElement& element, std::span<const std::string_view> attributes) = 0;

    // None when the names cannot be read.
    virtual std::optional<std::vector<std::string>> copyActionNames(const AXElement& element) = 0;

    // Hit test in global top-left screen coordinates, within the application element given.
    virtual AXElementAtPositionResult elementAtPosition(const AXElement& application,
                                                        Point point) = 0;

    // Whether this process may use the API; with `prompt`, the system may show its request.
    virtual bool isProcessTrusted(bool prompt) = 0;
};

}  // namespace gaugely
