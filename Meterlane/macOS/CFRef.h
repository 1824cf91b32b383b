#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <utility>

namespace gaugely {

// Owns one Core Foundation reference: released with the holder, retained again when copied.
// `adopt` takes over a reference from a Create or Copy call; `retain` shares one obtained by a Get
// call (or handed to a callback), which the caller does not own.
template <class T>
class CFRef {
  public:
    CFRef() = default;
    CFRef(std::nullptr_t) {}

    static CFRef adopt(T ref) {
        CFRef owner;
        owner.ref_ = ref;
        return owner;
    }
    static CFRef retain(T ref) {
        if (ref) {
            CFRetain(ref);
        }
        return adopt(ref);
    }

    CFRef(const CFRef& other) : ref_(other.ref_) {
        if (ref_) {
            CFRetain(ref_);
        }
    }
    CFRef(CFRef&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFRef& operator=(CFRef other) noexcept {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~CFRef() { reset(); }

    T get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

    void reset() {
        if (ref_) {
            CFRelease(std::exchange(ref_, nullptr));
        }
    }

    // The slot for a Create-style out parameter (`CFTypeRef* value`); drops what was held.
    T* receive() {
        reset();
        return &ref_;
    }

  private:
    T ref_ = nullptr;
};

}  // namespace gaugely
