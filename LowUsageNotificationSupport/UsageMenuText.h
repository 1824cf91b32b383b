#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {

// The snapshot that the expanded "Usage remaining" menu shows for the selected plan, from the
// menu's text lines in reading order. Free / Go reads the monthly window, Plus the 5-hour and
// weekly windows; Pro is never read from this menu (its value is in the profile item titles), so
// it gives none, as does an empty menu. Fields that were not shown stay "Not Found": whether the
// reading is complete is decided afterwards, by the plan's schema.
std::optional<UsageSnapshot> usageSnapshotFromUsageRemainingMenu(
    CodexPlan selectedPlan, const std::vector<std::string>& orderedText);

}  // namespace gaugely
