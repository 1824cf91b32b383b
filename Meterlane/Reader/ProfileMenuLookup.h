#pragma once

#include <vector>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Reader/CodexElementSearch.h"

namespace gaugely {

// How a run finds Codex's profile menu once it has clicked. `literal` asks every question from the
// application element and reuses nothing between steps; `fast` starts from what the run already
// knows and falls back to the literal walk whenever that knowledge fails a check. Both must end
// every run the same way; the literal mode stays for the tests that prove it.
enum class ElementLookupMode { literal, fast };

// Where the profile menu appeared the last time a run of this process found it: the containers
// from the application element down to the menu's parent (the application element itself is
// not kept; it is made afresh for each look).
struct ProfileMenuLocation {
    std::vector<AXElement> containers;
    bool known = false;
};

// The lookups of the steps after the run's own click. Each accessibility read is a blocking round
// trip to Codex, and Codex's window has thousands of elements; the menu the run opened has a few
// dozen. So, in the fast mode, the menu the run keeps (`openedMenu`) is asked first: it still
// counts as the profile menu when its role and title read without error as a menu titled "Open
// profile menu". Before the menu appears, the polls look where it appeared last time, walking
// the whole application only on every third attempt and on the last one. Everything that decides
// whether the run may type stays a complete walk, in the run itself.
class ProfileMenuLookup {
  public:
    ProfileMenuLookup(CodexElementSearch& search, ElementLookupMode mode,
                      ProfileMenuLocation& remembered)
        : search_(search), mode_(mode), remembered_(remembered) {}

    ElementLookupMode mode() const { return mode_; }

    // The open profile menu, while the run's own menu is `openedMenu` (none: not opened by it).
    [[nodiscard]] AXElement profileMenu(const AXElement& application, const AXElement& openedMenu);
    // The menu holding the "Usage remaining" row.
    [[nodiscard]] AXElement usageRemainingMenu(const AXElement& application,
                                               const AXElement& openedMenu);
    [[nodiscard]] bool usageRemainingIsExpanded(const AXElement& application,
                                                const AXElement& openedMenu, QuotaSchema schema);
    // One poll for the menu after the click; none while it has not appeared (as far as this
    // attempt looks).
    [[nodiscard]] AXElement menuAfterClick(const AXElement& application, int attempt,
                                           int lastAttempt);
    // Keeps where `menu` sits below `application`, for the polls of later runs.
    void remember(const AXElement& application, const AXElement& menu);

    // Whether `menu` still reads as the profile menu: role and title read without error.
    [[nodiscard]] bool isStillProfileMenu(const AXElement& menu);

  private:
    // The profile menus among the children of the remembered containers; none when the remembered
    // chain no longer holds.
    std::vector<AXElement> menusAtRememberedLocation(const AXElement& application);

    CodexElementSearch& search_;
    ElementLookupMode mode_;
    ProfileMenuLocation& remembered_;
};

}  // namespace gaugely
