#include "Meterlane/Reader/CodexElementSearch.h"

#include <algorithm>
#include <array>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {
namespace {

using codexVocabulary::isProfileLabel;
using codexVocabulary::isUsageRemainingLine;

}  // namespace

const CodexTreeSearch::ElementReads& CodexTreeSearch::reads(const AXElement& element) {
    if (const auto found = reads_.find(element); found != reads_.end()) {
        return found->second;
    }
    static constexpr std::array<std::string_view, 8> names{
        ax::role,     ax::title,  ax::description, ax::value,
        ax::children, ax::hidden, ax::expanded,    ax::parent};
    std::vector<AXAttributeResult> results = ax_.copyMultipleAttributeValues(element, names);
    results.resize(names.size());
    ElementReads entry{std::move(results[0]), std::move(results[1]), std::move(results[2]),
                       std::move(results[3]), std::move(results[4]), std::move(results[5]),
                       std::move(results[6]), std::move(results[7])};
    return reads_.emplace(element, std::move(entry)).first->second;
}

std::optional<std::string> CodexTreeSearch::roleOf(const AXElement& element) {
    return textOf(reads(element).role);
}

template <class Visitor>
CodexTreeSearch::WalkEnd CodexTreeSearch::walk(const AXElement& root, int budget, Visitor&& visit) {
    std::vector<AXElement> stack{root};
    bool dropped = false;
    int examined = 0;
    while (!stack.empty()) {
        AXElement element = std::move(stack.back());
        stack.pop_back();
        if (examined == budget) {
            return {false, true, !stack.empty() || dropped};
        }
        ++examined;
        const ElementReads& elementReads = reads(element);
        const Visit action = visit(element, elementReads);
        if (action == Visit::stop) {
            return {true, false, false};
        }
        if (action != Visit::descend) {
            continue;
        }
        const auto* children = elementReads.children.get<std::vector<AXElement>>();
        if (children == nullptr) {
            continue;
        }
        // Children past what the budget can still reach are never visited; keeping one more than
        // that lets the walk still tell "budget ran out with elements left".
        const size_t reachable = static_cast<size_t>(budget - examined) + 1;
        const size_t count = std::min(children->size(), reachable);
        dropped = dropped || children->size() > count;
        for (size_t i = count; i > 0; --i) {
            stack.push_back((*children)[i - 1]);
        }
    }
    return {};
}

AXElement CodexTreeSearch::profileMenuControl(const AXElement& application) {
    AXElement found;
    walk(application, applicationBudget, [&](const AXElement& element, const ElementReads& r) {
        if (textOf(r.role) != ax::popUpButtonRole) {
            return Visit::descend;
        }
        if (isProfileLabel(textOf(r.description))) {
            found = element;
            return Visit::stop;
        }
        // Another pop-up button's contents are its own menu, never the profile control.
        return Visit::skip;
    });
    return found;
}

AXElement CodexTreeSearch::profileMenuElement(const AXElement& application) {
    AXElement found;
    walk(application, applicationBudget, [&](const AXElement& element, const ElementReads& r) {
        if (textOf(r.role) == ax::menuRole && isProfileLabel(textOf(r.title))) {
            found = element;
            return Visit::stop;
        }
        return Visit::descend;
    });
    return found;
}

RefreshMenuInspection CodexTreeSearch::profileMenuInspection(const AXElement& application) {
    int recognizedMenus = 0;
    bool unknownMenu = false;
    bool controlFound = false;
    bool controlExpanded = false;
    bool incomplete = false;
    const WalkEnd end =
        walk(application, applicationBudget, [&](const AXElement&, const ElementReads& r) {
            const std::optional<std::string> role = textOf(r.role);
            if (!role) {
                incomplete = true;
                return Visit::skip;
            }
            if (*role == ax::menuBarRole) {
                return Visit::skip;
            }
            if (flagOf(r.hidden) == true) {
                return Visit::skip;
            }
            if (*role == ax::menuRole) {
                if (isProfileLabel(textOf(r.title))) {
                    ++recognizedMenus;
                } else {
                    unknownMenu = true;
                }
                return Visit::skip;
            }
            if (*role == ax::popUpButtonRole && isProfileLabel(textOf(r.description))) {
                controlFound = true;
                if (const auto expanded = flagOf(r.expanded)) {
                    controlExpanded = controlExpanded || *expanded;
                }
            }
            if (!r.children.ok()) {
                // No value and an unsupported attribute both mean a leaf; anything else means the
                // tree could not be read.
                if (r.children.error != ax::noValue &&
                    r.children.error != ax::attributeUnsupported) {
                    incomplete = true;
                }
            } else if (r.children.get<std::vector<AXElement>>() == nullptr) {
                incomplete = true;
            }
            return Visit::descend;
        });

    const RefreshMenuInspection uncertainBecauseUnreadable{RefreshMenuPresence::uncertain,
                                                           RefreshTraversalResult::unavailable};
    if (end.budgetRanOut && end.elementsLeft) {
        return {RefreshMenuPresence::uncertain, RefreshTraversalResult::limitReached};
    }
    if (incomplete) {
        return uncertainBecauseUnreadable;
    }
    return {resolveMenuPresence(recognizedMenus, unknownMenu, true, controlFound, controlExpanded),
            RefreshTraversalResult::complete};
}

std::vector<std::string> CodexTreeSearch::orderedMenuText(const AXElement& root) {
    std::vector<std::string> lines;
    walk(root, menuTextBudget, [&](const AXElement&, const ElementReads& r) {
        for (const AXAttributeResult* field : {&r.title, &r.value, &r.description}) {
            const std::optional<std::string> text = textOf(*field);
            if (!text) {
                continue;
            }
            std::string line = text::trimmed(*text);
            if (line.empty() || (!lines.empty() && lines.back() == line)) {
                continue;
            }
            lines.push_back(std::move(line));
        }
        return Visit::descend;
    });
    return lines;
}

