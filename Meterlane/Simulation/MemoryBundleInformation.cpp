#include "Meterlane/Simulation/MemoryBundleInformation.h"

#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"

namespace gaugely {

MemoryBundleInformation MemoryBundleInformation::production(std::string_view host,
                                                            std::string_view version,
                                                            std::string_view build,
                                                            std::string path) {
    using Production = ProductionUpdaterConfiguration;
    MemoryBundleInformation bundle(std::string(Production::bundleIdentifier), std::move(path));
    bundle.set("CFBundleShortVersionString", std::string(version));
    bundle.set("CFBundleVersion", std::string(build));
    if (const auto feed = Production::feedURL(host)) {
        bundle.set("SUFeedURL", *feed);
    }
    bundle.set("SUPublicEDKey", std::string(Production::publicVerificationKey));
    bundle.set("SUEnableAutomaticChecks", false);
    bundle.set("SUAutomaticallyUpdate", false);
    bundle.set("SUVerifyUpdateBeforeExtraction", true);
    bundle.set("SUEnableSystemProfiling", false);
    bundle.set("SURequireSignedFeed", true);
    bundle.set("SUAllowsAutomaticUpdates", false);
    return bundle;
}

bool MemoryBundleInformation::hasValue(std::string_view key) const {
    return values_.find(key) != values_.end();
}

std::optional<std::string> MemoryBundleInformation::stringValue(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end() || !std::holds_alternative<std::string>(found->second)) {
        return std::nullopt;
    }
    return std::get<std::string>(found->second);
}

std::optional<bool> MemoryBundleInformation::boolValue(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end() || !std::holds_alternative<bool>(found->second)) {
        return std::nullopt;
    }
    return std::get<bool>(found->second);
}

}  // namespace gaugely
