#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"

#include "LowUsageNotificationSupport/Regex.h"
#include "SharedUpdateSupport/BuildNumber.h"

namespace gaugely {

namespace {

std::optional<std::string> onHost(std::string_view host, std::string_view path) {
    if (host.empty()) {
        return std::nullopt;
    }
    return "https://" + std::string(host) + std::string(path);
}

bool isBase64Digit(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
}

// An information page: on the feed host, under our folder, with no step out of it.
bool isInformationLink(std::string_view link, std::string_view host) {
    const auto prefix = onHost(host, ProductionUpdaterConfiguration::informationPath);
    if (!prefix || !link.starts_with(*prefix)) {
        return false;
    }
    const std::string_view rest = link.substr(prefix->size());
    for (const char c : rest) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '\\' || c == 0x7F) {
            return false;
        }
    }
    const std::string path = "/" + std::string(rest.substr(0, rest.find_first_of("?#")));
    return path.find("/../") == std::string::npos && path.find("/./") == std::string::npos &&
           !path.ends_with("/..") && !path.ends_with("/.");
}

}  // namespace

std::optional<std::string> ProductionUpdaterConfiguration::feedURL(std::string_view host) {
    return onHost(host, feedPath);
}

std::optional<std::string> ProductionUpdaterConfiguration::releaseBase(std::string_view host) {
    return onHost(host, releasePath);
}

bool isBase64OfLength(std::string_view text, std::size_t bytes) {
    if (text.size() != (bytes + 2) / 3 * 4) {
        return false;
    }
    const std::size_t padding = (3 - bytes % 3) % 3;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool padded = i >= text.size() - padding;
        if (padded ? text[i] != '=' : !isBase64Digit(text[i])) {
            return false;
        }
    }
    return true;
}

std::optional<UpdaterValidationError> ProductionUpdaterConfiguration::validate(
    const BundleKeys& keys, std::string_view host) {
    using E = ValidationError;
    if (keys.bundleIdentifier != bundleIdentifier) {
        return E::wrongBundleIdentifier;
    }
    if (!keys.configuredFeedURL || keys.configuredFeedURL->empty()) {
        return E::missingFeedURL;
    }
    if (keys.configuredFeedURL != feedURL(host)) {
        return E::wrongFeedURL;
    }
    if (!keys.publicKey || keys.publicKey->empty()) {
        return E::missingPublicKey;
    }
    if (*keys.publicKey != publicVerificationKey || !isBase64OfLength(*keys.publicKey, 32)) {
        return E::invalidPublicKey;
    }
    if (keys.automaticChecksEnabled != false) {
        return E::automaticChecksMustBeDisabled;
    }
    if (keys.automaticallyUpdates != false) {
        return E::automaticInstallationMustBeDisabled;
    }
    if (keys.verifiesBeforeExtraction != true) {
        return E::verificationMustBeEnabled;
    }
    if (keys.systemProfilingEnabled != false) {
        return E::profilingMustBeDisabled;
    }
    if (keys.requiresSignedFeed != true) {
        return E::signedFeedMustBeRequired;
    }
    return std::nullopt;
}

std::optional<ItemRefusal> productionItemRefusal(const UpdateCandidate& item,
                                                 std::string_view host) {
    if (item.informational) {
        return ItemRefusal::informationOnly;
    }
    if (!item.download) {
        return ItemRefusal::missingDownload;
    }
    if (!item.information) {
        return ItemRefusal::missingInformation;
    }
    const auto build = readBuildNumber(item.build);
    if (!build || *build == 0) {
        return ItemRefusal::unreadableBuild;
    }
    static thread_local const Regex versionPattern("^[0-9]+\\.[0-9]+\\.[0-9]+$");
    if (!versionPattern.matchesEntirely(item.version)) {
        return ItemRefusal::malformedVersion;
    }
    const auto base = ProductionUpdaterConfiguration::releaseBase(host);
    if (!base || *item.download != *base + item.version + "/build-" + item.build + "/Gaugely-" +
                                       item.version + ".zip") {
        return ItemRefusal::wrongDownload;
    }
    if (!isInformationLink(*item.information, host)) {
        return ItemRefusal::wrongInformation;
    }
    return std::nullopt;
}

}  // namespace gaugely
