#pragma once

#include <array>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Enumeration.h"
#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// The remaining percentage at or below which a window counts as low. Persisted as the number
// itself, so it has its own raw-value functions rather than the text table of EnumTraits.
enum class LowUsageAlertThreshold { ten = 10, twenty = 20, thirty = 30, forty = 40 };

constexpr int rawValue(LowUsageAlertThreshold threshold) {
    return static_cast<int>(threshold);
}

template <class E>
requires std::same_as<E, LowUsageAlertThreshold>
constexpr std::optional<E> fromRawValue(long long raw) {
    switch (raw) {
        case 10:
            return LowUsageAlertThreshold::ten;
        case 20:
            return LowUsageAlertThreshold::twenty;
        case 30:
            return LowUsageAlertThreshold::thirty;
        case 40:
            return LowUsageAlertThreshold::forty;
        default:
            return std::nullopt;
    }
}

template <class E>
requires std::same_as<E, LowUsageAlertThreshold>
constexpr std::array<E, 4> allCases() {
    return {LowUsageAlertThreshold::ten, LowUsageAlertThreshold::twenty,
            LowUsageAlertThreshold::thirty, LowUsageAlertThreshold::forty};
}

// "10%", "20%", ...
std::string title(LowUsageAlertThreshold threshold);

// How often a window that stays low is announced again.
enum class LowUsageAlertRepeat { once, thirtyMinutes, oneHour, twoHours };

template <>
struct EnumTraits<LowUsageAlertRepeat> {
    static constexpr std::array<std::pair<LowUsageAlertRepeat, std::string_view>, 4> cases{{
        {LowUsageAlertRepeat::once, "once"},
        {LowUsageAlertRepeat::thirtyMinutes, "thirtyMinutes"},
        {LowUsageAlertRepeat::oneHour, "oneHour"},
        {LowUsageAlertRepeat::twoHours, "twoHours"},
    }};
};

constexpr std::string_view title(LowUsageAlertRepeat repeat) {
    switch (repeat) {
        case LowUsageAlertRepeat::once:
            return "Once";
        case LowUsageAlertRepeat::thirtyMinutes:
            return "Every 30 Minutes";
        case LowUsageAlertRepeat::oneHour:
            return "Every 1 Hour";
        case LowUsageAlertRepeat::twoHours:
            return "Every 2 Hours";
    }
    return {};
}

// Seconds between reminders; none for `once`.
constexpr std::optional<double> timeInterval(LowUsageAlertRepeat repeat) {
    switch (repeat) {
        case LowUsageAlertRepeat::once:
            return std::nullopt;
        case LowUsageAlertRepeat::thirtyMinutes:
            return 1800;
        case LowUsageAlertRepeat::oneHour:
            return 3600;
        case LowUsageAlertRepeat::twoHours:
            return 7200;
    }
    return std::nullopt;
}

// The alert of one usage window.
struct LowUsageWindowAlertSettings {
    bool isEnabled = true;
    LowUsageAlertThreshold threshold = LowUsageAlertThreshold::twenty;
    LowUsageAlertRepeat repeatInterval = LowUsageAlertRepeat::once;

    Json toJson() const;
    // All three keys are required.
    static std::optional<LowUsageWindowAlertSettings> fromJson(const Json& json);

    bool operator==(const LowUsageWindowAlertSettings&) const = default;
};

// The alerts of all windows. A fresh install alerts on every window at 20%, once.
struct LowUsageAlertSettings {
    LowUsageWindowAlertSettings fiveHour;
    LowUsageWindowAlertSettings weekly;
    LowUsageWindowAlertSettings monthly;
    // Set by decoding when a window object was missing and had to be rebuilt from the older
    // single-setting form; the reader then saves the new form at once. Never encoded.
    bool needsLegacyWindowConfigurationMigration = false;

    // Every window with this flag, at 20%, once.
    static LowUsageAlertSettings make(bool isEnabled);
    // Every window enabled at 20% with this repeat.
    static LowUsageAlertSettings make(LowUsageAlertRepeat repeatInterval);
    static LowUsageAlertSettings make(bool isEnabled, LowUsageAlertThreshold threshold,
                                      LowUsageAlertRepeat repeatInterval);
    static LowUsageAlertSettings make(bool isEnabled, LowUsageAlertThreshold fiveHourThreshold,
                                      LowUsageAlertThreshold weeklyThreshold,
                                      LowUsageAlertThreshold monthlyThreshold,
                                      LowUsageAlertRepeat repeatInterval);

    const LowUsageWindowAlertSettings& setting(QuotaWindow window) const;
    void set(const LowUsageWindowAlertSettings& setting, QuotaWindow window);

    Json toJson() const;
    // Accepts the per-window form and the older flat form ("isEnabled", "threshold",
    // "repeatInterval", "fiveHourThreshold", "weeklyThreshold", "monthlyThreshold").
    static std::optional<LowUsageAlertSettings> fromJson(const Json& json);

    // The migration flag is decoding bookkeeping, not a setting, so it takes no part.
    bool operator==(const LowUsageAlertSettings& other) const {
        return fiveHour == other.fiveHour && weekly == other.weekly && monthly == other.monthly;
    }
};

}  // namespace gaugely
