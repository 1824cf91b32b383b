#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Meterlane/Platform/Accessibility.h"

namespace gaugely {

using NodeId = uint64_t;

// The handle of a simulated element: which tree, which node. Equal handles name the same node of
// the same tree, however they were obtained, as the platform's CFEqual does.
class SimulatedElement final : public AXElement::Impl {
  public:
    SimulatedElement(uint64_t tree, NodeId node) : tree(tree), node(node) {}
    bool equals(const Impl& other) const override;
    std::size_t hash() const override;

    const uint64_t tree;
    const NodeId node;
};

// An accessibility tree as an application exposes it: elements with a role and attributes, child
// lists (which may point back up, as a buggy app's can), per-attribute read errors, action names
// and frames for hit testing. Reads answer as a real application would: an attribute not given is
// -25212 (no value) when it is one elements commonly have, -25205 (unsupported) otherwise, and a
// removed element is -25202 (invalid).
class SimulatedTree {
  public:
    explicit SimulatedTree(std::string_view rootRole = "AXApplication");
    SimulatedTree(SimulatedTree&&) noexcept = default;
    SimulatedTree& operator=(SimulatedTree&&) noexcept = default;
    SimulatedTree(const SimulatedTree&) = delete;
    SimulatedTree& operator=(const SimulatedTree&) = delete;

    // Builds a tree from indented text, one element per line, two spaces per level:
    //
    //   AXApplication title="Codex"
    //     AXWindow title="Codex" frame=0,0,1280,800
    //       AXPopUpButton description="Open profile menu" frame=20,700,32,32 expanded=false
    //       AXGroup children-error=-25205 hidden=true
    //       @2
    //
    // The first word is the role. Then key=value pairs: a key names an attribute (`title` is
    // AXTitle, `roleDescription` AXRoleDescription, a key starting with AX is taken as is); a
    // value is a "quoted string" (\" \\ \n \t escapes), true/false, a number, or a bare word
    // (a string). `frame=x,y,w,h` sets AXPosition and AXSize; `position=x,y` and `size=w,h` one
    // of them; `actions=AXPress,AXShowMenu` the action names; `<key>-error=<code>` makes reads of
    // that attribute fail (`actions-error` the action names, `children-error` the child list).
    // A line `@N` adds the N-th element declared (counting from 1) once more as a child here, for
    // cyclic and shared child lists. Blank lines and lines starting with # are skipped.
    // Malformed text gives none, with "line N: why" in `error`.
    static std::optional<SimulatedTree> fromFixture(std::string_view text,
                                                    std::string* error = nullptr);

    // The tree in the text `fromFixture` reads: reading it back gives the same tree.
    std::string toFixture() const;
    // Takes over the identity of `previous` (the same application a moment earlier): elements
    // found at the same place, with the same role and label, keep their handles; the others are
    // new. A recorded tree replayed after another behaves as one application's tree that changed.
    void continueIdentity(const SimulatedTree& previous);

    uint64_t identity() const { return identity_; }
    NodeId root() const { return root_; }
    bool contains(NodeId node) const { return nodes_.count(node) != 0; }
    std::size_t size() const { return nodes_.size(); }

    // Structure. New elements are appended (or inserted at `index`, clamped); removing an element
    // removes the elements it owns with it and invalidates their handles for good.
    NodeId add(NodeId parent, std::string_view role);
    NodeId insert(NodeId parent, std::size_t index, std::string_view role);
    void remove(NodeId node);
    // Puts a new element in the node's place, with its attributes and children: the old handle
    // becomes invalid, the new one reads the same. Returns the new node.
    NodeId replace(NodeId node);
    // Lists `child` under `parent` as well, without moving it: cycles and shared children.
    void link(NodeId parent, NodeId child);

    // Attributes, by the platform's names. AXChildren and AXParent follow the structure.
    void set(NodeId node, std::string_view attribute, AXValue value);
    void unset(NodeId node, std::string_view attribute);
    void setError(NodeId node, std::string_view attribute, std::optional<int32_t> code);
    void setFrame(NodeId node, const Rect& frame);
    void setActions(NodeId node, std::vector<std::string> actions);
    void setActionsError(NodeId node, std::optional<int32_t> code);

    // What is stored, without errors or counting: for the simulator and for tests.
    std::string role(NodeId node) const;
    std::optional<std::string> text(NodeId node, std::string_view attribute) const;
    std::optional<bool> flag(NodeId node, std::string_view attribute) const;
    std::optional<Rect> frame(NodeId node) const;
    std::vector<NodeId> children(NodeId node) const;
    std::optional<NodeId> parent(NodeId node) const;
    // The node's position among its parent's children.
    std::optional<std::size_t> indexInParent(NodeId node) const;

    // Handles.
    AXElement element(NodeId node) const;
    // The node a handle names, when the handle belongs to this tree (the node may be gone).
    std::optional<NodeId> node(const AXElement& element) const;

    // Reads as a client sees them.
    AXAttributeResult read(NodeId node, std::string_view attribute) const;
    // The action names, or the read's error code.
    std::pair<int32_t, std::vector<std::string>> actionNames(NodeId node) const;
    // The deepest element of the topmost branch whose frame contains the point: later siblings
    // are painted over earlier ones, hidden branches and elements without frames are not hit.
    std::optional<NodeId> hitTest(Point point) const;

    // The first node in document order (from `from`, default the root) that `match` accepts;
    // each node is visited once even in a cyclic tree.
    std::optional<NodeId> find(const std::function<bool(NodeId)>& match,
                               std::optional<NodeId> from = std::nullopt) const;
    // The first node of `role` whose title, description or value is `label` (any, when empty).
    std::optional<NodeId> findByRole(std::string_view role, std::string_view label = {},
                                     std::optional<NodeId> from = std::nullopt) const;

  private:
    struct Node {
        NodeId parent = 0;  // 0: none
        std::vector<NodeId> children;
        std::map<std::string, AXValue, std::less<>> attributes;
        std::map<std::string, int32_t, std::less<>> errors;
        std::vector<std::string> actions;
        std::optional<int32_t> actionsError;
    };

    const Node* lookup(NodeId node) const;
    Node* lookup(NodeId node);

    uint64_t identity_;
    NodeId root_ = 1;
    NodeId nextId_ = 2;
    std::unordered_map<NodeId, Node> nodes_;
};

}  // namespace gaugely
