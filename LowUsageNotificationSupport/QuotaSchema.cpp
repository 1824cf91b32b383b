#include "LowUsageNotificationSupport/QuotaSchema.h"

#include <string>

namespace gaugely {

std::string planWindowKey(std::string_view planIdentifier, QuotaWindow window) {
    std::string key(planIdentifier);
    key += '.';
    key += rawValue(window);
    return key;
}

const std::vector<QuotaWindow>& requiredWindows(QuotaSchema schema) {
    static const std::vector<QuotaWindow> monthly{QuotaWindow::monthly};
    static const std::vector<QuotaWindow> dual{QuotaWindow::fiveHour, QuotaWindow::weekly};
    static const std::vector<QuotaWindow> weekly{QuotaWindow::weekly};
    switch (schema) {
        case QuotaSchema::monthlyOnly:
            return monthly;
        case QuotaSchema::dualWindow:
            return dual;
        case QuotaSchema::weeklyOnly:
        case QuotaSchema::proGeneralWeeklyPercentageOnly:
            return weekly;
    }
    return weekly;
}

PlanQuotaConfiguration PlanQuotaConfiguration::configuration(CodexPlan plan) {
    switch (plan) {
        case CodexPlan::freeGo:
            return {QuotaSchema::monthlyOnly, QuotaReaderSupport::validated, true, true};
        case CodexPlan::plus:
            return {QuotaSchema::dualWindow, QuotaReaderSupport::validated, true, true};
        case CodexPlan::pro:
            // The pro reading carries no reset time, so it cannot tell a reset.
            return {QuotaSchema::proGeneralWeeklyPercentageOnly, QuotaReaderSupport::validated,
                    true, false};
    }
    return {};
}

std::string_view PlanQuotaConfiguration::lowUsageNotificationTitle(QuotaWindow window) const {
    if (schema == QuotaSchema::proGeneralWeeklyPercentageOnly && window == QuotaWindow::weekly) {
        return "General Weekly";
    }
    return notificationTitle(window);
}

ProfileUsageReadStrategy profileUsageReadStrategy(CodexPlan plan) {
    return plan == CodexPlan::pro ? ProfileUsageReadStrategy::readDirectProfileUsagePercentage
                                  : ProfileUsageReadStrategy::expandUsageRemaining;
}

}  // namespace gaugely
