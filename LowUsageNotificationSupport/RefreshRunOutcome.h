#pragma once

#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

enum class RefreshRunKind { manual, automatic };

template <>
struct EnumTraits<RefreshRunKind> {
    static constexpr std::array<std::pair<RefreshRunKind, std::string_view>, 2> cases{{
        {RefreshRunKind::manual, "manual"},
        {RefreshRunKind::automatic, "automatic"},
    }};
};

// How a run left Codex's profile menu.
enum class RefreshCleanupResult { notRequired, closed, preservedUserOwnedMenu, uncertain, failed };

template <>
struct EnumTraits<RefreshCleanupResult> {
    static constexpr std::array<std::pair<RefreshCleanupResult, std::string_view>, 5> cases{{
        {RefreshCleanupResult::notRequired, "notRequired"},
        {RefreshCleanupResult::closed, "closed"},
        {RefreshCleanupResult::preservedUserOwnedMenu, "preservedUserOwnedMenu"},
        {RefreshCleanupResult::uncertain, "uncertain"},
        {RefreshCleanupResult::failed, "failed"},
    }};
};

// The end of one run: a value with the reason the user and the log see.
struct RefreshRunOutcome {
    enum class Kind { deferred, failed, committed, cleanupUncertain };

    Kind kind = Kind::failed;
    std::string reason;

    static RefreshRunOutcome deferred(std::string reason) {
        return {Kind::deferred, std::move(reason)};
    }
    static RefreshRunOutcome failed(std::string reason) {
        return {Kind::failed, std::move(reason)};
    }
    static RefreshRunOutcome committed() { return {Kind::committed, {}}; }
    static RefreshRunOutcome cleanupUncertain() { return {Kind::cleanupUncertain, {}}; }

    bool isCommitted() const { return kind == Kind::committed || kind == Kind::cleanupUncertain; }

    // The outcome as the final trace line writes it; a committed run names how it left the menu.
    std::string logText(RefreshCleanupResult cleanup) const;

    bool operator==(const RefreshRunOutcome&) const = default;
};

}  // namespace gaugely
