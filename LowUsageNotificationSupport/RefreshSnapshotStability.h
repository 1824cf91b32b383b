#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// The result of one read attempt of a refresh run.
enum class RefreshReadOutcome {
    waiting,    // read again
    failed,     // give up this run
    committed,  // a stable value was committed
};

template <>
struct EnumTraits<RefreshReadOutcome> {
    static constexpr std::array<std::pair<RefreshReadOutcome, std::string_view>, 3> cases{{
        {RefreshReadOutcome::waiting, "waiting"},
        {RefreshReadOutcome::failed, "failed"},
        {RefreshReadOutcome::committed, "committed"},
    }};
};

// Codex fills its usage menu in over a few frames while it expands, so a single reading can be
// half-settled. A value counts only once the same reading has been seen twice, at least
// `settlingInterval` apart. Times are the caller's monotonic seconds.
template <class T>
struct RefreshSnapshotStability {
    static constexpr double settlingInterval = 0.2;

    std::optional<T> candidate;
    double since = 0;

    // The stable value, or none. A missing reading breaks the chain; the next one starts it again.
    std::optional<T> observe(const std::optional<T>& value, double time) {
        if (!value) {
            candidate.reset();
            return std::nullopt;
        }
        if (!candidate || !(*candidate == *value)) {
            candidate = value;
            since = time;
            return std::nullopt;
        }
        // The candidate stays, so every later equal reading is stable at once.
        if (time - since >= settlingInterval) {
            return value;
        }
        return std::nullopt;
    }

    // One read attempt: commits a stable value through `commit` (which says whether it took), or
    // asks for another reading until `attempt` reaches `limit`.
    template <class Commit>
    RefreshReadOutcome advance(const std::optional<T>& value, double time, int attempt, int limit,
                               Commit&& commit) {
        if (const std::optional<T> stable = observe(value, time)) {
            return commit(*stable) ? RefreshReadOutcome::committed : RefreshReadOutcome::failed;
        }
        return attempt >= limit ? RefreshReadOutcome::failed : RefreshReadOutcome::waiting;
    }

    bool operator==(const RefreshSnapshotStability&) const = default;
};

}  // namespace gaugely
