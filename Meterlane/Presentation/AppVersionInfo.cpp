#include "Meterlane/Presentation/AppVersionInfo.h"

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

std::string AppVersionInfo::settingsText() const {
    return "Version " + version + " (" + build + ")";
}

std::string AppVersionInfo::visibleCustomerVersionText() const {
    return "Version " + version;
}

std::string AppVersionInfo::copyText() const {
    return appName + "\n" + settingsText();
}

AppVersionInfo AppVersionPresentation::information(std::string_view displayName,
                                                   std::string_view bundleName,
                                                   std::string_view shortVersion,
                                                   std::string_view build) {
    const auto firstOf = [](std::initializer_list<std::string_view> candidates) {
        for (const std::string_view candidate : candidates) {
            std::string trimmed = text::trimmed(candidate);
            if (!trimmed.empty()) {
                return trimmed;
            }
        }
        return std::string();
    };
    return AppVersionInfo{firstOf({displayName, bundleName, fallbackAppName}),
                          firstOf({shortVersion, unknown}), firstOf({build, unknown})};
}

AboutPresentation AboutPresentation::make(const AppVersionInfo& version,
                                          std::string_view developerName,
                                          std::string_view productDescription) {
    AboutPresentation about;
    about.appName = version.appName;
    about.productDescription = text::trimmed(productDescription);
    about.versionText = version.settingsText();
    const std::string developer = text::trimmed(developerName);
    about.developerText = developer.empty() ? std::string() : "By " + developer;
    about.copiedText = version.copyText();
    return about;
}

}  // namespace gaugely
