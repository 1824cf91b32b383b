// Writing a tree in the indented text that SimulatedTree::fromFixture reads, and carrying element
// identities from one tree to the next (for replaying recorded trees one after another).
#include <functional>
#include <iomanip>
#include <locale>
#include <map>
#include <sstream>
#include <unordered_map>

#include "Meterlane/Simulation/SimulatedTree.h"

namespace gaugely {

namespace {

std::string quotedText(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += c;
        }
    }
    return out + "\"";
}

std::string number(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::setprecision(15) << value;
    return out.str();
}

// The reader's short key for an attribute ("AXTitle" → "title"), or the full name where the
// short one would mean something else.
std::string keyFor(const std::string& attribute) {
    if (attribute.size() < 3 || attribute.substr(0, 2) != "AX" ||
        !std::isupper(static_cast<unsigned char>(attribute[2]))) {
        return attribute;
    }
    std::string key = attribute.substr(2);
    key[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(key[0])));
    if (key == "frame" || key == "actions" || key == "position" || key == "size" ||
        key.ends_with("-error")) {
        return attribute;
    }
    return key;
}

}  // namespace

std::string SimulatedTree::toFixture() const {
    std::ostringstream out;
    std::unordered_map<NodeId, std::size_t> declared;  // node → its @N
    std::function<void(NodeId, std::size_t)> write = [&](NodeId id, std::size_t depth) {
        const Node& node = nodes_.at(id);
        const std::string indent(depth * 2, ' ');
        declared.emplace(id, declared.size() + 1);
        out << indent << role(id);
        const auto position = node.attributes.find(std::string(ax::position));
        const auto size = node.attributes.find(std::string(ax::size));
        const bool frame = position != node.attributes.end() && size != node.attributes.end() &&
                           std::holds_alternative<Point>(position->second) &&
                           std::holds_alternative<Size>(size->second);
        if (frame) {
            const Point& p = std::get<Point>(position->second);
            const Size& s = std::get<Size>(size->second);
            out << " frame=" << number(p.x) << "," << number(p.y) << "," << number(s.width) << ","
                << number(s.height);
        }
        for (const auto& [name, value] : node.attributes) {
            if (name == ax::role || (frame && (name == ax::position || name == ax::size))) {
                continue;
            }
            if (const auto* text = std::get_if<std::string>(&value)) {
                out << " " << keyFor(name) << "=" << quotedText(*text);
            } else if (const auto* flag = std::get_if<bool>(&value)) {
                out << " " << keyFor(name) << "=" << (*flag ? "true" : "false");
            } else if (const auto* real = std::get_if<double>(&value)) {
                out << " " << keyFor(name) << "=" << number(*real);
            } else if (const auto* point = std::get_if<Point>(&value)) {
                out << " position=" << number(point->x) << "," << number(point->y);
            } else if (const auto* extent = std::get_if<Size>(&value)) {
                out << " size=" << number(extent->width) << "," << number(extent->height);
            }
        }
        for (const auto& [name, code] : node.errors) {
            out << " " << keyFor(name) << "-error=" << code;
        }
        if (!node.actions.empty()) {
            out << " actions=";
            for (std::size_t i = 0; i < node.actions.size(); ++i) {
                out << (i ? "," : "") << node.actions[i];
            }
        }
        if (node.actionsError) {
            out << " actions-error=" << *node.actionsError;
        }
        out << "\n";
        for (const NodeId child : node.children) {
            const Node* owned = lookup(child);
            if (owned && owned->parent == id && !declared.contains(child)) {
                write(child, depth + 1);
            } else if (const auto known = declared.find(child); known != declared.end()) {
                out << indent << "  @" << known->second << "\n";
            } else {
                // A link ahead of the element it names cannot be written; the tree keeps it.
                out << indent << "  # a link to an element declared later is left out\n";
            }
        }
    };
    write(root_, 0);
    return out.str();
}

void SimulatedTree::continueIdentity(const SimulatedTree& previous) {
    // An element is the same as the previous tree's when the path to it matches step by step:
    // same role and label, and the same place among siblings that share both.
    auto keyOf = [](const SimulatedTree& tree, NodeId node) {
        const std::string label =
            tree.text(node, ax::title).value_or(tree.text(node, ax::description).value_or(""));
        return tree.role(node) + '\x1f' + label;
    };
    std::unordered_map<NodeId, NodeId> renumbered{{root_, previous.root_}};
    std::vector<std::pair<NodeId, NodeId>> pending{{root_, previous.root_}};
    while (!pending.empty()) {
        const auto [mine, theirs] = pending.back();
        pending.pop_back();
        std::map<std::string, std::vector<NodeId>> candidates;
        for (const NodeId child : previous.children(theirs)) {
            if (previous.parent(child) == theirs) {
                candidates[keyOf(previous, child)].push_back(child);
            }
        }
        std::map<std::string, std::size_t> used;
        for (const NodeId child : children(mine)) {
            if (parent(child) != mine || renumbered.contains(child)) {
                continue;
            }
            const std::string key = keyOf(*this, child);
            const std::size_t index = used[key]++;
            const auto found = candidates.find(key);
            if (found != candidates.end() && index < found->second.size()) {
                renumbered.emplace(child, found->second[index]);
                pending.emplace_back(child, found->second[index]);
            }
        }
    }
    NodeId next = std::max(nextId_, previous.nextId_);
    for (const auto& [id, node] : nodes_) {
        if (!renumbered.contains(id)) {
            renumbered.emplace(id, next++);
        }
    }
    std::unordered_map<NodeId, Node> nodes;
    for (auto& [id, node] : nodes_) {
        Node moved = std::move(node);
        moved.parent = moved.parent ? renumbered.at(moved.parent) : 0;
        for (NodeId& child : moved.children) {
            child = renumbered.at(child);
        }
        nodes.emplace(renumbered.at(id), std::move(moved));
    }
    nodes_ = std::move(nodes);
    root_ = previous.root_;
    nextId_ = next;
    identity_ = previous.identity_;
}

}  // namespace gaugely
