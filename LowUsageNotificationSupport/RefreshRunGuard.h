#pragma once

#include <cstdint>

namespace gaugely {

// Tells the callbacks of the current refresh run from stale ones: each callback carries the
// generation it was scheduled in and is ignored once the run has ended or another has begun.
struct RefreshRunGuard {
    uint64_t generation = 0;
    bool active = false;

    void begin() {
        ++generation;
        active = true;
    }
    void end() {
        ++generation;
        active = false;
    }
    bool accepts(uint64_t candidateGeneration) const {
        return active && candidateGeneration == generation;
    }

    // The run closes only a Codex menu that it opened itself: it was not already open when the run
    // started (`start`), the run's click opened it, it is still that menu, Codex is still in front
    // and the user has not touched anything.
    static bool mayDismiss(bool start, bool openedByRun, bool sameMenu, bool hostActive,
                           bool inputQuiet) {
        return !start && openedByRun && sameMenu && hostActive && inputQuiet;
    }

    bool operator==(const RefreshRunGuard&) const = default;
};

}  // namespace gaugely
