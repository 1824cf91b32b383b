#include "Meterlane/Reader/ProfileMenuLookup.h"

#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"

namespace gaugely {

namespace {

// Each read here is checked for an error of its own: a stale element answers with one.
bool readsAsProfileMenu(const CodexElementSearch::ElementReads& reads) {
    const auto* role = reads.role.get<std::string>();
    const auto* title = reads.title.get<std::string>();
    return reads.role.ok() && reads.title.ok() && role != nullptr && title != nullptr &&
           *role == ax::menuRole && codexVocabulary::isProfileLabel(*title);
}

}  // namespace

bool ProfileMenuLookup::isStillProfileMenu(const AXElement& menu) {
    return menu && readsAsProfileMenu(search_.reads(menu));
}

AXElement ProfileMenuLookup::profileMenu(const AXElement& application,
                                         const AXElement& openedMenu) {
    if (mode_ == ElementLookupMode::fast && isStillProfileMenu(openedMenu)) {
        return openedMenu;
    }
    return search_.profileMenuElement(application);
}

AXElement ProfileMenuLookup::usageRemainingMenu(const AXElement& application,
                                                const AXElement& openedMenu) {
    if (mode_ == ElementLookupMode::fast && isStillProfileMenu(openedMenu)) {
        return search_.usageRemainingMenu(openedMenu);
    }
    return search_.usageRemainingMenu(application);
}

bool ProfileMenuLookup::usageRemainingIsExpanded(const AXElement& application,
                                                 const AXElement& openedMenu, QuotaSchema schema) {
    if (mode_ == ElementLookupMode::fast && isStillProfileMenu(openedMenu)) {
        return search_.usageSectionIsExpanded(openedMenu, schema);
    }
    return search_.usageRemainingIsExpanded(application, schema);
}

AXElement ProfileMenuLookup::menuAfterClick(const AXElement& application, const AXElement& control,
                                            int attempt, int lastAttempt) {
    if (mode_ == ElementLookupMode::literal) {
        return search_.profileMenuElement(application);
    }
    const bool wholeWalkDue = (attempt > 0 && attempt % 3 == 0) || attempt >= lastAttempt;
    if (!known_.handles && !known_.path) {
        // Only a flag that reads false without error says the menu is not open yet.
        const bool surelyClosed = control && flagOf(search_.reads(control).expanded) == false &&
                                  search_.reads(control).expanded.ok();
        if (surelyClosed && !wholeWalkDue) {
            return {};
        }
        return search_.profileMenuElement(application);
    }
    const std::vector<AXElement> menus = menusAtRememberedLocation(application);
    if (menus.size() == 1) {
        return menus.front();
    }
    // Two candidates, or none where the menu was last time: only a whole walk can tell which
    // menu the literal look would find, and it is paid for on every third attempt and the last.
    if (menus.size() > 1 || wholeWalkDue) {
        return search_.profileMenuElement(application);
    }
    return {};
}

std::vector<AXElement> ProfileMenuLookup::menusAtRememberedLocation(const AXElement& application) {
    if (known_.handles) {
        const std::vector<AXElement>& containers = *known_.handles;
        return menusAlongTheWay(
            application, containers.size(),
            [&](std::size_t depth,
                const std::vector<AXElement>& children) -> std::optional<std::size_t> {
                const auto found = std::find(children.begin(), children.end(), containers[depth]);
                if (found == children.end()) {
                    return std::nullopt;
                }
                return static_cast<std::size_t>(found - children.begin());
            });
    }
    // A way from an earlier launch holds where each container is still at its place with its
    // role; what is then found below it is checked as this process's own handles would be.
    const std::vector<ProfileMenuPathStep>& steps = *known_.path;
    return menusAlongTheWay(
        application, steps.size(),
        [&](std::size_t depth,
            const std::vector<AXElement>& children) -> std::optional<std::size_t> {
            const ProfileMenuPathStep& step = steps[depth];
            if (step.index >= children.size()) {
                return std::nullopt;
            }
            const auto role = textOf(search_.reads(children[step.index]).role);
            if (role != step.role) {
                return std::nullopt;
            }
            return step.index;
        });
}

template <class FindNext>
std::vector<AXElement> ProfileMenuLookup::menusAlongTheWay(const AXElement& application,
                                                           std::size_t depth, FindNext&& next) {
    std::vector<AXElement> menus;
    AXElement container = application;
    // The containers of a real window hold a handful of children; a hostile list is not scanned.
    int budget = CodexElementSearch::menuSearchBudget;
    for (std::size_t level = 0; level <= depth; ++level) {
        const auto* children = search_.reads(container).children.get<std::vector<AXElement>>();
        if (children == nullptr) {
            return {};
        }
        budget -= static_cast<int>(children->size());
        if (budget < 0) {
            return {};
        }
        std::optional<std::size_t> nextIndex;
        if (level < depth) {
            nextIndex = next(level, *children);
            if (!nextIndex) {
                return {};
            }
        }
        for (std::size_t i = 0; i < children->size(); ++i) {
            if (i != nextIndex && readsAsProfileMenu(search_.reads((*children)[i]))) {
                menus.push_back((*children)[i]);
            }
        }
        if (nextIndex) {
            container = (*children)[*nextIndex];
        }
    }
    return menus;
}

std::optional<FoundProfileMenuWay> ProfileMenuLookup::locate(const AXElement& application,
                                                             const AXElement& menu) {
    // From the menu's parent up to the container just below the application.
    std::vector<AXElement> chain;
    AXElement current = menu;
    for (int step = 0; step < CodexElementSearch::descendantClimbSteps; ++step) {
        const auto* parent = search_.reads(current).parent.get<AXElement>();
        if (parent == nullptr) {
            return std::nullopt;
        }
        if (*parent == application) {
            std::reverse(chain.begin(), chain.end());
            auto path = wayByPosition(application, chain);
            return FoundProfileMenuWay{std::move(chain), std::move(path)};
        }
        chain.push_back(*parent);
        current = *parent;
    }
    return std::nullopt;
}

std::optional<std::vector<ProfileMenuPathStep>> ProfileMenuLookup::wayByPosition(
    const AXElement& application, const std::vector<AXElement>& containers) {
    // The climb read each container with its children, and the walk that found the menu read
    // the application: this costs no round trip of its own as a rule.
    std::vector<ProfileMenuPathStep> way;
    AXElement parent = application;
    for (const AXElement& container : containers) {
        const auto* children = search_.reads(parent).children.get<std::vector<AXElement>>();
        const auto role = textOf(search_.reads(container).role);
        if (children == nullptr || !role) {
            return std::nullopt;
        }
        const auto found = std::find(children->begin(), children->end(), container);
        if (found == children->end()) {
            return std::nullopt;
        }
        way.push_back({static_cast<std::size_t>(found - children->begin()), *role});
        parent = container;
    }
    return way;
}

}  // namespace gaugely
