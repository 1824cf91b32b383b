#pragma once

#include <string>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {

// The short text beside the menu bar icon: "Set plan" until a plan is chosen, otherwise the plan's
// percentages in the display format (or `standard` where the plan does not offer it), with "—"
// for a value not read.
std::string menuBarUsageSummary(bool hasExplicitPlanSelection, CodexPlan plan,
                                MenuBarDisplay display,
                                const UsageSnapshot& currentDisplaySnapshot);

}  // namespace gaugely
