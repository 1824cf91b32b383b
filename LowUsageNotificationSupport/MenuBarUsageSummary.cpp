#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"

#include "LowUsageNotificationSupport/MonthlyMenuBarPresentation.h"
#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

namespace {

constexpr std::string_view missingValue = "\u2014";
constexpr std::string_view dot = "\u00B7";

std::string shown(const std::string& percentage) {
    return percentage == notFoundText ? std::string(missingValue) : percentage;
}

std::string withoutPercentSigns(std::string_view text) {
    return text::replacingAll(text, "%", "");
}

}  // namespace

std::string menuBarUsageSummary(bool hasExplicitPlanSelection, CodexPlan plan,
                                MenuBarDisplay display,
                                const UsageSnapshot& currentDisplaySnapshot) {
    if (!hasExplicitPlanSelection) {
        return "Set plan";
    }
    const MenuBarDisplay format =
        compatibleChoice(display, PlanQuotaConfiguration::configuration(plan).schema);
    const std::string fiveHour = shown(currentDisplaySnapshot.fiveHour);
    const std::string weekly = shown(currentDisplaySnapshot.weekly);
    const std::string monthly = shown(currentDisplaySnapshot.monthly);

    switch (plan) {
        case CodexPlan::freeGo:
            switch (format) {
                case MenuBarDisplay::compact:
                    return summary(monthly, MonthlyMenuBarPresentation::compact);
                case MenuBarDisplay::minimal:
                    return summary(monthly, MonthlyMenuBarPresentation::minimal);
                case MenuBarDisplay::standard:
                case MenuBarDisplay::fiveHourOnly:
                case MenuBarDisplay::weeklyOnly:
                    return summary(monthly, MonthlyMenuBarPresentation::standard);
            }
            break;
        case CodexPlan::plus:
            switch (format) {
                case MenuBarDisplay::standard:
                    // Spaces around the dot only here: compact and minimal trade them for width.
                    return "5h " + fiveHour + " " + std::string(dot) + " W " + weekly;
                case MenuBarDisplay::compact:
                    return fiveHour + std::string(dot) + weekly;
                case MenuBarDisplay::minimal:
                    return withoutPercentSigns(fiveHour) + std::string(dot) +
                           withoutPercentSigns(weekly);
                case MenuBarDisplay::fiveHourOnly:
                    return "5h " + fiveHour;
                case MenuBarDisplay::weeklyOnly:
                    return "W " + weekly;
            }
            break;
        case CodexPlan::pro:
            switch (format) {
                case MenuBarDisplay::compact:
                    return weekly;
                case MenuBarDisplay::minimal:
                    return withoutPercentSigns(weekly);
                case MenuBarDisplay::standard:
                case MenuBarDisplay::fiveHourOnly:
                case MenuBarDisplay::weeklyOnly:
                    return "W " + weekly;
            }
            break;
    }
    return "W " + weekly;
}

}  // namespace gaugely
