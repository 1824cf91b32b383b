#pragma once

// The accessibility port with a stopwatch: every call goes to the platform's port unchanged and
// its duration is kept by call kind, so the verification can say what a round trip to Codex
// costs on this Mac and how many the app's own refresh made. An observer may watch every
// attribute read's results (the verification notes where Codex's menu turns up).
//
// Calls may come from any thread, one at a time or not: the samples are guarded by a lock of
// their own, and the observer is called on the caller's thread, outside it.

#include <cstddef>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Verification/LatencyStatistics.h"

namespace gaugely {

class TimedAccessibility final : public Accessibility {
  public:
    struct Sample {
        AXCall call = AXCall::copyAttributeValue;
        double seconds = 0;
    };
    using ReadObserver =
        std::function<void(const AXElement& element, std::span<const std::string_view> attributes,
                           std::span<const AXAttributeResult> results)>;

    TimedAccessibility(Accessibility& platform, Clock& clock)
        : platform_(platform), clock_(clock) {}

    // Set before the port is shared: it is read without the lock.
    void setReadObserver(ReadObserver observer) { observer_ = std::move(observer); }

    // A position in the samples, to take those after it.
    [[nodiscard]] std::size_t mark() const;
    [[nodiscard]] std::vector<Sample> samplesSince(std::size_t mark) const;
    // Round trips to the target since the mark (making an element and asking about our own
    // trust are local).
    [[nodiscard]] std::size_t roundTripsSince(std::size_t mark) const;
    // Per call kind (those with samples, in the port's order), since the mark.
    [[nodiscard]] std::vector<CallLatency> latencySince(std::size_t mark) const;
    // Every round trip since the mark, whatever its kind: what the cost model charges each.
    [[nodiscard]] LatencySummary roundTripLatencySince(std::size_t mark) const;

    AXElement applicationElement(ProcessID pid) override;
    // Local calls, passed on untimed.
    AXElement systemWideElement() override { return platform_.systemWideElement(); }
    int32_t setMessagingTimeout(const AXElement& element, double seconds) override {
        return platform_.setMessagingTimeout(element, seconds);
    }
    AXAttributeResult copyAttributeValue(const AXElement& element,
                                         std::string_view attribute) override;
    std::vector<AXAttributeResult> copyMultipleAttributeValues(
        const AXElement& element, std::span<const std::string_view> attributes) override;
    std::optional<std::vector<std::string>> copyActionNames(const AXElement& element) override;
    AXElementAtPositionResult elementAtPosition(const AXElement& application, Point point) override;
    bool isProcessTrusted(bool prompt) override;

  private:
    template <class Call>
    auto timed(AXCall kind, Call&& call);

    Accessibility& platform_;
    Clock& clock_;
    ReadObserver observer_;
    mutable std::mutex mutex_;
    std::vector<Sample> samples_;
};

}  // namespace gaugely
