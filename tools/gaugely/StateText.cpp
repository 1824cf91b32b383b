#include "tools/gaugely/StateText.h"

#include <cmath>
#include <ctime>

#include "LowUsageNotificationSupport/QuotaSchema.h"

namespace gaugely::tool {

std::string localDateTimeText(Date date) {
    const auto seconds = static_cast<std::time_t>(std::floor(date.unixTime()));
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        return "?";
    }
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %Z", &local);
    return std::string(text, length);
}

std::string snapshotText(const UsageSnapshot& snapshot, CodexPlan plan) {
    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    std::string text;
    for (const QuotaWindow window : requiredWindows(configuration.schema)) {
        if (!text.empty()) {
            text += " \u00B7 ";
        }
        text += std::string(configuration.lowUsageNotificationTitle(window)) + " " +
                snapshot.percentage(window);
        if (plan != CodexPlan::pro) {
            text += " (reset " + snapshot.reset(window) + ")";
        }
    }
    return text;
}

std::string restoredStateLine(const StoredReaderState& state, std::string_view file, Date now) {
    if (state.isEmpty()) {
        return "Nothing saved in " + std::string(file) + " yet: starting fresh.";
    }
    std::string line = "Restored from " + std::string(file) + ": ";
    if (!state.plan.value) {
        line += "no plan chosen";
    } else {
        const CodexPlan plan = *state.plan.value;
        line += "plan " + std::string(title(plan)) + "; ";
        const auto record =
            state.planSnapshots.value ? state.planSnapshots.value->snapshot(plan) : std::nullopt;
        if (record) {
            line += "reading " + snapshotText(record->snapshot, plan) + " from " +
                    localDateTimeText(record->lastUpdated);
        } else {
            line += "no reading yet";
        }
    }
    if (state.automaticRefreshEnabled.value == false) {
        line += "; automatic refresh off";
    } else {
        line += "; automatic refresh every " +
                std::string(title(
                    state.refreshFrequency.frequency.value.value_or(defaultRefreshFrequency)));
        if (const auto& next = state.nextAutomaticRefreshDate.value) {
            line += ", next " + localDateTimeText(*next) + (*next <= now ? " (overdue)" : "");
        }
    }
    if (const auto& display = state.menuBarDisplay.value;
        display && *display != defaultMenuBarDisplay) {
        line += "; menu bar " + std::string(title(*display));
    }
    const auto unreadable = state.unreadableKeys();
    if (!unreadable.empty()) {
        line += "; unreadable, so defaults:";
        for (const std::string_view key : unreadable) {
            line += " " + std::string(key);
        }
    }
    return line + ".";
}

}  // namespace gaugely::tool
