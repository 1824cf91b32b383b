#include "Meterlane/Presentation/PopoverViewModel.h"

#include <langinfo.h>

#include <algorithm>
#include <cmath>
#include <ctime>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/Text.h"
#include "LowUsageNotificationSupport/UsageStatusPresentationPolicy.h"

namespace gaugely {

namespace {

constexpr std::string_view noTimeText = "\u2014";

// Expands the composite conversions so the seconds field can be found on its own.
std::string expandedTimeFormat(std::string_view format) {
    std::string expanded;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] == '%' && i + 1 < format.size()) {
            const char conversion = format[i + 1];
            if (conversion == 'T') {
                expanded += "%H:%M:%S";
            } else if (conversion == 'r') {
                expanded += "%I:%M:%S %p";
            } else {
                expanded += format.substr(i, 2);
            }
            ++i;
        } else {
            expanded += format[i];
        }
    }
    return expanded;
}

bool isAsciiPunctuation(char c) {
    return c == ':' || c == '.' || c == ',' || c == '\'' || c == '-';
}

}  // namespace

std::string timeFormatWithoutSeconds(std::string_view format) {
    const std::string expanded = expandedTimeFormat(format);
    std::string result;
    std::size_t i = 0;
    while (i < expanded.size()) {
        const bool isSeconds =
            expanded[i] == '%' && i + 1 < expanded.size() && expanded[i + 1] == 'S';
        if (!isSeconds) {
            // Copy a conversion whole, so "%%S" stays a literal.
            const std::size_t length = expanded[i] == '%' && i + 1 < expanded.size() ? 2 : 1;
            result.append(expanded, i, length);
            i += length;
            continue;
        }
        i += 2;
        // The seconds field goes with the separator that joins it to the minutes ("%M:%S"), or,
        // where it has none, with the unit text that follows it ("%S秒").
        if (!result.empty() && isAsciiPunctuation(result.back())) {
            result.pop_back();
        } else {
            while (i < expanded.size() && expanded[i] != '%' && expanded[i] != ' ') {
                ++i;
            }
        }
    }
    // A unit-suffixed seconds field may leave the space that introduced it ("%M분 %S초").
    while (!result.empty() && result.back() == ' ') {
        result.pop_back();
    }
    return result;
}

std::string formatTimeOfDayInCurrentLocale(Date date, bool includesSeconds) {
    const std::time_t seconds = static_cast<std::time_t>(std::floor(date.unixTime()));
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) {
        return std::string(noTimeText);
    }
    std::string format = nl_langinfo(T_FMT);
    if (format.empty()) {
        format = "%H:%M:%S";
    }
    if (!includesSeconds) {
        format = timeFormatWithoutSeconds(format);
    }
    char buffer[128];
    const std::size_t length = std::strftime(buffer, sizeof buffer, format.c_str(), &local);
    return std::string(buffer, length);
}

std::string formattedTimestamp(Date date, RefreshFrequency frequency,
                               const TimeOfDayFormatter& formatter) {
    const bool includesSeconds = frequency == RefreshFrequency::thirtySeconds;
    return formatter ? formatter(date, includesSeconds)
                     : formatTimeOfDayInCurrentLocale(date, includesSeconds);
}

double usageProgress(std::string_view percentage) {
    const std::string number = text::replacingAll(percentage, "%", "");
    // A plain decimal, read by hand so the user's locale (a decimal comma) cannot change it.
    std::size_t i = 0;
    bool negative = false;
    if (i < number.size() && (number[i] == '+' || number[i] == '-')) {
        negative = number[i] == '-';
        ++i;
    }
    double value = 0;
    double scale = 0;
    bool sawDigit = false;
    bool sawPoint = false;
    for (; i < number.size(); ++i) {
        const char c = number[i];
        if (c >= '0' && c <= '9') {
            sawDigit = true;
            if (sawPoint) {
                scale /= 10;
                value += (c - '0') * scale;
            } else {
                value = value * 10 + (c - '0');
            }
        } else if (c == '.' && !sawPoint) {
            sawPoint = true;
            scale = 1;
        } else {
            return 0;
        }
    }
    if (!sawDigit || negative || !(value > 0)) {
        return 0;
    }
    return std::min(value, 100.0) / 100;
}

