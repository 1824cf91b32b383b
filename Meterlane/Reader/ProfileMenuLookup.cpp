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

AXElement ProfileMenuLookup::menuAfterClick(const AXElement& application, int attempt,
                                            int lastAttempt) {
    if (mode_ == ElementLookupMode::literal || !remembered_.known) {
        return search_.profileMenuElement(application);
    }
    const std::vector<AXElement> menus = menusAtRememberedLocation(application);
    if (menus.size() == 1) {
        return menus.front();
    }
    // Two candidates, or none where the menu was last time: only a whole walk can tell which
    // menu the literal look would find, and it is paid for on every third attempt and the last.
    const bool wholeWalkDue = (attempt > 0 && attempt % 3 == 0) || attempt >= lastAttempt;
    if (menus.size() > 1 || wholeWalkDue) {
        return search_.profileMenuElement(application);
    }
    return {};
}

std::vector<AXElement> ProfileMenuLookup::menusAtRememberedLocation(const AXElement& application) {
    std::vector<AXElement> menus;
    AXElement container = application;
    // The containers of a real window hold a handful of children; a hostile list is not scanned.
    int budget = CodexElementSearch::menuSearchBudget;
    for (size_t depth = 0; depth <= remembered_.containers.size(); ++depth) {
        const auto* children = search_.reads(container).children.get<std::vector<AXElement>>();
        if (children == nullptr) {
            return {};
        }
        const AXElement next =
            depth < remembered_.containers.size() ? remembered_.containers[depth] : AXElement();
        bool nextFound = !next;
        budget -= static_cast<int>(children->size());
        if (budget < 0) {
            return {};
        }
        for (const AXElement& child : *children) {
            if (next && child == next) {
                nextFound = true;
                continue;
            }
            if (readsAsProfileMenu(search_.reads(child))) {
                menus.push_back(child);
            }
        }
        if (!nextFound) {
            return {};
        }
        container = next;
    }
    return menus;
}

void ProfileMenuLookup::remember(const AXElement& application, const AXElement& menu) {
    std::vector<AXElement> chain;
    AXElement current = menu;
    for (int step = 0; step < CodexElementSearch::descendantClimbSteps; ++step) {
        const auto* parent = search_.reads(current).parent.get<AXElement>();
        if (parent == nullptr) {
            return;
        }
        if (*parent == application) {
            std::reverse(chain.begin(), chain.end());
            remembered_ = ProfileMenuLocation{std::move(chain), true};
            return;
        }
        chain.push_back(*parent);
        current = *parent;
    }
}

}  // namespace gaugely
