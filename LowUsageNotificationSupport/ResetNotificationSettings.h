#pragma once

#include <optional>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// One switch for reset notifications of every window. On by default, like the low-usage alerts:
// both only ever announce changes the user has not seen yet, and the permission prompt comes
// with the first one.
struct ResetNotificationSettings {
    bool isEnabled = true;

    Json toJson() const {
        Json json = Json::object();
        json["isEnabled"] = isEnabled;
        return json;
    }
    static std::optional<ResetNotificationSettings> fromJson(const Json& json) {
        const auto isEnabled = jsonBool(json, "isEnabled");
        if (!isEnabled) {
            return std::nullopt;
        }
        return ResetNotificationSettings{*isEnabled};
    }

    bool operator==(const ResetNotificationSettings&) const = default;
};

}  // namespace gaugely
