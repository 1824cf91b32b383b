#include "Meterlane/Simulation/ReplayedCodex.h"

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "Meterlane/Reader/RealInputMonitor.h"

namespace gaugely {

namespace {

// As quick as the simulated Codex: input reaches it, then the menu changes.
constexpr double menuOpenDelay = 0.13;
constexpr double expansionDelay = 0.09;
constexpr double closeDelay = 0.03;

}  // namespace

ReplayedCodex::ReplayedCodex(VirtualTime& time, FakeWorkspace& workspace, FakeInput& input,
                             CodexFixtureSet set, ProcessID pid)
    : SimulatedAccessibility(SimulatedTree(), pid),
      time_(time),
      workspace_(workspace),
      set_(std::move(set)) {
    if (auto tree = SimulatedTree::fromFixture(set_.closed)) {
        setTree(std::move(*tree));
    }
    workspace_.addApplication(
        {std::string(codexVocabulary::bundleIdentifier), pid, ActivationPolicy::regular});
    workspace_.setFrontmost(pid);
    listening_ = input.addListener([this](const InputEvent& event) { onInput(event); });
}

ReplayedCodex::~ReplayedCodex() = default;

void ReplayedCodex::later(double seconds, Stage from, Stage to) {
    reactions_.after(seconds, [this, from, to] {
        if (stage_ == from) {
            show(to);
        }
    });
}

void ReplayedCodex::show(Stage stage) {
    const std::string& text = stage == Stage::closed ? set_.closed
                              : stage == Stage::open ? set_.open
                                                     : set_.expanded;
    auto next = SimulatedTree::fromFixture(text);
    if (!next) {
        return;
    }
    next->continueIdentity(tree());
    setTree(std::move(*next));
    stage_ = stage;
    if (stage == Stage::closed) {
        focused_.reset();
    }
    applyFocus();
}

std::vector<NodeId> ReplayedCodex::menuItems() const {
    std::vector<NodeId> items;
    const auto menu = tree().findByRole(ax::menuRole, codexVocabulary::profileMenuLabel);
    if (!menu) {
        return items;
    }
    for (const NodeId child : tree().children(*menu)) {
        if (tree().role(child) == ax::menuItemRole) {
            items.push_back(child);
        }
    }
    return items;
}

void ReplayedCodex::applyFocus() {
    const auto items = menuItems();
    for (std::size_t i = 0; i < items.size(); ++i) {
        tree().set(items[i], ax::focused, focused_ == i);
    }
}

void ReplayedCodex::onInput(const InputEvent& event) {
    if (workspace_.frontmostPid() != pid()) {
        pressedDown_.reset();
        return;
    }
    if (event.type == InputEventType::leftMouseDown) {
        pressedDown_ = tree().hitTest(event.point);
        return;
    }
    if (event.type == InputEventType::leftMouseUp) {
        const auto target = tree().hitTest(event.point);
        const auto control =
            tree().findByRole(ax::popUpButtonRole, codexVocabulary::profileMenuLabel);
        bool onControl = false;
        for (auto node = target; node && control; node = tree().parent(*node)) {
            onControl = onControl || *node == *control;
        }
        if (pressedDown_ == target && onControl) {
            if (stage_ == Stage::closed) {
                later(menuOpenDelay, Stage::closed, Stage::open);
            } else {
                later(closeDelay, stage_, Stage::closed);
            }
        }
        pressedDown_.reset();
        return;
    }
    if (event.type != InputEventType::keyDown || stage_ == Stage::closed) {
        return;
    }
    const auto items = menuItems();
    if (event.keyCode == keycode::downArrow && !items.empty()) {
        focused_ = focused_ ? std::min(*focused_ + 1, items.size() - 1) : 0;
        applyFocus();
    } else if (event.keyCode == keycode::returnKey && focused_ && *focused_ < items.size() &&
               stage_ == Stage::open &&
               codexVocabulary::isUsageRemainingLine(
                   tree().text(items[*focused_], ax::title).value_or(""))) {
        later(expansionDelay, Stage::open, Stage::expanded);
    } else if (event.keyCode == keycode::escape) {
        later(closeDelay, stage_, Stage::closed);
    }
}

}  // namespace gaugely
