#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"

namespace gaugely {
namespace {

// Optional keys treat an explicit null like a missing key, as the stored records always have.
const Json* presentMember(const Json& object, std::string_view key) {
    const Json* member = jsonMember(object, key);
    return member == nullptr || member->is_null() ? nullptr : member;
}

std::optional<LowUsageAlertThreshold> decodeThreshold(const Json& object, std::string_view key) {
    const auto raw = jsonInteger(object, key);
    return raw ? fromRawValue<LowUsageAlertThreshold>(*raw) : std::nullopt;
}

std::optional<LowUsageAlertRepeat> decodeRepeat(const Json& object, std::string_view key) {
    const auto raw = jsonString(object, key);
    return raw ? fromRawValue<LowUsageAlertRepeat>(*raw) : std::nullopt;
}

std::optional<bool> decodeFlag(const Json& object, std::string_view key) {
    return jsonBool(object, key);
}

// A key of the older flat form: absent gives an empty value (the fallback applies), present but
// invalid fails the whole record.
template <class T>
std::optional<std::optional<T>> legacyField(const Json& object, std::string_view key,
                                            std::optional<T> (*decode)(const Json&,
                                                                       std::string_view)) {
    if (presentMember(object, key) == nullptr) {
        return std::optional<T>();
    }
    std::optional<T> value = decode(object, key);
    if (!value) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

std::string title(LowUsageAlertThreshold threshold) {
    return std::to_string(rawValue(threshold)) + "%";
}

Json LowUsageWindowAlertSettings::toJson() const {
    Json json = Json::object();
    json["isEnabled"] = isEnabled;
    json["threshold"] = rawValue(threshold);
    json["repeatInterval"] = rawValue(repeatInterval);
    return json;
}

std::optional<LowUsageWindowAlertSettings> LowUsageWindowAlertSettings::fromJson(const Json& json) {
    const auto isEnabled = jsonBool(json, "isEnabled");
    const auto threshold = decodeThreshold(json, "threshold");
    const auto repeat = decodeRepeat(json, "repeatInterval");
    if (!isEnabled || !threshold || !repeat) {
        return std::nullopt;
    }
    return LowUsageWindowAlertSettings{*isEnabled, *threshold, *repeat};
}

LowUsageAlertSettings LowUsageAlertSettings::make(bool isEnabled) {
    return make(isEnabled, LowUsageAlertThreshold::twenty, LowUsageAlertRepeat::once);
}

LowUsageAlertSettings LowUsageAlertSettings::make(LowUsageAlertRepeat repeatInterval) {
    return make(true, LowUsageAlertThreshold::twenty, repeatInterval);
}

LowUsageAlertSettings LowUsageAlertSettings::make(bool isEnabled, LowUsageAlertThreshold threshold,
                                                  LowUsageAlertRepeat repeatInterval) {
    return make(isEnabled, threshold, threshold, threshold, repeatInterval);
}

LowUsageAlertSettings LowUsageAlertSettings::make(bool isEnabled,
                                                  LowUsageAlertThreshold fiveHourThreshold,
                                                  LowUsageAlertThreshold weeklyThreshold,
                                                  LowUsageAlertThreshold monthlyThreshold,
                                                  LowUsageAlertRepeat repeatInterval) {
    LowUsageAlertSettings settings;
    settings.fiveHour = {isEnabled, fiveHourThreshold, repeatInterval};
    settings.weekly = {isEnabled, weeklyThreshold, repeatInterval};
    settings.monthly = {isEnabled, monthlyThreshold, repeatInterval};
    return settings;
}

const LowUsageWindowAlertSettings& LowUsageAlertSettings::setting(QuotaWindow window) const {
    switch (window) {
        case QuotaWindow::fiveHour:
            return fiveHour;
        case QuotaWindow::weekly:
            return weekly;
        case QuotaWindow::monthly:
            return monthly;
    }
    return monthly;
}

void LowUsageAlertSettings::set(const LowUsageWindowAlertSettings& setting, QuotaWindow window) {
    switch (window) {
        case QuotaWindow::fiveHour:
            fiveHour = setting;
            return;
        case QuotaWindow::weekly:
            weekly = setting;
            return;
        case QuotaWindow::monthly:
            monthly = setting;
            return;
    }
}

Json LowUsageAlertSettings::toJson() const {
    Json json = Json::object();
    json["fiveHour"] = fiveHour.toJson();
    json["weekly"] = weekly.toJson();
    json["monthly"] = monthly.toJson();
    return json;
}

std::optional<LowUsageAlertSettings> LowUsageAlertSettings::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    LowUsageAlertSettings settings;
    bool anyWindowMissing = false;
    for (const QuotaWindow window : allCases<QuotaWindow>()) {
        const Json* member = presentMember(json, rawValue(window));
        if (member == nullptr) {
            anyWindowMissing = true;
            continue;
        }
        const auto decoded = LowUsageWindowAlertSettings::fromJson(*member);
        if (!decoded) {
            return std::nullopt;
        }
        settings.set(*decoded, window);
    }
    if (!anyWindowMissing) {
        return settings;
    }

    // The older form had one switch, one repeat and a threshold that a window could override.
    const auto isEnabled = legacyField<bool>(json, "isEnabled", decodeFlag);
    const auto threshold = legacyField<LowUsageAlertThreshold>(json, "threshold", decodeThreshold);
    const auto repeat = legacyField<LowUsageAlertRepeat>(json, "repeatInterval", decodeRepeat);
    if (!isEnabled || !threshold || !repeat) {
        return std::nullopt;
    }
    for (const QuotaWindow window : allCases<QuotaWindow>()) {
        if (presentMember(json, rawValue(window)) != nullptr) {
            continue;
        }
        const std::string key = std::string(rawValue(window)) + "Threshold";
        const auto own = legacyField<LowUsageAlertThreshold>(json, key, decodeThreshold);
        if (!own) {
            return std::nullopt;
        }
        settings.set({isEnabled->value_or(true),
                      own->value_or(threshold->value_or(LowUsageAlertThreshold::twenty)),
                      repeat->value_or(LowUsageAlertRepeat::once)},
                     window);
    }
    settings.needsLegacyWindowConfigurationMigration = true;
    return settings;
}

}  // namespace gaugely
