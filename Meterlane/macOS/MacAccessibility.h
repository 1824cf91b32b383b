#pragma once

#include <mutex>
#include <unordered_set>

#include <ApplicationServices/ApplicationServices.h>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// An element handle holding a retained AXUIElementRef.
class MacAXElement final : public AXElement::Impl {
  public:
    explicit MacAXElement(CFRef<AXUIElementRef> element) : element_(std::move(element)) {}

    bool equals(const Impl& other) const override;
    std::size_t hash() const override;
    AXUIElementRef ref() const { return element_.get(); }

    // Retains `element`; an empty handle for none.
    static AXElement wrap(AXUIElementRef element);
    // None for an empty handle or one that is not backed by the platform.
    static AXUIElementRef unwrap(const AXElement& element);

  private:
    CFRef<AXUIElementRef> element_;
};

// The Accessibility port over the HIServices C API.
class MacAccessibility final : public Accessibility {
  public:
    AXElement applicationElement(ProcessID pid) override;
    AXElement systemWideElement() override;
    int32_t setMessagingTimeout(const AXElement& element, double seconds) override;
    AXAttributeResult copyAttributeValue(const AXElement& element,
                                         std::string_view attribute) override;
    std::vector<AXAttributeResult> copyMultipleAttributeValues(
        const AXElement& element, std::span<const std::string_view> attributes) override;
    std::optional<std::vector<std::string>> copyActionNames(const AXElement& element) override;
    AXElementAtPositionResult elementAtPosition(const AXElement& application, Point point) override;
    bool isProcessTrusted(bool prompt) override;

  private:
    // The refresh asks from the accessibility worker's queue, verification from the main thread.
    std::mutex manualAccessibilityMutex_;
    std::unordered_set<ProcessID> manualAccessibilityEnabled_;
};

}  // namespace gaugely
