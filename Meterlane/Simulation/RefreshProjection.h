#pragma once

// What a refresh would cost at a given accessibility latency, by the cost model `gaugely simulate
// --ax-latency` uses: the simulated Codex charges every round trip that much time, and a manual
// refresh runs against it, the first of a session and a later one (the first does not yet know
// where the menu appears). The verification runs it at the latency measured on a Mac.

#include <cstddef>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Simulation/RefreshCost.h"

namespace gaugely {

struct RefreshProjection {
    double secondsPerRoundTrip = 0;
    std::size_t webContentElements = 0;
    RefreshCost first;
    RefreshCost later;
};

// A simulated Codex of the plan whose window holds `webContentElements` of web content (a Mac's
// recorded count, or the reference window's), two manual refreshes 5 s apart.
[[nodiscard]] RefreshProjection projectManualRefresh(CodexPlan plan, double secondsPerRoundTrip,
                                                     std::size_t webContentElements);

}  // namespace gaugely
