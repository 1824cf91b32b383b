#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// A second copy of the app (opened from Finder while the login item already runs one) must not
// drive Codex beside the first: it hands over to the copy already running, and quits.
// The copy to hand over to, if any: the same bundle identifier under a smaller process identifier.
// Identifiers grow with each launch, so of two copies started together exactly one stays, even
// after the numbers wrap round.
[[nodiscard]] std::optional<ProcessID> runningInstanceToDeferTo(
    const std::vector<RunningApplication>& running, std::string_view bundleIdentifier,
    ProcessID ownProcess);

// Asks the copy to hand over to, if any, to come forward, in the way this macOS honours; true when
// there is one, and this copy should quit.
[[nodiscard]] bool handOverToRunningInstance(Workspace& workspace,
                                             std::string_view bundleIdentifier,
                                             ProcessID ownProcess);

}  // namespace gaugely
