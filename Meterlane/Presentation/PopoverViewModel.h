#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/UsagePace.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "LowUsageNotificationSupport/UsageSnapshotPresentationState.h"
#include "LowUsageNotificationSupport/UsageSnapshotSources.h"
#include "Meterlane/Platform/TimeFormatter.h"

namespace gaugely {

// The time of day in the user's locale. Seconds are only worth showing when refreshes come every
// thirty seconds.
std::string formattedTimestamp(Date date, RefreshFrequency frequency,
                               const TimeFormatter& formatter);

// When a window runs out at the current pace, as the pace line says it: the time of day, with the
// day in front ("Nov 24, 2:10 PM") when it is more than 18 hours after the reading.
std::string usagePaceTimeText(Date runsOutAt, std::optional<Date> readAt,
                              const TimeFormatter& formatter);

// The bar's fill, 0 to 1, for a percentage text: "%" removed, then read as a decimal number; text
// that is not a number fills nothing, and the value is held to 0...100.
double usageProgress(std::string_view percentage);

// The reader's state that the popover draws, gathered by the caller so the popover's content can
// be decided without a reader.
struct PopoverInput {
    CodexPlan plan = CodexPlan::plus;
    bool hasExplicitPlanSelection = false;
    bool accessibilityGranted = false;
    UsageSnapshotPresentationState presentationState =
        UsageSnapshotPresentationState::planSelectionRequired;
    UsageSnapshot currentDisplaySnapshot;
    std::optional<Date> currentDisplayLastUpdated;
    // Where the shown reading came from.
    UsageSource source = UsageSource::codexMenu;
    // The windows of a log reading whose reset time has passed with no newer line.
    std::set<QuotaWindow> windowsShownAsReset;
    // The pace of each window of the plan; a window without an entry has no estimate.
    std::map<QuotaWindow, UsagePaceEstimate> usagePace;
    // When each window resets, as the logs said.
    std::map<QuotaWindow, Date> resetsAt;
    // The terminal views' way with times, set to now: each time not on this day carries its day
    // (the popover, looked at when it opens, keeps times of day), and for a reading from the logs
    // the reset is written in the user's clock from `resetsAt` rather than as Codex's menu
    // writes it. A reading from the menu keeps Codex's own reset texts either way.
    std::optional<Date> datedTimesNow;
    // The reader's `userFacingStatusMessage`.
    std::optional<std::string> statusMessage;
    RefreshFrequency refreshFrequency = defaultRefreshFrequency;
    bool automaticRefreshEnabled = true;
    bool automaticRefreshIsPending = false;
    std::optional<Date> nextAutomaticRefreshDate;
    // The version of an offered update the user has not dealt with yet, when there is one.
    std::optional<std::string> updateOfferVersion;
    // The version this launch was updated to, shown once after a verified update.
    std::optional<std::string> updatedToVersion;
    // The listen-only monitor of real input could not be made (macOS wants Input Monitoring
    // permission), so every automatic refresh would be put off without a word.
    bool inputMonitoringUnavailable = false;
};

// What the popover's main area holds.
enum class PopoverBlock {
    planSelection,
    accessibilityPermission,
    usageNotSynced,
    unvalidatedPlan,
    usageMonitor,
};

// One window of the usage monitor.
struct UsageSection {
    std::string title;
    // The percentage text exactly as read, "Not Found" included.
    std::string percentage;
    double progress = 0;
    // "Reset " followed by the reset text, or "Was reset at " and the time for a window shown as
    // reset; none for a window whose reading has no reset time.
    std::optional<std::string> resetLine;
    // "At this pace, 5h runs out around 2:10 PM — …"; none while there is no estimate.
    std::optional<std::string> paceLine;

    bool operator==(const UsageSection&) const = default;
};

enum class StatusLineStyle {
    // Drawn in orange: the numbers on screen may no longer be true.
    warning,
    secondary,
};

struct StatusLine {
    std::string text;
    StatusLineStyle style = StatusLineStyle::secondary;

    bool operator==(const StatusLine&) const = default;
};

struct UpdateOfferRow {
    std::string text;
    std::string actionTitle;

    bool operator==(const UpdateOfferRow&) const = default;
};

inline constexpr std::string_view accessibilitySettingsURL =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
inline constexpr std::string_view inputMonitoringSettingsURL =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ListenEvent";

// A line with a button beside it: the update offer, the input-monitoring warning.
struct PopoverNotice {
    std::string text;
    std::string actionTitle;

    bool operator==(const PopoverNotice&) const = default;
};

// The app's own actions at the foot of the popover; an agent app has no menu bar of its own, so
// without them it could only be quit from Activity Monitor.
struct PopoverAppAction {
    enum class Kind { settings, about, quit };
    Kind kind = Kind::settings;
    std::string title;
    std::string keyEquivalent;  // with the Command key

    bool operator==(const PopoverAppAction&) const = default;
};

// Everything the popover shows, as text and values; the platform view only lays it out.
struct PopoverViewModel {
    PopoverBlock block = PopoverBlock::planSelection;
    // The texts of every block but the usage monitor.
    std::optional<std::string> blockTitle;
    std::optional<std::string> blockText;
    // "Open System Settings" in the permission block; it runs `openAccessibilitySettings`.
    std::optional<std::string> blockActionTitle;
    // One per window of the plan, in the usage monitor only.
    std::vector<UsageSection> sections;

    // The footer, shown once a plan is chosen: status, last update, schedule and "Refresh".
    bool showsFooter = false;
    std::optional<StatusLine> statusLine;
    std::optional<std::string> lastUpdatedText;
    std::string automaticRefreshStatusText;
    std::string refreshActionTitle = "Refresh";

    std::optional<UpdateOfferRow> updateOffer;
    // "Gaugely was updated to version 1.0.4."
    std::optional<std::string> updatedNote;
    std::optional<PopoverNotice> inputMonitoringNotice;
    std::vector<PopoverAppAction> appActions;

    static PopoverViewModel make(const PopoverInput& input, const TimeFormatter& formatter);
};

// The popover's one line about the schedule.
std::string automaticRefreshStatusText(bool automaticRefreshEnabled, bool automaticRefreshIsPending,
                                       std::optional<Date> nextAutomaticRefreshDate,
                                       RefreshFrequency frequency, const TimeFormatter& formatter);

}  // namespace gaugely
