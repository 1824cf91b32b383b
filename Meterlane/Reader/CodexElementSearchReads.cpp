// Single-attribute reads and the look for Codex among the running applications: each read is one
// blocking round trip to Codex, absent on any error or a value of another type.
#include <array>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "Meterlane/Reader/CodexElementSearch.h"

namespace gaugely {

namespace {

template <class T>
std::optional<T> valueOf(const AXAttributeResult& result) {
    if (const auto* value = result.get<T>()) {
        return *value;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> CodexTreeSearch::textAttribute(const AXElement& element,
                                                          std::string_view name) {
    return textOf(ax_.copyAttributeValue(element, name));
}

std::optional<bool> CodexTreeSearch::flagAttribute(const AXElement& element,
                                                   std::string_view name) {
    return flagOf(ax_.copyAttributeValue(element, name));
}

std::optional<std::vector<AXElement>> CodexTreeSearch::childrenAttribute(const AXElement& element) {
    const AXAttributeResult result = ax_.copyAttributeValue(element, ax::children);
    if (const auto* children = result.get<std::vector<AXElement>>()) {
        return *children;
    }
    return std::nullopt;
}

std::optional<Point> CodexTreeSearch::pointAttribute(const AXElement& element,
                                                     std::string_view name) {
    return valueOf<Point>(ax_.copyAttributeValue(element, name));
}

std::optional<Size> CodexTreeSearch::sizeAttribute(const AXElement& element,
                                                   std::string_view name) {
    return valueOf<Size>(ax_.copyAttributeValue(element, name));
}

std::vector<std::string> CodexTreeSearch::actionNames(const AXElement& element) {
    return ax_.copyActionNames(element).value_or(std::vector<std::string>{});
}

std::optional<Rect> CodexTreeSearch::frame(const AXElement& element) {
    static constexpr std::array<std::string_view, 2> names{ax::position, ax::size};
    const std::vector<AXAttributeResult> results = ax_.copyMultipleAttributeValues(element, names);
    if (results.size() != names.size()) {
        return std::nullopt;
    }
    const auto* position = results[0].get<Point>();
    const auto* size = results[1].get<Size>();
    if (position == nullptr || size == nullptr) {
        return std::nullopt;
    }
    return Rect{*position, *size};
}

std::optional<RunningApplication> CodexElementSearch::findCodexApplication() {
    for (const RunningApplication& application : workspace_.runningApplications()) {
        if (application.bundleIdentifier == codexVocabulary::bundleIdentifier &&
            application.activationPolicy == ActivationPolicy::regular) {
            return application;
        }
    }
    return std::nullopt;
}

AXElement CodexTreeSearch::applicationElement(ProcessID codex) {
    if (!processTimeoutSet_) {
        processTimeoutSet_ = ax_.setMessagingTimeout(ax_.systemWideElement(),
                                                     messagingTimeoutSeconds) == ax::success;
    }
    AXElement application = ax_.applicationElement(codex);
    if (application) {
        (void)ax_.setMessagingTimeout(application, messagingTimeoutSeconds);
    }
    return application;
}

bool CodexElementSearch::isCodexFrontmost() {
    const auto frontmost = workspace_.frontmostApplication();
    return frontmost && frontmost->bundleIdentifier == codexVocabulary::bundleIdentifier;
}

}  // namespace gaugely
