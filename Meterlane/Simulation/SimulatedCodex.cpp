#include "Meterlane/Simulation/SimulatedCodex.h"

#include <algorithm>

#include "Meterlane/Simulation/MemoryBundleInformation.h"

namespace gaugely {

namespace {

constexpr std::string_view profileLabel = "Open profile menu";
constexpr std::string_view usageItemTitle = "Usage remaining";

constexpr uint16_t returnKey = 36;
constexpr uint16_t escapeKey = 53;
constexpr uint16_t downArrowKey = 125;
constexpr uint16_t upArrowKey = 126;

constexpr double menuWidth = 240;
constexpr double itemHeight = 28;
constexpr double rowHeight = 20;
constexpr double menuPadding = 4;
constexpr double menuGap = 8;
constexpr Rect fallbackAnchor{{20, 700}, {32, 32}};

// Percentages and reset times load after the labels in Codex's usage section.
bool isValueRow(std::string_view row) {
    return row.find('%') != std::string_view::npos || row.starts_with("Resets");
}

std::string unsettled(std::string_view row) {
    if (row.find('%') != std::string_view::npos) {
        return "--% left";
    }
    return row.starts_with("Resets") ? "Resets --" : "--";
}

std::string percentLeft(int percent) {
    return std::to_string(percent) + "% left";
}

}  // namespace

std::vector<std::string> usageRows(CodexPlan plan, const CodexUsage& usage) {
    switch (plan) {
        case CodexPlan::plus:
            return {
                "5h",     percentLeft(usage.fiveHourPercentLeft), "Resets " + usage.fiveHourReset,
                "Weekly", percentLeft(usage.weeklyPercentLeft),   "Resets " + usage.weeklyReset};
        case CodexPlan::freeGo:
            return {"Monthly", percentLeft(usage.monthlyPercentLeft),
                    "Resets " + usage.monthlyReset};
        case CodexPlan::pro:
            return {};
    }
    return {};
}

std::string proUsageTitle(const CodexUsage& usage) {
    return "Weekly limit " + percentLeft(usage.proWeeklyPercentLeft);
}

SimulatedCodex::SimulatedCodex(VirtualTime& time, FakeWorkspace& workspace, FakeInput& input,
                               CodexPlan plan, CodexTreeShape shape, ProcessID pid)
    : SimulatedAccessibility(SimulatedTree(), pid),
      time_(time),
      workspace_(workspace),
      input_(input),
      shape_(shape),
      plan_(plan) {
    auto built = buildCodexTree(shape_);
    adoptTree(std::move(built.tree), built.window, built.control);
    registerProcess();
    listening_ = input_.addListener([this](const InputEvent& event) { onInput(event); });
}

SimulatedCodex::~SimulatedCodex() = default;

void SimulatedCodex::registerProcess() {
    workspace_.addApplication({std::string(bundleIdentifier), pid(), ActivationPolicy::regular});
    MemoryBundleInformation bundle(std::string(bundleIdentifier), "/Applications/Codex.app");
    bundle.set("CFBundleShortVersionString", version_);
    bundle.set("CFBundleVersion", build_);
    workspace_.setApplicationBundle(pid(), std::move(bundle));
}

void SimulatedCodex::setVersion(std::string version, std::string build) {
    version_ = std::move(version);
    build_ = std::move(build);
    if (running_) {
        registerProcess();
    }
}

void SimulatedCodex::setUsage(const CodexUsage& usage) {
    usage_ = usage;
    if (!menuIsOpen()) {
        return;
    }
    if (plan_ == CodexPlan::pro) {
        if (const auto item = usageItemNode()) {
            tree().set(*item, ax::title, proUsageTitle(usage_));
        }
    } else if (!rows_.empty()) {
        renderRows();
    }
}

void SimulatedCodex::setUsageRows(std::optional<std::vector<std::string>> rows) {
    rowsOverride_ = std::move(rows);
    if (menuIsOpen() && !rows_.empty()) {
        renderRows();
    }
}

void SimulatedCodex::quit() {
    if (!running_) {
        return;
    }
    running_ = false;
    ++generation_;
    setProcessAlive(false);
    workspace_.removeApplication(pid());
    workspace_.setApplicationBundle(pid(), std::nullopt);
}

void SimulatedCodex::launch() {
    if (running_) {
        return;
    }
    setPid(pid() + 1);
    rebuild(shape_);
    setProcessAlive(true);
    running_ = true;
    registerProcess();
    bringToFront();
}

void SimulatedCodex::bringToFront() {
    workspace_.setFrontmost(pid());
}

void SimulatedCodex::rebuild(const CodexTreeShape& shape) {
    shape_ = shape;
    auto built = buildCodexTree(shape_);
    adoptTree(std::move(built.tree), built.window, built.control);
}

void SimulatedCodex::loadTree(SimulatedTree tree) {
    const auto window = tree.findByRole("AXWindow");
    const auto control = tree.findByRole(ax::popUpButtonRole, profileLabel);
    adoptTree(std::move(tree), window, control);
    menu_ = this->tree().findByRole(ax::menuRole, profileLabel);
}

void SimulatedCodex::adoptTree(SimulatedTree tree, std::optional<NodeId> window,
                               std::optional<NodeId> control) {
    setTree(std::move(tree));
    ++generation_;
    window_ = window;
    control_ = control;
    menu_.reset();
    usageItem_.reset();
    overlay_.reset();
    duplicate_.reset();
    opening_ = false;
    pressedDown_.reset();
    rows_.clear();
}

void SimulatedCodex::later(double seconds, std::function<void()> work) {
    const uint64_t generation = generation_;
    reactions_.after(seconds, [this, generation, work = std::move(work)] {
        if (running_ && generation_ == generation) {
            work();
        }
    });
}

void SimulatedCodex::laterForMenu(double seconds, std::function<void()> work) {
    const uint64_t opening = openingSerial_;
    later(seconds, [this, opening, work = std::move(work)] {
        if (openingSerial_ == opening && menuIsOpen()) {
            work();
        }
    });
}

void SimulatedCodex::onInput(const InputEvent& event) {
    if (!running_) {
        return;
    }
    // The window server sends input to the front application; Codex behind it sees nothing.
    if (workspace_.frontmostPid() != pid()) {
        pressedDown_.reset();
        return;
    }
    switch (event.type) {
        case InputEventType::leftMouseDown:
            pressedDown_ = tree().hitTest(event.point).value_or(tree().root());
            break;
        case InputEventType::leftMouseUp: {
            const NodeId target = tree().hitTest(event.point).value_or(tree().root());
            if (pressedDown_ == target) {
                later(behaviour.inputLatency, [this, target] { click(target); });
            }
            pressedDown_.reset();
            break;
        }
        case InputEventType::keyDown: {
            const uint16_t code = event.keyCode;
            later(behaviour.inputLatency, [this, code] { key(code); });
            break;
        }
        default:
            break;
    }
}

void SimulatedCodex::click(NodeId target) {
    if (control_ && isWithin(target, *control_)) {
        if (menuIsOpen()) {
            laterForMenu(behaviour.clickCloseDelay, [this] { closeMenu(); });
        } else if (!opening_ && behaviour.menuOpenDelay) {
            opening_ = true;
            later(*behaviour.menuOpenDelay, [this] {
                opening_ = false;
                if (!menuIsOpen()) {
                    openMenu();
                }
            });
        }
        return;
    }
    if (!menuIsOpen()) {
        return;
    }
    if (!isWithin(target, *menu_)) {
        laterForMenu(behaviour.clickCloseDelay, [this] { closeMenu(); });
        return;
    }
    for (const NodeId item : menuItemNodes()) {
        if (isWithin(target, item)) {
            focus(item);
            activateFocused();
            return;
        }
    }
}

void SimulatedCodex::key(uint16_t code) {
    if (!menuIsOpen()) {
        return;
    }
    switch (code) {
        case downArrowKey:
            moveFocus(1);
            break;
        case upArrowKey:
            moveFocus(-1);
            break;
        case returnKey:
            activateFocused();
            break;
        case escapeKey:
            if (behaviour.escapeCloseDelay) {
                laterForMenu(*behaviour.escapeCloseDelay, [this] { closeMenu(); });
            }
            break;
        default:
            break;
    }
}

void SimulatedCodex::openMenu() {
    bool inWindow = behaviour.menuPlacement == MenuPlacement::window;
    if (behaviour.menuMovesBetweenOpenings && openings_ % 2 == 1) {
        inWindow = !inWindow;
    }
    inWindow = inWindow && window_ && tree().contains(*window_);
    ++openingSerial_;
    const NodeId menu = tree().add(inWindow ? *window_ : tree().root(), ax::menuRole);
    tree().set(menu, ax::title, std::string(profileLabel));
    menu_ = menu;
    usageItem_.reset();
    for (const auto& title : behaviour.menuItems) {
        const NodeId item = tree().add(menu, ax::menuItemRole);
        const bool isUsage = title == usageItemTitle;
        tree().set(item, ax::title,
                   isUsage && plan_ == CodexPlan::pro ? proUsageTitle(usage_) : title);
        tree().set(item, ax::focused, false);
        tree().set(item, "AXEnabled", true);
        tree().setActions(item, {std::string(ax::pressAction), "AXScrollToVisible"});
        if (isUsage) {
            usageItem_ = item;
            if (plan_ != CodexPlan::pro) {
                tree().set(item, ax::expanded, false);
            }
        }
    }
    rows_.clear();
    ++expansion_;
    if (control_ && tree().contains(*control_)) {
        tree().set(*control_, ax::expanded, true);
    }
    layoutMenu();
    if (behaviour.duplicateProfileMenu) {
        duplicate_ = tree().add(tree().root(), ax::menuRole);
        tree().set(*duplicate_, ax::title, std::string(profileLabel));
    }
    if (behaviour.menuReplacedAfter) {
        laterForMenu(*behaviour.menuReplacedAfter, [this] { menu_ = tree().replace(*menu_); });
    }
    ++openings_;
    openedAt_ = time_.monotonicSeconds();
    roundTripsAtOpening_ = roundTrips();
}

void SimulatedCodex::closeMenu() {
    if (!menu_) {
        return;
    }
    tree().remove(*menu_);
    menu_.reset();
    ++openingSerial_;
    if (duplicate_) {
        tree().remove(*duplicate_);
        duplicate_.reset();
    }
    usageItem_.reset();
    rows_.clear();
    ++expansion_;
    if (control_ && tree().contains(*control_)) {
        tree().set(*control_, ax::expanded, false);
    }
    ++closings_;
    lastOpening_ =
        MenuOpening{time_.monotonicSeconds() - openedAt_, roundTrips() - roundTripsAtOpening_};
}

std::optional<SimulatedCodex::MenuOpening> SimulatedCodex::lastMenuOpening() const {
    if (menuIsOpen()) {
        return MenuOpening{time_.monotonicSeconds() - openedAt_,
                           roundTrips() - roundTripsAtOpening_};
    }
    return lastOpening_;
}

void SimulatedCodex::focus(NodeId target) {
    for (const NodeId item : menuItemNodes()) {
        tree().set(item, ax::focused, item == target);
    }
}

void SimulatedCodex::moveFocus(int step) {
    const auto items = menuItemNodes();
    if (items.empty()) {
        return;
    }
    const auto current = std::find_if(items.begin(), items.end(), [&](NodeId item) {
        return tree().flag(item, ax::focused) == true;
    });
    std::ptrdiff_t next = 0;
    if (current != items.end()) {
        next = std::clamp<std::ptrdiff_t>((current - items.begin()) + step, 0,
                                          static_cast<std::ptrdiff_t>(items.size()) - 1);
    }
    focus(items[static_cast<std::size_t>(next)]);
}

void SimulatedCodex::activateFocused() {
    const auto items = menuItemNodes();
    const auto focused = std::find_if(items.begin(), items.end(), [&](NodeId item) {
        return tree().flag(item, ax::focused) == true;
    });
    if (focused == items.end()) {
        return;
    }
    if (*focused == usageItemNode() && plan_ != CodexPlan::pro) {
        if (behaviour.expansionDelay) {
            laterForMenu(*behaviour.expansionDelay, [this] {
                if (rows_.empty()) {
                    expand(false);
                } else {
                    collapse();
                }
            });
        }
        return;
    }
    pressed_.push_back(tree().text(*focused, ax::title).value_or(std::string()));
    laterForMenu(behaviour.clickCloseDelay, [this] { closeMenu(); });
}

void SimulatedCodex::expand(bool settledAtOnce) {
    const auto item = usageItemNode();
    if (!item) {
        return;
    }
    const auto texts = currentRows();
    rows_.assign(texts.size(), Row{});
    const bool settling = !settledAtOnce && behaviour.rowSettleDelay > 0;
    for (std::size_t k = 0; k < texts.size(); ++k) {
        rows_[k].settled = !settling || !isValueRow(texts[k]);
    }
    tree().set(*item, ax::expanded, true);
    renderRows();

    const uint64_t expansion = ++expansion_;
    std::size_t waiting = 0;
    for (std::size_t k = 0; k < rows_.size(); ++k) {
        if (rows_[k].settled) {
            continue;
        }
        ++waiting;
        laterForMenu(static_cast<double>(waiting) * behaviour.rowSettleDelay, [this, expansion, k] {
            if (expansion_ == expansion && k < rows_.size()) {
                rows_[k].settled = true;
                renderRows();
            }
        });
    }
}

void SimulatedCodex::collapse() {
    for (const auto& row : rows_) {
        if (row.node) {
            tree().remove(row.node);
        }
    }
    rows_.clear();
    ++expansion_;
    if (const auto item = usageItemNode()) {
        tree().set(*item, ax::expanded, false);
    }
    layoutMenu();
}

void SimulatedCodex::renderRows() {
    const auto item = usageItemNode();
    if (!menu_ || !item) {
        return;
    }
    const auto texts = currentRows();
    if (texts.size() != rows_.size()) {
        // Other rows altogether: show the new ones as they are.
        for (const auto& row : rows_) {
            if (row.node) {
                tree().remove(row.node);
            }
        }
        rows_.assign(texts.size(), Row{});
    }
    std::size_t position = tree().indexInParent(*item).value_or(0) + 1;
    for (std::size_t k = 0; k < rows_.size(); ++k) {
        Row& row = rows_[k];
        const bool shown = row.settled || behaviour.unsettledRows == UnsettledRows::placeholder;
        if (!shown) {
            if (row.node) {
                tree().remove(row.node);
                row.node = 0;
            }
            continue;
        }
        if (!row.node || !tree().contains(row.node)) {
            row.node = tree().insert(*menu_, position, "AXStaticText");
        }
        tree().set(row.node, ax::value, row.settled ? texts[k] : unsettled(texts[k]));
        ++position;
    }
    layoutMenu();
}

void SimulatedCodex::layoutMenu() {
    if (!menuIsOpen()) {
        return;
    }
    Rect anchor = fallbackAnchor;
    if (control_) {
        if (const auto frame = tree().frame(*control_); frame && !frame->isEmpty()) {
            anchor = *frame;
        }
    }
    const auto children = tree().children(*menu_);
    double height = 2 * menuPadding;
    for (const NodeId child : children) {
        height += tree().role(child) == ax::menuItemRole ? itemHeight : rowHeight;
    }
    const Point origin{anchor.minX(), anchor.minY() - menuGap - height};
    double y = origin.y + menuPadding;
    for (const NodeId child : children) {
        const double h = tree().role(child) == ax::menuItemRole ? itemHeight : rowHeight;
        tree().setFrame(child, Rect{{origin.x + menuPadding, y}, {menuWidth - 2 * menuPadding, h}});
        y += h;
    }
    tree().setFrame(*menu_, Rect{origin, {menuWidth, height}});
}

void SimulatedCodex::openMenuAsUser(bool expanded) {
    if (!running_) {
        return;
    }
    if (!menuIsOpen()) {
        openMenu();
    }
    if (expanded && rows_.empty() && plan_ != CodexPlan::pro) {
        expand(true);
    }
}

void SimulatedCodex::setControlFrame(const Rect& frame) {
    if (!control_) {
        return;
    }
    tree().setFrame(*control_, frame);
    // The avatar inside no longer lines up; it keeps no frame of its own.
    for (const NodeId child : tree().children(*control_)) {
        tree().unset(child, ax::position);
        tree().unset(child, ax::size);
    }
}

void SimulatedCodex::setControlOccluded(bool occluded) {
    if (!occluded) {
        if (overlay_) {
            tree().remove(*overlay_);
            overlay_.reset();
        }
        return;
    }
    if (overlay_ && tree().contains(*overlay_)) {
        return;
    }
    Rect anchor = fallbackAnchor;
    if (const auto frame = control_ ? tree().frame(*control_) : std::nullopt) {
        anchor = *frame;
    }
    const Point centre{anchor.minX() + anchor.size.width / 2,
                       anchor.minY() + anchor.size.height / 2};
    const bool inWindow = window_ && tree().contains(*window_);
    overlay_ = tree().add(inWindow ? *window_ : tree().root(), "AXGroup");
    tree().set(*overlay_, ax::description, std::string("Notification"));
    tree().setFrame(*overlay_, Rect{{centre.x - 16, centre.y - 20}, {280, 40}});
}

bool SimulatedCodex::menuIsOpen() const {
    return menu_ && tree().contains(*menu_);
}

bool SimulatedCodex::usageIsExpanded() const {
    return menuIsOpen() && !rows_.empty();
}

std::optional<std::string> SimulatedCodex::focusedItem() const {
    for (const NodeId item : menuItemNodes()) {
        if (tree().flag(item, ax::focused) == true) {
            return tree().text(item, ax::title);
        }
    }
    return std::nullopt;
}

std::optional<NodeId> SimulatedCodex::controlNode() const {
    if (control_ && tree().contains(*control_)) {
        return control_;
    }
    return std::nullopt;
}

std::optional<NodeId> SimulatedCodex::menuNode() const {
    return menuIsOpen() ? menu_ : std::nullopt;
}

AXElement SimulatedCodex::controlElement() const {
    const auto node = controlNode();
    return node ? tree().element(*node) : AXElement();
}

AXElement SimulatedCodex::menuElement() const {
    const auto node = menuNode();
    return node ? tree().element(*node) : AXElement();
}

std::vector<std::string> SimulatedCodex::menuTexts() const {
    std::vector<std::string> texts;
    if (!menuIsOpen()) {
        return texts;
    }
    for (const NodeId child : tree().children(*menu_)) {
        if (auto title = tree().text(child, ax::title)) {
            texts.push_back(std::move(*title));
        } else if (auto value = tree().text(child, ax::value)) {
            texts.push_back(std::move(*value));
        }
    }
    return texts;
}

std::vector<std::string> SimulatedCodex::currentRows() const {
    return rowsOverride_ ? *rowsOverride_ : usageRows(plan_, usage_);
}

std::vector<NodeId> SimulatedCodex::menuItemNodes() const {
    std::vector<NodeId> items;
    if (!menuIsOpen()) {
        return items;
    }
    for (const NodeId child : tree().children(*menu_)) {
        if (tree().role(child) == ax::menuItemRole) {
            items.push_back(child);
        }
    }
    return items;
}

std::optional<NodeId> SimulatedCodex::usageItemNode() const {
    if (!menuIsOpen()) {
        return std::nullopt;
    }
    if (usageItem_ && tree().contains(*usageItem_)) {
        return usageItem_;
    }
    // A loaded tree: the item is known by its title.
    for (const NodeId item : menuItemNodes()) {
        if (tree().text(item, ax::title) == usageItemTitle) {
            return item;
        }
    }
    return std::nullopt;
}

bool SimulatedCodex::isWithin(NodeId node, NodeId ancestor) const {
    std::optional<NodeId> current = node;
    for (int step = 0; current && step < 256; ++step) {
        if (*current == ancestor) {
            return true;
        }
        current = tree().parent(*current);
    }
    return false;
}

}  // namespace gaugely