AXElement CodexTreeSearch::usageRemainingMenu(const AXElement& application) {
    AXElement found;
    walk(application, applicationBudget, [&](const AXElement& element, const ElementReads& r) {
        if (textOf(r.role) != ax::menuRole) {
            return Visit::descend;
        }
        const std::vector<std::string> lines = orderedMenuText(element);
        if (std::any_of(lines.begin(), lines.end(),
                        [](const std::string& line) { return isUsageRemainingLine(line); })) {
            found = element;
            return Visit::stop;
        }
        return Visit::skip;
    });
    return found;
}

AXElement CodexTreeSearch::usageRemainingControl(const AXElement& application) {
    AXElement found;
    walk(application, applicationBudget, [&](const AXElement& element, const ElementReads& r) {
        if (textOf(r.role) != ax::menuRole) {
            return Visit::descend;
        }
        const std::vector<std::string> lines = orderedMenuText(element);
        const bool qualifies = std::any_of(lines.begin(), lines.end(), [](const std::string& l) {
            return codexVocabulary::mentionsUsageRemaining(l);
        });
        if (!qualifies) {
            return Visit::descend;
        }
        found = labeledUsageControl(element);
        return found ? Visit::stop : Visit::skip;
    });
    return found;
}

AXElement CodexTreeSearch::labeledUsageControl(const AXElement& menu) {
    AXElement found;
    walk(menu, menuSearchBudget, [&](const AXElement& element, const ElementReads& r) {
        for (const AXAttributeResult* field : {&r.title, &r.value, &r.description}) {
            const std::optional<std::string> text = textOf(*field);
            if (text && codexVocabulary::mentionsUsageRemaining(*text)) {
                found = nearestPressableMenuAncestor(element, menu);
                if (found) {
                    return Visit::stop;
                }
                break;
            }
        }
        return Visit::descend;
    });
    return found;
}

AXElement CodexTreeSearch::proUsageProfileMenuItem(const AXElement& menu) {
    AXElement found;
    walk(menu, menuSearchBudget, [&](const AXElement& element, const ElementReads& r) {
        if (textOf(r.role) == ax::menuItemRole) {
            const std::vector<std::string> lines = orderedMenuText(element);
            if (std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
                    return codexVocabulary::isProUsageItemLabel(line);
                })) {
                found = element;
                return Visit::stop;
            }
        }
        return Visit::descend;
    });
    return found;
}

AXElement CodexTreeSearch::nearestPressableMenuAncestor(const AXElement& from,
                                                        const AXElement& within) {
    AXElement current = from;
    for (int step = 0; step < pressableClimbSteps && current; ++step) {
        if (roleOf(current) == ax::menuItemRole) {
            return current;
        }
        const std::vector<std::string> actions = actionNames(current);
        if (std::find(actions.begin(), actions.end(), ax::pressAction) != actions.end()) {
            return current;
        }
        if (current == within) {
            return {};
        }
        const auto* parent = reads(current).parent.get<AXElement>();
        if (parent == nullptr) {
            return {};
        }
        current = *parent;
    }
    return {};
}

bool CodexTreeSearch::isSameOrDescendant(const AXElement& element, const AXElement& ancestor) {
    AXElement current = element;
    for (int step = 0; step < descendantClimbSteps && current; ++step) {
        if (current == ancestor) {
            return true;
        }
        const auto* parent = reads(current).parent.get<AXElement>();
        if (parent == nullptr) {
            return false;
        }
        current = *parent;
    }
    return false;
}

std::vector<AXElement> CodexTreeSearch::menuItems(const AXElement& menu) {
    std::vector<AXElement> items;
    const auto* children = reads(menu).children.get<std::vector<AXElement>>();
    if (children == nullptr) {
        return items;
    }
    for (const AXElement& child : *children) {
        if (roleOf(child) == ax::menuItemRole) {
            items.push_back(child);
        }
    }
    return items;
}

std::optional<std::string> CodexTreeSearch::title(const AXElement& element) {
    return textOf(reads(element).title);
}

bool CodexTreeSearch::usageRemainingIsExpanded(const AXElement& application, QuotaSchema schema) {
    return usageSectionIsExpanded(profileMenuElement(application), schema);
}

bool CodexTreeSearch::usageSectionIsExpanded(const AXElement& menu, QuotaSchema schema) {
    if (!menu) {
        return false;
    }
    const auto* children = reads(menu).children.get<std::vector<AXElement>>();
    if (children == nullptr) {
        return false;
    }
    // Collapsed, the menu holds only items; the expanded usage section adds rows of other roles.
    const bool hasNonItemRow =
        std::any_of(children->begin(), children->end(),
                    [&](const AXElement& child) { return roleOf(child) != ax::menuItemRole; });
    if (!hasNonItemRow) {
        return false;
    }
    const std::vector<std::string> lines = orderedMenuText(menu);
    for (const QuotaWindow window : requiredWindows(schema)) {
        const bool named = std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            switch (window) {
                case QuotaWindow::fiveHour:
                    return codexVocabulary::isFiveHourLabel(line);
                case QuotaWindow::weekly:
                    return codexVocabulary::isWeeklyLabel(line);
                case QuotaWindow::monthly:
                    return MonthlyUsageMenuParser::isMonthlyLabel(line);
            }
            return false;
        });
        if (!named) {
            return false;
        }
    }
    return true;
}

}  // namespace gaugely
