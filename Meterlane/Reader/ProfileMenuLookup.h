#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Reader/CodexElementSearch.h"
#include "Meterlane/Reader/ProfileMenuMemory.h"

namespace gaugely {

// How a run finds Codex's profile menu once it has clicked. `literal` asks every question from the
// application element and reuses nothing between steps; `fast` starts from what the run already
// knows and falls back to the literal walk whenever that knowledge fails a check. Both must end
// every run the same way; the literal mode stays for the tests that prove it.
enum class ElementLookupMode { literal, fast };

// The lookups of the steps after the run's own click. Each accessibility read is a blocking round
// trip to Codex, and Codex's window has thousands of elements; the menu the run opened has a few
// dozen. So, in the fast mode, the menu the run keeps (`openedMenu`) is asked first: it still
// counts as the profile menu when its role and title read without error as a menu titled "Open
// profile menu". Before the menu appears, the polls look where it appeared last time (in this
// process, or by the way stored at an earlier launch), walking the whole application only on
// every third attempt and on the last one. Where nothing is known yet, they wait for the clicked
// control to say it is expanded before they walk: a walk started while the menu is still opening
// passes its place before it is there, and a walk takes seconds when Codex is slow to answer.
// Everything that decides whether the run may type stays a complete walk, in the run itself.
//
// A lookup lives inside one job on the accessibility worker: it holds a copy of what the memory
// knew, and hands what it finds back for the main queue to keep.
class ProfileMenuLookup {
  public:
    ProfileMenuLookup(CodexTreeSearch& search, ElementLookupMode mode, ProfileMenuWay known = {})
        : search_(search), mode_(mode), known_(std::move(known)) {}

    ElementLookupMode mode() const { return mode_; }

    // The open profile menu, while the run's own menu is `openedMenu` (none: not opened by it).
    [[nodiscard]] AXElement profileMenu(const AXElement& application, const AXElement& openedMenu);
    // The menu holding the "Usage remaining" row.
    [[nodiscard]] AXElement usageRemainingMenu(const AXElement& application,
                                               const AXElement& openedMenu);
    [[nodiscard]] bool usageRemainingIsExpanded(const AXElement& application,
                                                const AXElement& openedMenu, QuotaSchema schema);
    // One poll for the menu after the click on `control`; none while it has not appeared (as far
    // as this attempt looks).
    [[nodiscard]] AXElement menuAfterClick(const AXElement& application, const AXElement& control,
                                           int attempt, int lastAttempt);
    // Where `menu` sits below `application`, for the polls of later runs and launches; none when
    // the climb does not reach the application.
    [[nodiscard]] std::optional<FoundProfileMenuWay> locate(const AXElement& application,
                                                            const AXElement& menu);

    // Whether `menu` still reads as the profile menu: role and title read without error.
    [[nodiscard]] bool isStillProfileMenu(const AXElement& menu);

  private:
    // The profile menus among the children of the containers on the way down; none when the way
    // no longer holds. `next(depth, children)` finds the container of that depth among the
    // children, for each of the `depth` containers.
    template <class FindNext>
    std::vector<AXElement> menusAlongTheWay(const AXElement& application, std::size_t depth,
                                            FindNext&& next);
    std::vector<AXElement> menusAtRememberedLocation(const AXElement& application);
    // Each container's place among its parent's children, with its role; none when the tree
    // cannot say (a child that its parent does not list).
    std::optional<std::vector<ProfileMenuPathStep>> wayByPosition(
        const AXElement& application, const std::vector<AXElement>& containers);

    CodexTreeSearch& search_;
    ElementLookupMode mode_;
    ProfileMenuWay known_;
};

}  // namespace gaugely
