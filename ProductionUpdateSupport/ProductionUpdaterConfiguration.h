#pragma once

// The production updater: its constants, the check that the bundle describes exactly the
// production setup, and the rule that decides which feed items may be offered at all.
//
// The feed host is a build setting (empty in a build without updates); every function that
// needs it takes it as an argument, defaulting to the build's, so tests use their own.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "ProductFacts.h"
#include "SharedUpdateSupport/UpdateCandidate.h"

namespace gaugely {

struct ProductionUpdaterConfiguration {
    static constexpr std::string_view bundleIdentifier = product::bundleIdentifier;
    static constexpr std::string_view publicVerificationKey =
        "nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6Q=";
    static constexpr std::string_view noticeKey = "gaugely-production-update-notice-v1";
    static constexpr std::string_view receiptKey = "gaugely-production-pending-update-receipt-v1";
    static constexpr std::string_view environmentLabel = "Gaugely";
    static constexpr std::string_view releaseTimeZone = "America/Edmonton";
    static constexpr std::string_view feedPath = "/updates/gaugely/appcast.xml";
    static constexpr std::string_view releasePath = "/updates/gaugely/releases/";
    // Where an item's information page must live.
    static constexpr std::string_view informationPath = "/updates/gaugely/";

    // "https://<host>/updates/gaugely/appcast.xml"; none without a host.
    [[nodiscard]] static std::optional<std::string> feedURL(
        std::string_view host = product::feedHost);
    // "https://<host>/updates/gaugely/releases/"; none without a host.
    [[nodiscard]] static std::optional<std::string> releaseBase(
        std::string_view host = product::feedHost);

    enum class ValidationError {
        wrongBundleIdentifier,
        missingFeedURL,
        wrongFeedURL,
        missingPublicKey,
        invalidPublicKey,
        automaticChecksMustBeDisabled,
        automaticInstallationMustBeDisabled,
        verificationMustBeEnabled,
        profilingMustBeDisabled,
        signedFeedMustBeRequired,
    };

    // The update keys as the bundle holds them: none when absent (or, for a switch, of another
    // type).
    struct BundleKeys {
        std::optional<std::string> bundleIdentifier;
        std::optional<std::string> configuredFeedURL;
        std::optional<std::string> publicKey;
        std::optional<bool> automaticChecksEnabled;
        std::optional<bool> automaticallyUpdates;
        std::optional<bool> verifiesBeforeExtraction;
        std::optional<bool> systemProfilingEnabled;
        std::optional<bool> requiresSignedFeed;
    };

    // The first deviation from production, in the order of the checks; none when all hold.
    // Switches that must be false fail when absent, as those that must be true do.
    [[nodiscard]] static std::optional<ValidationError> validate(
        const BundleKeys& keys, std::string_view host = product::feedHost);
};

using UpdaterValidationError = ProductionUpdaterConfiguration::ValidationError;

template <>
struct EnumTraits<UpdaterValidationError> {
    using E = UpdaterValidationError;
    static constexpr std::array<std::pair<E, std::string_view>, 10> cases{{
        {E::wrongBundleIdentifier, "wrongBundleIdentifier"},
        {E::missingFeedURL, "missingFeedURL"},
        {E::wrongFeedURL, "wrongFeedURL"},
        {E::missingPublicKey, "missingPublicKey"},
        {E::invalidPublicKey, "invalidPublicKey"},
        {E::automaticChecksMustBeDisabled, "automaticChecksMustBeDisabled"},
        {E::automaticInstallationMustBeDisabled, "automaticInstallationMustBeDisabled"},
        {E::verificationMustBeEnabled, "verificationMustBeEnabled"},
        {E::profilingMustBeDisabled, "profilingMustBeDisabled"},
        {E::signedFeedMustBeRequired, "signedFeedMustBeRequired"},
    }};
};

// Why the production rule refuses a feed item, in the order the rule checks.
enum class ItemRefusal {
    informationOnly,
    missingDownload,
    missingInformation,
    unreadableBuild,
    malformedVersion,
    wrongDownload,
    wrongInformation,
};

template <>
struct EnumTraits<ItemRefusal> {
    using E = ItemRefusal;
    static constexpr std::array<std::pair<E, std::string_view>, 7> cases{{
        {E::informationOnly, "informationOnly"},
        {E::missingDownload, "missingDownload"},
        {E::missingInformation, "missingInformation"},
        {E::unreadableBuild, "unreadableBuild"},
        {E::malformedVersion, "malformedVersion"},
        {E::wrongDownload, "wrongDownload"},
        {E::wrongInformation, "wrongInformation"},
    }};
};

// The first rule that refuses `item`, none when it may be offered: not information-only; both
// links present; a readable build other than zero; a version of three decimal groups; the
// archive exactly at <release base><version>/build-<build>/Gaugely-<version>.zip; and an
// information page on the feed host under /updates/gaugely/. Every official archive lives in one
// place, so the feed's signature is not the only thing standing between a user and a stranger's
// archive.
[[nodiscard]] std::optional<ItemRefusal> productionItemRefusal(
    const UpdateCandidate& item, std::string_view host = product::feedHost);

// Whether a text is a base64 encoding of exactly `bytes` bytes (with its padding).
[[nodiscard]] bool isBase64OfLength(std::string_view text, std::size_t bytes);

}  // namespace gaugely
