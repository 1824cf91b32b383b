#pragma once

#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"

namespace gaugely {

// Which windows a plan shows.
enum class QuotaSchema { monthlyOnly, dualWindow, weeklyOnly, proGeneralWeeklyPercentageOnly };

template <>
struct EnumTraits<QuotaSchema> {
    static constexpr std::array<std::pair<QuotaSchema, std::string_view>, 4> cases{{
        {QuotaSchema::monthlyOnly, "monthlyOnly"},
        {QuotaSchema::dualWindow, "dualWindow"},
        {QuotaSchema::weeklyOnly, "weeklyOnly"},
        {QuotaSchema::proGeneralWeeklyPercentageOnly, "proGeneralWeeklyPercentageOnly"},
    }};
};

const std::vector<QuotaWindow>& requiredWindows(QuotaSchema schema);

// Whether the menu reader for a schema is known to work.
enum class QuotaReaderSupport { validated, unvalidated };

struct PlanQuotaConfiguration {
    QuotaSchema schema = QuotaSchema::dualWindow;
    QuotaReaderSupport readerSupport = QuotaReaderSupport::validated;
    bool supportsLowUsageNotifications = true;
    bool supportsResetNotifications = true;

    static PlanQuotaConfiguration configuration(CodexPlan plan);

    // "General Weekly" for the pro plan's weekly window, otherwise the window's own title.
    std::string_view lowUsageNotificationTitle(QuotaWindow window) const;

    bool operator==(const PlanQuotaConfiguration&) const = default;
};

// How the refresh run reads a plan's usage.
enum class ProfileUsageReadStrategy { expandUsageRemaining, readDirectProfileUsagePercentage };

ProfileUsageReadStrategy profileUsageReadStrategy(CodexPlan plan);

}  // namespace gaugely
