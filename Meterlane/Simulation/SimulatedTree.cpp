#include "Meterlane/Simulation/SimulatedTree.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <unordered_set>

namespace gaugely {

namespace {

// Every tree gets its own identity, so handles of a replaced or relaunched tree never match.
uint64_t nextTreeIdentity() {
    static std::atomic<uint64_t> next{1};
    return next++;
}

// Attributes that most elements list: reading one that was not given is "no value". Anything
// else is "unsupported", which is how a real element answers for an attribute it never had.
constexpr std::array<std::string_view, 26> commonAttributes{
    "AXRole",
    "AXSubrole",
    "AXRoleDescription",
    "AXTitle",
    "AXDescription",
    "AXValue",
    "AXHelp",
    "AXIdentifier",
    "AXChildren",
    "AXParent",
    "AXHidden",
    "AXExpanded",
    "AXFocused",
    "AXEnabled",
    "AXSelected",
    "AXPosition",
    "AXSize",
    "AXWindow",
    "AXWindows",
    "AXMainWindow",
    "AXFocusedWindow",
    "AXFocusedUIElement",
    "AXTopLevelUIElement",
    "AXFrontmost",
    "AXMenuBar",
    "AXManualAccessibility",
};

bool isCommonAttribute(std::string_view attribute) {
    return std::find(commonAttributes.begin(), commonAttributes.end(), attribute) !=
           commonAttributes.end();
}

}  // namespace

bool SimulatedElement::equals(const Impl& other) const {
    const auto* element = dynamic_cast<const SimulatedElement*>(&other);
    return element && element->tree == tree && element->node == node;
}

std::size_t SimulatedElement::hash() const {
    return std::hash<uint64_t>{}(tree * 0x9E3779B97F4A7C15ull ^ node);
}

SimulatedTree::SimulatedTree(std::string_view rootRole) : identity_(nextTreeIdentity()) {
    nodes_[root_].attributes["AXRole"] = std::string(rootRole);
}

const SimulatedTree::Node* SimulatedTree::lookup(NodeId node) const {
    const auto found = nodes_.find(node);
    return found == nodes_.end() ? nullptr : &found->second;
}

SimulatedTree::Node* SimulatedTree::lookup(NodeId node) {
    const auto found = nodes_.find(node);
    return found == nodes_.end() ? nullptr : &found->second;
}

NodeId SimulatedTree::add(NodeId parent, std::string_view role) {
    const auto* owner = lookup(parent);
    return insert(parent, owner ? owner->children.size() : 0, role);
}

NodeId SimulatedTree::insert(NodeId parent, std::size_t index, std::string_view role) {
    auto* owner = lookup(parent);
    if (!owner) {
        return 0;
    }
    const NodeId id = nextId_++;
    index = std::min(index, owner->children.size());
    owner->children.insert(owner->children.begin() + static_cast<std::ptrdiff_t>(index), id);
    Node& node = nodes_[id];
    node.parent = parent;
    node.attributes["AXRole"] = std::string(role);
    return id;
}

void SimulatedTree::remove(NodeId node) {
    const auto* target = lookup(node);
    if (!target || node == root_) {
        return;
    }
    if (auto* parent = lookup(target->parent)) {
        std::erase(parent->children, node);
    }
    // Only owned children go with it; linked ones belong elsewhere.
    std::vector<NodeId> doomed{node};
    while (!doomed.empty()) {
        const NodeId id = doomed.back();
        doomed.pop_back();
        const auto* current = lookup(id);
        if (!current) {
            continue;
        }
        for (const NodeId child : current->children) {
            const auto* owned = lookup(child);
            if (owned && owned->parent == id) {
                doomed.push_back(child);
            }
        }
        nodes_.erase(id);
    }
}

NodeId SimulatedTree::replace(NodeId node) {
    auto* old = lookup(node);
    if (!old || node == root_) {
        return 0;
    }
    const NodeId id = nextId_++;
    Node fresh = std::move(*old);
    nodes_.erase(node);
    if (auto* parent = lookup(fresh.parent)) {
        std::replace(parent->children.begin(), parent->children.end(), node, id);
    }
    for (const NodeId child : fresh.children) {
        if (auto* owned = lookup(child); owned && owned->parent == node) {
            owned->parent = id;
        }
    }
    nodes_[id] = std::move(fresh);
    return id;
}

void SimulatedTree::link(NodeId parent, NodeId child) {
    if (auto* owner = lookup(parent); owner && contains(child)) {
        owner->children.push_back(child);
    }
}

void SimulatedTree::set(NodeId node, std::string_view attribute, AXValue value) {
    if (auto* target = lookup(node)) {
        target->attributes.insert_or_assign(std::string(attribute), std::move(value));
    }
}

void SimulatedTree::unset(NodeId node, std::string_view attribute) {
    if (auto* target = lookup(node)) {
        if (const auto found = target->attributes.find(attribute);
            found != target->attributes.end()) {
            target->attributes.erase(found);
        }
    }
}

void SimulatedTree::setError(NodeId node, std::string_view attribute, std::optional<int32_t> code) {
    auto* target = lookup(node);
    if (!target) {
        return;
    }
    if (code) {
        target->errors.insert_or_assign(std::string(attribute), *code);
    } else if (const auto found = target->errors.find(attribute); found != target->errors.end()) {
        target->errors.erase(found);
    }
}

void SimulatedTree::setFrame(NodeId node, const Rect& frame) {
    set(node, ax::position, frame.origin);
    set(node, ax::size, frame.size);
}

void SimulatedTree::setActions(NodeId node, std::vector<std::string> actions) {
    if (auto* target = lookup(node)) {
        target->actions = std::move(actions);
    }
}

void SimulatedTree::setActionsError(NodeId node, std::optional<int32_t> code) {
    if (auto* target = lookup(node)) {
        target->actionsError = code;
    }
}

std::string SimulatedTree::role(NodeId node) const {
    return text(node, ax::role).value_or(std::string());
}

std::optional<std::string> SimulatedTree::text(NodeId node, std::string_view attribute) const {
    const auto* target = lookup(node);
    if (!target) {
        return std::nullopt;
    }
    const auto found = target->attributes.find(attribute);
    if (found == target->attributes.end()) {
        return std::nullopt;
    }
    if (const auto* value = std::get_if<std::string>(&found->second)) {
        return *value;
    }
    return std::nullopt;
}

std::optional<bool> SimulatedTree::flag(NodeId node, std::string_view attribute) const {
    const auto* target = lookup(node);
    if (!target) {
        return std::nullopt;
    }
    const auto found = target->attributes.find(attribute);
    if (found == target->attributes.end()) {
        return std::nullopt;
    }
    if (const auto* value = std::get_if<bool>(&found->second)) {
        return *value;
    }
    return std::nullopt;
}

std::optional<Rect> SimulatedTree::frame(NodeId node) const {
    const auto* target = lookup(node);
    if (!target) {
        return std::nullopt;
    }
    const auto position = target->attributes.find(ax::position);
    const auto size = target->attributes.find(ax::size);
    if (position == target->attributes.end() || size == target->attributes.end()) {
        return std::nullopt;
    }
    const auto* origin = std::get_if<Point>(&position->second);
    const auto* extent = std::get_if<Size>(&size->second);
    if (!origin || !extent) {
        return std::nullopt;
    }
    return Rect{*origin, *extent};
}

std::vector<NodeId> SimulatedTree::children(NodeId node) const {
    std::vector<NodeId> result;
    if (const auto* target = lookup(node)) {
        for (const NodeId child : target->children) {
            if (contains(child)) {
                result.push_back(child);
            }
        }
    }
    return result;
}

std::optional<NodeId> SimulatedTree::parent(NodeId node) const {
    const auto* target = lookup(node);
    if (!target || !contains(target->parent)) {
        return std::nullopt;
    }
    return target->parent;
}

std::optional<std::size_t> SimulatedTree::indexInParent(NodeId node) const {
    const auto owner = parent(node);
    if (!owner) {
        return std::nullopt;
    }
    const auto siblings = children(*owner);
    const auto found = std::find(siblings.begin(), siblings.end(), node);
    return static_cast<std::size_t>(found - siblings.begin());
}

AXElement SimulatedTree::element(NodeId node) const {
    return AXElement(std::make_shared<SimulatedElement>(identity_, node));
}

std::optional<NodeId> SimulatedTree::node(const AXElement& element) const {
    const auto* impl = dynamic_cast<const SimulatedElement*>(element.impl());
    if (!impl || impl->tree != identity_) {
        return std::nullopt;
    }
    return impl->node;
}

AXAttributeResult SimulatedTree::read(NodeId node, std::string_view attribute) const {
    const auto* target = lookup(node);
    if (!target) {
        return {ax::invalidUIElement, {}};
    }
    if (const auto error = target->errors.find(attribute); error != target->errors.end()) {
        return {error->second, {}};
    }
    if (attribute == ax::children) {
        std::vector<AXElement> list;
        for (const NodeId child : children(node)) {
            list.push_back(element(child));
        }
        return {ax::success, std::move(list)};
    }
    if (attribute == ax::parent) {
        if (const auto owner = parent(node)) {
            return {ax::success, element(*owner)};
        }
        return {ax::noValue, {}};
    }
    if (const auto found = target->attributes.find(attribute); found != target->attributes.end()) {
        return {ax::success, found->second};
    }
    return {isCommonAttribute(attribute) ? ax::noValue : ax::attributeUnsupported, {}};
}

std::pair<int32_t, std::vector<std::string>> SimulatedTree::actionNames(NodeId node) const {
    const auto* target = lookup(node);
    if (!target) {
        return {ax::invalidUIElement, {}};
    }
    if (target->actionsError) {
        return {*target->actionsError, {}};
    }
    return {ax::success, target->actions};
}

std::optional<NodeId> SimulatedTree::hitTest(Point point) const {
    // Depth first, last child first (it is painted on top); on the way back up, the first element
    // whose frame holds the point is the deepest one of the topmost branch. Iterative, so a very
    // deep tree cannot exhaust the stack, and each node once, so a cyclic one ends.
    struct Step {
        NodeId node;
        std::size_t tried;
    };
    std::unordered_set<NodeId> visited{root_};
    std::vector<Step> stack{{root_, 0}};
    while (!stack.empty()) {
        Step& top = stack.back();
        const auto& list = nodes_.at(top.node).children;
        if (top.tried < list.size()) {
            const NodeId child = list[list.size() - 1 - top.tried];
            ++top.tried;
            if (contains(child) && flag(child, ax::hidden) != true &&
                visited.insert(child).second) {
                stack.push_back({child, 0});
            }
            continue;
        }
        const NodeId done = top.node;
        stack.pop_back();
        if (const auto bounds = frame(done); bounds && bounds->contains(point)) {
            return done;
        }
    }
    return std::nullopt;
}

std::optional<NodeId> SimulatedTree::find(const std::function<bool(NodeId)>& match,
                                          std::optional<NodeId> from) const {
    const NodeId start = from.value_or(root_);
    if (!contains(start)) {
        return std::nullopt;
    }
    std::unordered_set<NodeId> visited{start};
    std::vector<NodeId> stack{start};
    while (!stack.empty()) {
        const NodeId current = stack.back();
        stack.pop_back();
        if (match(current)) {
            return current;
        }
        const auto list = children(current);
        for (auto child = list.rbegin(); child != list.rend(); ++child) {
            if (visited.insert(*child).second) {
                stack.push_back(*child);
            }
        }
    }
    return std::nullopt;
}

std::optional<NodeId> SimulatedTree::findByRole(std::string_view role, std::string_view label,
                                                std::optional<NodeId> from) const {
    return find(
        [&](NodeId node) {
            if (this->role(node) != role) {
                return false;
            }
            if (label.empty()) {
                return true;
            }
            for (const auto attribute : {ax::title, ax::description, ax::value}) {
                if (text(node, attribute) == label) {
                    return true;
                }
            }
            return false;
        },
        from);
}

}  // namespace gaugely
