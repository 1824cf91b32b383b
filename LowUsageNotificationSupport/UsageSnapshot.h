#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely {

// The text a field holds when Codex did not show it.
inline constexpr std::string_view notFoundText = "Not Found";

// One reading of Codex's usage menu. Values stay the text Codex showed ("72%", "3:45 PM",
// "Sep 12"); numbers are derived on demand.
struct UsageSnapshot {
    std::string fiveHour{notFoundText};
    std::string fiveHourReset{notFoundText};
    std::string weekly{notFoundText};
    std::string weeklyReset{notFoundText};
    std::string monthly{notFoundText};
    std::string monthlyReset{notFoundText};

    static UsageSnapshot empty() { return {}; }

    // The percentage text of a window.
    const std::string& percentage(QuotaWindow window) const;
    // The reset text of a window.
    const std::string& reset(QuotaWindow window) const;

    Json toJson() const;
    static std::optional<UsageSnapshot> fromJson(const Json& json);

    bool operator==(const UsageSnapshot&) const = default;
};

// 0 to 100 from a percentage text such as "72%", or none ("72 %", "101%", "Not Found").
std::optional<int> percentageValue(std::string_view text);

// The readable percentages of the schema's windows, in order; unreadable windows are skipped.
std::vector<std::pair<QuotaWindow, int>> quotaPercentages(const UsageSnapshot& snapshot,
                                                          QuotaSchema schema);

// Whether every window the schema shows has a percentage and a well-formed reset text.
bool isCompleteUsageSnapshot(const UsageSnapshot& snapshot, QuotaSchema schema);

}  // namespace gaugely
