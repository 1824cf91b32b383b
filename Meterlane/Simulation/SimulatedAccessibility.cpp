#include "Meterlane/Simulation/SimulatedAccessibility.h"

namespace gaugely {

SimulatedAccessibility::SimulatedAccessibility(SimulatedTree tree, ProcessID pid)
    : tree_(std::move(tree)), pid_(pid) {}

std::optional<int32_t> SimulatedAccessibility::processFailure() const {
    if (!trusted) {
        return ax::apiDisabled;
    }
    if (!alive_) {
        return ax::invalidUIElement;
    }
    return everyCallFails;
}

std::optional<int32_t> SimulatedAccessibility::begin(AXCall call) {
    ++counts_[static_cast<std::size_t>(call)];
    if (isRoundTrip(call) && costClock_) {
        answeringSeconds_ += roundTripSeconds_;
        if (chargesMainThread_) {
            costClock_->block(roundTripSeconds_);
            blockedSeconds_ += roundTripSeconds_;
        }
    }
    return processFailure();
}

AXElement SimulatedAccessibility::applicationElement(ProcessID pid) {
    ++counts_[static_cast<std::size_t>(AXCall::applicationElement)];
    if (pid != pid_) {
        // The platform hands out an element for any pid; talking to it fails later.
        return AXElement(std::make_shared<SimulatedElement>(0, 0));
    }
    return tree_.element(tree_.root());
}

AXElement SimulatedAccessibility::systemWideElement() {
    // Of no tree: reading it fails, as only a few system-wide attributes exist on the platform.
    return AXElement(std::make_shared<SimulatedElement>(0, 1));
}

int32_t SimulatedAccessibility::setMessagingTimeout(const AXElement& element, double seconds) {
    if (!element || !(seconds >= 0)) {
        return ax::illegalArgument;
    }
    messagingTimeouts_.emplace_back(element, seconds);
    return ax::success;
}

std::optional<double> SimulatedAccessibility::messagingTimeout(const AXElement& element) const {
    for (auto set = messagingTimeouts_.rbegin(); set != messagingTimeouts_.rend(); ++set) {
        if (set->first == element) {
            return set->second;
        }
    }
    return std::nullopt;
}

AXAttributeResult SimulatedAccessibility::readUncounted(NodeId node,
                                                        std::string_view attribute) const {
    if (const auto failure = processFailure()) {
        return {*failure, {}};
    }
    if (tree_.contains(node)) {
        for (const auto& rule : attributeFailures_) {
            if (rule.attribute == attribute && (!rule.which || rule.which(node))) {
                return {rule.code, {}};
            }
        }
    }
    return tree_.read(node, attribute);
}

AXAttributeResult SimulatedAccessibility::copyAttributeValue(const AXElement& element,
                                                             std::string_view attribute) {
    if (const auto failure = begin(AXCall::copyAttributeValue)) {
        return {*failure, {}};
    }
    const auto node = tree_.node(element);
    if (!node) {
        return {ax::invalidUIElement, {}};
    }
    return readUncounted(*node, attribute);
}

std::vector<AXAttributeResult> SimulatedAccessibility::copyMultipleAttributeValues(
    const AXElement& element, std::span<const std::string_view> attributes) {
    // One message for all of them; a failure of the whole call shows in every slot.
    const auto failure = begin(AXCall::copyMultipleAttributeValues);
    const auto node = tree_.node(element);
    std::vector<AXAttributeResult> results;
    for (const auto attribute : attributes) {
        if (failure) {
            results.push_back({*failure, {}});
        } else if (!node) {
            results.push_back({ax::invalidUIElement, {}});
        } else {
            results.push_back(readUncounted(*node, attribute));
        }
    }
    return results;
}

std::optional<std::vector<std::string>> SimulatedAccessibility::copyActionNames(
    const AXElement& element) {
    if (begin(AXCall::copyActionNames)) {
        return std::nullopt;
    }
    const auto node = tree_.node(element);
    if (!node) {
        return std::nullopt;
    }
    auto [error, names] = tree_.actionNames(*node);
    if (error != ax::success) {
        return std::nullopt;
    }
    return names;
}

AXElementAtPositionResult SimulatedAccessibility::elementAtPosition(const AXElement& application,
                                                                    Point point) {
    if (const auto failure = begin(AXCall::elementAtPosition)) {
        return {*failure, {}};
    }
    const auto node = tree_.node(application);
    if (!node || !tree_.contains(*node)) {
        return {ax::invalidUIElement, {}};
    }
    if (*node != tree_.root()) {
        return {ax::illegalArgument, {}};
    }
    if (elementAtPositionFails) {
        return {*elementAtPositionFails, {}};
    }
    const auto hit = tree_.hitTest(point);
    if (!hit) {
        return {ax::noValue, {}};
    }
    return {ax::success, tree_.element(*hit)};
}

bool SimulatedAccessibility::isProcessTrusted(bool prompt) {
    ++counts_[static_cast<std::size_t>(AXCall::isProcessTrusted)];
    if (prompt) {
        ++trustPrompts_;
    }
    return trusted;
}

void SimulatedAccessibility::failAttribute(std::string_view attribute, int32_t code,
                                           std::function<bool(NodeId)> which) {
    attributeFailures_.push_back({std::string(attribute), code, std::move(which)});
}

void SimulatedAccessibility::setRoundTripCost(VirtualTime* time, double seconds) {
    costClock_ = time;
    roundTripSeconds_ = seconds;
}

std::size_t SimulatedAccessibility::callCount(AXCall call) const {
    return counts_[static_cast<std::size_t>(call)];
}

std::size_t SimulatedAccessibility::roundTrips() const {
    std::size_t total = 0;
    for (const auto call : allCases<AXCall>()) {
        if (isRoundTrip(call)) {
            total += callCount(call);
        }
    }
    return total;
}

void SimulatedAccessibility::resetCallCounts() {
    counts_.fill(0);
    trustPrompts_ = 0;
    blockedSeconds_ = 0;
    answeringSeconds_ = 0;
}

}  // namespace gaugely
