#include "Meterlane/Verification/TreeWhereabouts.h"

#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"

namespace gaugely {

namespace {

constexpr std::string_view applicationRole = "AXApplication";
constexpr std::string_view webAreaRole = "AXWebArea";

}  // namespace

bool TreePlace::insideWebContent() const {
    return std::find(roles.begin(), roles.end(), webAreaRole) != roles.end();
}

std::string TreePlace::text() const {
    std::string result;
    for (const std::string& role : roles) {
        result += (result.empty() ? "" : " › ") + role;
    }
    return result;
}

void TreeWhereabouts::observe(const AXElement& element,
                              std::span<const std::string_view> attributes,
                              std::span<const AXAttributeResult> results) {
    if (!element) {
        return;
    }
    const std::lock_guard lock(mutex_);
    if (known_.size() > elementLimit) {
        known_.clear();
    }
    for (std::size_t index = 0; index < attributes.size() && index < results.size(); ++index) {
        const std::string_view name = attributes[index];
        const AXAttributeResult& result = results[index];
        if (name == "AXURL" && result.ok()) {
            ++urls_.answered;
            urls_.text += result.get<std::string>() ? 1 : 0;
        }
        if (name == ax::children) {
            if (const auto* children = result.get<std::vector<AXElement>>()) {
                for (const AXElement& child : *children) {
                    if (child && !(child == element)) {
                        known_[child].parent = element;
                    }
                }
            }
        } else if (name == ax::parent) {
            if (const auto* parent = result.get<AXElement>(); parent && *parent) {
                known_[element].parent = *parent;
            }
        } else if (const auto* text = result.get<std::string>()) {
            Known& entry = known_[element];
            if (name == ax::role) {
                entry.role = *text;
            } else if (name == ax::title) {
                entry.title = *text;
            } else if (name == ax::description) {
                entry.description = *text;
            }
        }
    }
    if (const auto found = known_.find(element); found != known_.end()) {
        sight(element, found->second);
    }
}

void TreeWhereabouts::sight(const AXElement& element, const Known& known) {
    if (!known.role) {
        return;
    }
    if (!menu_ && *known.role == ax::menuRole && codexVocabulary::isProfileLabel(known.title)) {
        menu_ = placeOf(element);
    } else if (!control_ && *known.role == ax::popUpButtonRole &&
               codexVocabulary::isProfileLabel(known.description)) {
        control_ = placeOf(element);
    }
}

TreePlace TreeWhereabouts::placeOf(const AXElement& element) const {
    TreePlace place;
    AXElement current = element;
    for (std::size_t step = 0; step < climbLimit; ++step) {
        const auto found = known_.find(current);
        const std::string role =
            found != known_.end() && found->second.role ? *found->second.role : "?";
        place.roles.push_back(role);
        if (role == applicationRole) {
            place.reachesApplication = true;
            break;
        }
        if (found == known_.end() || !found->second.parent) {
            break;
        }
        current = *found->second.parent;
    }
    std::reverse(place.roles.begin(), place.roles.end());
    return place;
}

void TreeWhereabouts::forgetSightings() {
    const std::lock_guard lock(mutex_);
    control_.reset();
    menu_.reset();
}

std::optional<TreePlace> TreeWhereabouts::profileControl() const {
    const std::lock_guard lock(mutex_);
    return control_;
}

TreeWhereabouts::URLAnswers TreeWhereabouts::urlAnswers() const {
    const std::lock_guard lock(mutex_);
    return urls_;
}

std::optional<TreePlace> TreeWhereabouts::profileMenu() const {
    const std::lock_guard lock(mutex_);
    return menu_;
}

}  // namespace gaugely