std::string automaticRefreshStatusText(bool automaticRefreshEnabled, bool automaticRefreshIsPending,
                                       std::optional<Date> nextAutomaticRefreshDate,
                                       RefreshFrequency frequency,
                                       const TimeOfDayFormatter& formatter) {
    if (!automaticRefreshEnabled) {
        return "Automatic refresh: Off";
    }
    if (automaticRefreshIsPending) {
        return "Automatic refresh: Pending";
    }
    if (!nextAutomaticRefreshDate) {
        return "Next automatic refresh: " + std::string(noTimeText);
    }
    return "Next automatic refresh: " +
           formattedTimestamp(*nextAutomaticRefreshDate, frequency, formatter);
}

namespace {

UsageSection usageSection(std::string title, const std::string& percentage,
                          const std::optional<std::string>& reset) {
    UsageSection section;
    section.title = std::move(title);
    section.percentage = percentage;
    section.progress = usageProgress(percentage);
    if (reset) {
        section.resetLine = "Reset " + *reset;
    }
    return section;
}

std::vector<UsageSection> usageSections(CodexPlan plan, const UsageSnapshot& snapshot) {
    switch (plan) {
        case CodexPlan::freeGo:
            return {usageSection("Monthly", snapshot.monthly, snapshot.monthlyReset)};
        case CodexPlan::plus:
            return {usageSection("5h", snapshot.fiveHour, snapshot.fiveHourReset),
                    usageSection("Weekly", snapshot.weekly, snapshot.weeklyReset)};
        case CodexPlan::pro:
            // The pro reading has no reset time to show.
            return {usageSection("General Weekly", snapshot.weekly, std::nullopt)};
    }
    return {};
}

}  // namespace

PopoverViewModel PopoverViewModel::make(const PopoverInput& input,
                                        const TimeOfDayFormatter& formatter) {
    PopoverViewModel model;
    if (input.presentationState == UsageSnapshotPresentationState::planSelectionRequired) {
        model.block = PopoverBlock::planSelection;
        model.blockTitle = "Choose your Codex plan";
        model.blockText = "Open Settings to select Free / Go or Plus before refreshing usage.";
    } else if (!input.accessibilityGranted) {
        model.block = PopoverBlock::accessibilityPermission;
        model.blockTitle = std::string(accessibilityPermissionStatusText);
        model.blockActionTitle = "Open System Settings";
    } else {
        switch (input.presentationState) {
            case UsageSnapshotPresentationState::planSelectionRequired:
            case UsageSnapshotPresentationState::noUsageData:
                model.block = PopoverBlock::usageNotSynced;
                model.blockTitle = "Usage not synced";
                model.blockText = "Refresh to load usage for this plan.";
                break;
            case UsageSnapshotPresentationState::unvalidatedPlan:
                model.block = PopoverBlock::unvalidatedPlan;
                model.blockText = unvalidatedPlanMessage(input.plan);
                break;
            case UsageSnapshotPresentationState::dataAvailable:
                model.block = PopoverBlock::usageMonitor;
                model.sections = usageSections(input.plan, input.currentDisplaySnapshot);
                break;
        }
    }

    // Until a plan is chosen nothing can be refreshed, so the plan block stands alone.
    model.showsFooter = model.block != PopoverBlock::planSelection;
    // The permission block already says what the status line would repeat.
    if (model.showsFooter && input.statusMessage && input.statusMessage != model.blockTitle) {
        model.statusLine =
            StatusLine{*input.statusMessage, *input.statusMessage == staleDataStatusText
                                                 ? StatusLineStyle::warning
                                                 : StatusLineStyle::secondary};
    }
    if (input.currentDisplayLastUpdated) {
        model.lastUpdatedText =
            "Last updated: " +
            formattedTimestamp(*input.currentDisplayLastUpdated, input.refreshFrequency, formatter);
    }
    model.automaticRefreshStatusText = gaugely::automaticRefreshStatusText(
        input.automaticRefreshEnabled, input.automaticRefreshIsPending,
        input.nextAutomaticRefreshDate, input.refreshFrequency, formatter);

    if (input.updateOfferVersion) {
        model.updateOffer = UpdateOfferRow{
            "Gaugely " + *input.updateOfferVersion + " is available.", "View Update \u2192"};
    }
    return model;
}

}  // namespace gaugely
