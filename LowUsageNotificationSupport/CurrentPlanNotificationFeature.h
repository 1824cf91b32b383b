#pragma once

#include <functional>

#include "LowUsageNotificationSupport/CodexPlan.h"

namespace gaugely {

// Whether any notification the current plan can raise is switched on: a low-usage alert of one of
// the plan's windows, else reset notifications where the plan's reading can tell a reset.
// `isLowUsageEnabled` answers for one window from the user's low-usage settings.
bool hasEnabledCurrentPlanNotificationFeature(
    bool hasExplicitPlanSelection, CodexPlan plan,
    const std::function<bool(QuotaWindow)>& isLowUsageEnabled, bool resetNotificationsEnabled);

}  // namespace gaugely
