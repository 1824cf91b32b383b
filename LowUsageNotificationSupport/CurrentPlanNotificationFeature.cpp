#include "LowUsageNotificationSupport/CurrentPlanNotificationFeature.h"

#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

bool hasEnabledCurrentPlanNotificationFeature(
    bool hasExplicitPlanSelection, CodexPlan plan,
    const std::function<bool(QuotaWindow)>& isLowUsageEnabled, bool resetNotificationsEnabled) {
    if (!hasExplicitPlanSelection) {
        return false;
    }
    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    for (const QuotaWindow window : requiredWindows(configuration.schema)) {
        if (isLowUsageEnabled && isLowUsageEnabled(window)) {
            return true;
        }
    }
    // The pro reading carries no reset time, so its reset setting switches nothing on.
    return plan != CodexPlan::pro && resetNotificationsEnabled;
}

}  // namespace gaugely
