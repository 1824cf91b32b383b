#pragma once

namespace gaugely {

// What a refresh run may do to Codex's menu on its way out.
struct RefreshRunGuard {
    // The run closes only a Codex menu that it opened itself: it was not already open when the run
    // started (`start`), the run's click opened it, it is still that menu, Codex is still in front
    // and the user has not touched anything.
    static bool mayDismiss(bool start, bool openedByRun, bool sameMenu, bool hostActive,
                           bool inputQuiet) {
        return !start && openedByRun && sameMenu && hostActive && inputQuiet;
    }
};

}  // namespace gaugely
