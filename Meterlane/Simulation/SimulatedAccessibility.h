#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Simulation/SimulatedTree.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// The calls of the accessibility port, for counting.
enum class AXCall {
    applicationElement,
    copyAttributeValue,
    copyMultipleAttributeValues,
    copyActionNames,
    elementAtPosition,
    isProcessTrusted,
};

template <>
struct EnumTraits<AXCall> {
    static constexpr std::array<std::pair<AXCall, std::string_view>, 6> cases{{
        {AXCall::applicationElement, "applicationElement"},
        {AXCall::copyAttributeValue, "copyAttributeValue"},
        {AXCall::copyMultipleAttributeValues, "copyMultipleAttributeValues"},
        {AXCall::copyActionNames, "copyActionNames"},
        {AXCall::elementAtPosition, "elementAtPosition"},
        {AXCall::isProcessTrusted, "isProcessTrusted"},
    }};
};

// Whether the call is a message to the target process (the cost that matters): making an
// application element and asking about our own trust are local.
constexpr bool isRoundTrip(AXCall call) {
    return call != AXCall::applicationElement && call != AXCall::isProcessTrusted;
}

// The accessibility API over one simulated process and its tree, with the faults a real one has:
// an untrusted caller (-25211 everywhere), a process that is gone (-25202), a hung one (any code
// for every call), reads of some attribute failing, a failing hit test. Calls are counted by
// kind so a benchmark can report round trips per refresh.
class SimulatedAccessibility : public Accessibility {
  public:
    explicit SimulatedAccessibility(SimulatedTree tree = SimulatedTree(), ProcessID pid = 4242);

    SimulatedTree& tree() { return tree_; }
    const SimulatedTree& tree() const { return tree_; }
    // A new tree has a new identity: handles into the old one become invalid.
    void setTree(SimulatedTree tree) { tree_ = std::move(tree); }
    ProcessID pid() const { return pid_; }
    void setPid(ProcessID pid) { pid_ = pid; }
    // A process that is gone answers every round trip with -25202.
    void setProcessAlive(bool alive) { alive_ = alive; }

    AXElement applicationElement(ProcessID pid) override;
    AXElement systemWideElement() override;
    // Recorded, not counted: the call is local.
    int32_t setMessagingTimeout(const AXElement& element, double seconds) override;
    AXAttributeResult copyAttributeValue(const AXElement& element,
                                         std::string_view attribute) override;
    std::vector<AXAttributeResult> copyMultipleAttributeValues(
        const AXElement& element, std::span<const std::string_view> attributes) override;
    std::optional<std::vector<std::string>> copyActionNames(const AXElement& element) override;
    AXElementAtPositionResult elementAtPosition(const AXElement& application, Point point) override;
    bool isProcessTrusted(bool prompt) override;

    // Fault knobs.
    bool trusted = true;
    std::optional<int32_t> everyCallFails;          // e.g. -25204 for a hung application
    std::optional<int32_t> elementAtPositionFails;  // the hit test alone
    // Reads of `attribute` fail with `code` on the elements `which` accepts (all when empty).
    void failAttribute(std::string_view attribute, int32_t code,
                       std::function<bool(NodeId)> which = {});
    void clearAttributeFailures() { attributeFailures_.clear(); }
    // Each round trip blocks the main thread this long (Electron apps take 10–50 ms a query).
    void setRoundTripCost(VirtualTime* time, double seconds);
    // What each round trip costs its caller (0 when no cost is set).
    double roundTripSeconds() const { return costClock_ ? roundTripSeconds_ : 0; }
    // Off while the accessibility worker makes the calls: they are still counted, but their time
    // is the worker's, charged to its own clock, and the main thread is not blocked.
    void setChargesMainThread(bool charges) { chargesMainThread_ = charges; }

    // The time the caller's main thread has spent blocked in round trips.
    double blockedSeconds() const { return blockedSeconds_; }
    // The time spent in round trips, on the main thread or the worker.
    double answeringSeconds() const { return answeringSeconds_; }

    // The last timeout set on an element equal to `element`; none when none was.
    std::optional<double> messagingTimeout(const AXElement& element) const;

    std::size_t callCount(AXCall call) const;
    std::size_t roundTrips() const;
    void resetCallCounts();
    // Trust checks made with the prompt.
    std::size_t trustPrompts() const { return trustPrompts_; }

    // A read as a client would get it (failures applied), without counting: for the simulator's
    // own look at its tree.
    AXAttributeResult readUncounted(NodeId node, std::string_view attribute) const;

  private:
    struct AttributeFailure {
        std::string attribute;
        int32_t code;
        std::function<bool(NodeId)> which;
    };

    // Counts the call and says how every round trip fails now, if it does.
    std::optional<int32_t> begin(AXCall call);
    std::optional<int32_t> processFailure() const;

    SimulatedTree tree_;
    ProcessID pid_;
    bool alive_ = true;
    std::vector<AttributeFailure> attributeFailures_;
    VirtualTime* costClock_ = nullptr;
    double roundTripSeconds_ = 0;
    double blockedSeconds_ = 0;
    double answeringSeconds_ = 0;
    bool chargesMainThread_ = true;
    std::vector<std::pair<AXElement, double>> messagingTimeouts_;
    std::array<std::size_t, 6> counts_{};
    std::size_t trustPrompts_ = 0;
};

}  // namespace gaugely
