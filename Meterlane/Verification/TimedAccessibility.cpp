#include "Meterlane/Verification/TimedAccessibility.h"

namespace gaugely {

template <class Call>
auto TimedAccessibility::timed(AXCall kind, Call&& call) {
    const double start = clock_.monotonicSeconds();
    auto result = call();
    const double seconds = clock_.monotonicSeconds() - start;
    const std::lock_guard lock(mutex_);
    samples_.push_back({kind, seconds});
    return result;
}

std::size_t TimedAccessibility::mark() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
}

std::vector<TimedAccessibility::Sample> TimedAccessibility::samplesSince(std::size_t mark) const {
    const std::lock_guard lock(mutex_);
    if (mark >= samples_.size()) {
        return {};
    }
    return {samples_.begin() + static_cast<std::ptrdiff_t>(mark), samples_.end()};
}

std::size_t TimedAccessibility::roundTripsSince(std::size_t mark) const {
    std::size_t trips = 0;
    for (const Sample& sample : samplesSince(mark)) {
        trips += isRoundTrip(sample.call) ? 1 : 0;
    }
    return trips;
}

std::vector<CallLatency> TimedAccessibility::latencySince(std::size_t mark) const {
    const std::vector<Sample> samples = samplesSince(mark);
    std::vector<CallLatency> result;
    for (const AXCall call : allCases<AXCall>()) {
        std::vector<double> seconds;
        for (const Sample& sample : samples) {
            if (sample.call == call) {
                seconds.push_back(sample.seconds);
            }
        }
        if (!seconds.empty()) {
            result.push_back({std::string(rawValue(call)), summarizeLatency(seconds)});
        }
    }
    return result;
}

LatencySummary TimedAccessibility::roundTripLatencySince(std::size_t mark) const {
    std::vector<double> seconds;
    for (const Sample& sample : samplesSince(mark)) {
        if (isRoundTrip(sample.call)) {
            seconds.push_back(sample.seconds);
        }
    }
    return summarizeLatency(seconds);
}

AXElement TimedAccessibility::applicationElement(ProcessID pid) {
    return timed(AXCall::applicationElement, [&] { return platform_.applicationElement(pid); });
}

AXAttributeResult TimedAccessibility::copyAttributeValue(const AXElement& element,
                                                         std::string_view attribute) {
    AXAttributeResult result = timed(AXCall::copyAttributeValue, [&] {
        return platform_.copyAttributeValue(element, attribute);
    });
    if (observer_) {
        const std::string_view names[] = {attribute};
        observer_(element, names, std::span(&result, 1));
    }
    return result;
}

std::vector<AXAttributeResult> TimedAccessibility::copyMultipleAttributeValues(
    const AXElement& element, std::span<const std::string_view> attributes) {
    std::vector<AXAttributeResult> results = timed(AXCall::copyMultipleAttributeValues, [&] {
        return platform_.copyMultipleAttributeValues(element, attributes);
    });
    if (observer_) {
        observer_(element, attributes, results);
    }
    return results;
}

std::optional<std::vector<std::string>> TimedAccessibility::copyActionNames(
    const AXElement& element) {
    return timed(AXCall::copyActionNames, [&] { return platform_.copyActionNames(element); });
}

AXElementAtPositionResult TimedAccessibility::elementAtPosition(const AXElement& application,
                                                                Point point) {
    return timed(AXCall::elementAtPosition,
                 [&] { return platform_.elementAtPosition(application, point); });
}

bool TimedAccessibility::isProcessTrusted(bool prompt) {
    return timed(AXCall::isProcessTrusted, [&] { return platform_.isProcessTrusted(prompt); });
}

}  // namespace gaugely
