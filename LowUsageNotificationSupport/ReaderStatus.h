#pragma once

#include <optional>

#include "LowUsageNotificationSupport/RefreshEndCause.h"

namespace gaugely {

// What the reader has to say about reading Codex, as a cause: a run under way, a request it
// refused, how the last run ended, or why the scheduler put a due refresh off. The words the user
// sees, and the hint that goes with them, are the presentation's; nothing decides by them.
struct ReaderStatus {
    enum class Kind {
        // A run under way.
        countingDown,
        refreshing,
        locatingProfileControl,
        // A request refused before a run began.
        noPlanSelected,
        accessibilityPermissionRequired,
        // How the last run ended: without a reading (see `endCause`), or with one but with
        // Codex's menu in a state it could not confirm.
        runEnded,
        menuStateUnconfirmed,
        // Why the scheduler put a due automatic refresh off.
        codexNotRunning,
        codexNotInFront,
        userActive,
    };

    Kind kind = Kind::refreshing;
    // For `runEnded`.
    std::optional<RefreshEndCause> endCause;
    // For `countingDown`.
    int secondsLeft = 0;

    static ReaderStatus of(Kind kind) { return ReaderStatus{kind, std::nullopt, 0}; }
    static ReaderStatus countingDown(int secondsLeft) {
        return ReaderStatus{Kind::countingDown, std::nullopt, secondsLeft};
    }
    static ReaderStatus runEnded(RefreshEndCause cause) {
        return ReaderStatus{Kind::runEnded, cause, 0};
    }

    bool operator==(const ReaderStatus&) const = default;
};

}  // namespace gaugely
