#include "Meterlane/Startup/AppMetadata.h"

#include "LowUsageNotificationSupport/MenuBarBrandingPolicy.h"

namespace gaugely {

AppMetadata AppMetadata::read(const BundleInformation& bundle) {
    const auto value = [&](std::string_view key) { return bundle.stringValue(key).value_or(""); };
    AppMetadata metadata;
    metadata.versionInfo = AppVersionPresentation::information(
        value("CFBundleDisplayName"), value("CFBundleName"), value("CFBundleShortVersionString"),
        value("CFBundleVersion"));
    const std::optional<std::string> identifier = bundle.bundleIdentifier();
    metadata.isGaugelyProductionIdentity = MenuBarBrandingPolicy::shouldShowProductionTemplateIcon(
        identifier ? std::optional<std::string_view>(*identifier) : std::nullopt);
    metadata.aboutPresentation = AboutPresentation::make(
        metadata.versionInfo, value("GaugelyDeveloperName"), value("GaugelyProductDescription"));
    metadata.privacyInformation =
        PrivacyPermissionsPresentation::information(metadata.versionInfo.appName);
    return metadata;
}

}  // namespace gaugely
