#pragma once

#include <string>
#include <string_view>

namespace gaugely {

// What the settings window's "Privacy & Permissions" section and the privacy window say about
// the two permissions and the data, with the application's display name where it appears.
struct PrivacyPermissionsInformation {
    std::string settingsSummary;
    std::string accessibilitySummary;
    std::string notificationsSummary;
    std::string dataSummary;
    std::string accessibilityDetails;
    std::string notificationsDetails;
    std::string codexLogsDetails;
    std::string localDataDetails;
    std::string networkDetails;

    bool operator==(const PrivacyPermissionsInformation&) const = default;
};

struct PrivacyPermissionsPresentation {
    static PrivacyPermissionsInformation information(std::string_view appName);
};

}  // namespace gaugely
