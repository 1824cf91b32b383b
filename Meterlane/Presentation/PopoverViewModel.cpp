#include "Meterlane/Presentation/PopoverViewModel.h"

#include <algorithm>
#include <cmath>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Presentation/DatedTimeText.h"
#include "Meterlane/Presentation/StatusPresentation.h"

namespace gaugely {

namespace {

constexpr std::string_view noTimeText = "\u2014";

}  // namespace

std::string formattedTimestamp(Date date, RefreshFrequency frequency,
                               const TimeFormatter& formatter) {
    return formatter.timeOfDay(date, frequency == RefreshFrequency::thirtySeconds);
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
                                       RefreshFrequency frequency, const TimeFormatter& formatter) {
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

std::string usagePaceTimeText(Date runsOutAt, std::optional<Date> readAt,
                              const TimeFormatter& formatter) {
    std::string text = formatter.timeOfDay(runsOutAt, false);
    // A time of day alone would read as today's; a weekly window may run out days later.
    if (!readAt || runsOutAt.timeIntervalSince(*readAt) > 18 * 60 * 60) {
        if (const auto day = formatter.format(runsOutAt, "MMM d", "en_US_POSIX", "")) {
            text = *day + ", " + text;
        }
    }
    return text;
}

namespace {

UsageSection usageSection(std::string title, const std::string& percentage,
                          const std::optional<std::string>& reset, QuotaWindow window,
                          const PopoverInput& input, const TimeFormatter& formatter) {
    UsageSection section;
    section.title = std::move(title);
    section.percentage = percentage;
    section.progress = usageProgress(percentage);
    // A log reading may lack a window, or a window's reset time.
    const std::string lead =
        input.windowsShownAsReset.contains(window) ? "Was reset at " : "Reset ";
    const auto resetsAt = input.resetsAt.find(window);
    if (!reset || *reset == notFoundText) {
    } else if (input.datedTimesNow && input.source == UsageSource::codexLogs &&
               resetsAt != input.resetsAt.end()) {
        section.resetLine =
            lead + datedTimeText(resetsAt->second, *input.datedTimesNow, false, formatter);
    } else {
        section.resetLine = lead + *reset;
    }
    if (const auto pace = input.usagePace.find(window); pace != input.usagePace.end()) {
        const UsagePaceEstimate& estimate = pace->second;
        std::string runsOut;
        if (estimate.runsOutAt && input.datedTimesNow) {
            runsOut = datedTimeText(*estimate.runsOutAt, *input.datedTimesNow, false, formatter);
        } else if (estimate.runsOutAt) {
            runsOut =
                usagePaceTimeText(*estimate.runsOutAt, input.currentDisplayLastUpdated, formatter);
        }
        section.paceLine = usagePaceText(window, estimate, runsOut);
    }
    return section;
}

std::vector<UsageSection> usageSections(const PopoverInput& input, const TimeFormatter& formatter) {
    const UsageSnapshot& snapshot = input.currentDisplaySnapshot;
    switch (input.plan) {
        case CodexPlan::freeGo:
            return {usageSection("Monthly", snapshot.monthly, snapshot.monthlyReset,
                                 QuotaWindow::monthly, input, formatter)};
        case CodexPlan::plus:
            return {usageSection("5h", snapshot.fiveHour, snapshot.fiveHourReset,
                                 QuotaWindow::fiveHour, input, formatter),
                    usageSection("Weekly", snapshot.weekly, snapshot.weeklyReset,
                                 QuotaWindow::weekly, input, formatter)};
        case CodexPlan::pro:
            // The menu's pro reading has no reset time to show; the logs' has.
            return {usageSection("General Weekly", snapshot.weekly,
                                 input.source == UsageSource::codexLogs
                                     ? std::optional<std::string>(snapshot.weeklyReset)
                                     : std::nullopt,
                                 QuotaWindow::weekly, input, formatter)};
    }
    return {};
}

}  // namespace

PopoverViewModel PopoverViewModel::make(const PopoverInput& input, const TimeFormatter& formatter) {
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
                model.sections = usageSections(input, formatter);
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
        const bool withSeconds = input.refreshFrequency == RefreshFrequency::thirtySeconds;
        model.lastUpdatedText =
            "Last updated: " + (input.datedTimesNow
                                    ? datedTimeText(*input.currentDisplayLastUpdated,
                                                    *input.datedTimesNow, withSeconds, formatter)
                                    : formattedTimestamp(*input.currentDisplayLastUpdated,
                                                         input.refreshFrequency, formatter));
        if (input.source == UsageSource::codexLogs) {
            *model.lastUpdatedText += " \u00B7 from " + std::string(sourceTitle(input.source));
        }
    }
    model.automaticRefreshStatusText = gaugely::automaticRefreshStatusText(
        input.automaticRefreshEnabled, input.automaticRefreshIsPending,
        input.nextAutomaticRefreshDate, input.refreshFrequency, formatter);

    if (input.updatedToVersion) {
        model.updatedNote = "Gaugely was updated to version " + *input.updatedToVersion + ".";
    }
    if (input.inputMonitoringUnavailable && model.showsFooter) {
        model.inputMonitoringNotice = PopoverNotice{
            "Automatic refresh needs Input Monitoring permission to notice your "
            "typing, so it waits.",
            "Open Input Monitoring Settings\u2026"};
    }
    model.appActions = {{PopoverAppAction::Kind::settings, "Settings\u2026", ","},
                        {PopoverAppAction::Kind::about, "About Gaugely", ""},
                        {PopoverAppAction::Kind::quit, "Quit Gaugely", "q"}};
    if (input.updateOfferVersion) {
        model.updateOffer = UpdateOfferRow{
            "Gaugely " + *input.updateOfferVersion + " is available.", "View Update \u2192"};
    }
    return model;
}

}  // namespace gaugely
