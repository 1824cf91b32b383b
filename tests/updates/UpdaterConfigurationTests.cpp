#include <gtest/gtest.h>

#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"
#include "SharedUpdateSupport/OfficialPublicReleaseRegistry.h"
#include "updates/UpdaterWorld.h"

namespace gaugely {
namespace {

constexpr std::string_view host = "updates.example.com";
using E = UpdaterValidationError;

MemoryBundleInformation productionBundle() {
    return MemoryBundleInformation::production(host, "1.0.3", "3", "/Applications/Gaugely.app");
}

TEST(ProductionUpdaterConfiguration, ValidationReportsTheFirstDeviationInOrder) {
    struct Row {
        std::string what;
        std::function<void(MemoryBundleInformation&)> change;
        std::optional<E> expected;
    };
    const auto set = [](std::string key, MemoryBundleInformation::Value value) {
        return [=](MemoryBundleInformation& b) { b.set(key, value); };
    };
    const auto drop = [](std::string key) {
        return [=](MemoryBundleInformation& b) { b.remove(key); };
    };
    const std::vector<Row> rows{
        {"production", [](auto&) {}, std::nullopt},
        {"another identifier",
         [](auto& b) { b = MemoryBundleInformation("com.example.x", b.bundlePath()); },
         E::wrongBundleIdentifier},
        {"no feed", drop("SUFeedURL"), E::missingFeedURL},
        {"feed of another type", set("SUFeedURL", true), E::missingFeedURL},
        {"plain-HTTP feed",
         set("SUFeedURL", "http://updates.example.com/updates/gaugely/appcast.xml"),
         E::wrongFeedURL},
        {"no key", drop("SUPublicEDKey"), E::missingPublicKey},
        {"another valid key", set("SUPublicEDKey", "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="),
         E::invalidPublicKey},
        {"automatic checks absent", drop("SUEnableAutomaticChecks"),
         E::automaticChecksMustBeDisabled},
        {"automatic checks as a number", set("SUEnableAutomaticChecks", 0LL),
         E::automaticChecksMustBeDisabled},
        {"automatic install on", set("SUAutomaticallyUpdate", true),
         E::automaticInstallationMustBeDisabled},
        {"verification absent", drop("SUVerifyUpdateBeforeExtraction"),
         E::verificationMustBeEnabled},
        {"profiling absent", drop("SUEnableSystemProfiling"), E::profilingMustBeDisabled},
        {"unsigned feed allowed", set("SURequireSignedFeed", false), E::signedFeedMustBeRequired},
        {"allows automatic updates is not validated", set("SUAllowsAutomaticUpdates", true),
         std::nullopt},
        {"two deviations: the earlier check wins",
         [](auto& b) {
             b.remove("SURequireSignedFeed");
             b.set("SUAutomaticallyUpdate", true);
         },
         E::automaticInstallationMustBeDisabled},
    };
    for (const Row& row : rows) {
        MemoryBundleInformation bundle = productionBundle();
        row.change(bundle);
        const auto keys = ProductionUpdaterRuntime::bundleKeys(bundle);
        EXPECT_EQ(ProductionUpdaterConfiguration::validate(keys, host), row.expected) << row.what;
        EXPECT_EQ(ProductionUpdaterRuntime::configuration(bundle, host).enabled, !row.expected)
            << row.what;
    }
}

TEST(ProductionUpdaterConfiguration, OverrideKeysAndAMissingHostDisable) {
    for (const std::string_view key : ProductionUpdaterRuntime::overrideKeys) {
        MemoryBundleInformation bundle = productionBundle();
        bundle.set(key, std::string("x"));
        EXPECT_EQ(ProductionUpdaterConfiguration::validate(
                      ProductionUpdaterRuntime::bundleKeys(bundle), host),
                  std::nullopt);
        EXPECT_FALSE(ProductionUpdaterRuntime::configuration(bundle, host).enabled) << key;
    }
    // A build without a feed host writes no feed into its bundle.
    const auto bare = MemoryBundleInformation::production("", "1.0.3", "3", "/A");
    EXPECT_EQ(
        ProductionUpdaterConfiguration::validate(ProductionUpdaterRuntime::bundleKeys(bare), ""),
        E::missingFeedURL);
    const UpdaterConfiguration off = ProductionUpdaterRuntime::configuration(bare, "");
    EXPECT_FALSE(off.enabled);
    EXPECT_EQ(off.feedURL, "");
    // A bundle built for one host does not pass in a build for another.
    EXPECT_EQ(ProductionUpdaterConfiguration::validate(
                  ProductionUpdaterRuntime::bundleKeys(productionBundle()), "updates.example.org"),
              E::wrongFeedURL);

    const UpdaterConfiguration on =
        ProductionUpdaterRuntime::configuration(productionBundle(), host);
    EXPECT_EQ(on.feedURL, "https://updates.example.com/updates/gaugely/appcast.xml");
    EXPECT_EQ(on.noticeKey, "gaugely-production-update-notice-v1");
    EXPECT_EQ(on.receiptKey, "gaugely-production-pending-update-receipt-v1");
    EXPECT_EQ(on.releaseTimeZone, "America/Edmonton");
    EXPECT_FALSE(on.displayedVersion || on.displayedBuild || on.installedVersionDisplay);
}

TEST(ProductionUpdaterConfiguration, PublicKeyIsBase64OfThirtyTwoBytes) {
    EXPECT_TRUE(isBase64OfLength(ProductionUpdaterConfiguration::publicVerificationKey, 32));
    for (const std::string_view text : {"nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6Q",
                                        "nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6==",
                                        "nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6*=",
                                        "nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6Q=="}) {
        EXPECT_FALSE(isBase64OfLength(text, 32)) << text;
    }
}

TEST(ProductionItemRule, OffersOnlyOfficialArchives) {
    struct Row {
        std::string what;
        std::function<void(UpdateCandidate&)> change;
        std::optional<ItemRefusal> refusal;
    };
    using R = ItemRefusal;
    const auto download = [](std::string link) {
        return [=](UpdateCandidate& c) { c.download = link; };
    };
    const auto information = [](std::string link) {
        return [=](UpdateCandidate& c) { c.information = link; };
    };
    const std::string releases = "https://updates.example.com/updates/gaugely/releases/";
    const std::vector<Row> rows{
        {"official", [](auto&) {}, std::nullopt},
        {"information only", [](auto& c) { c.informational = true; }, R::informationOnly},
        {"no archive", [](auto& c) { c.download.reset(); }, R::missingDownload},
        {"no information page", [](auto& c) { c.information.reset(); }, R::missingInformation},
        {"build 0", [](auto& c) { c.build = "0"; }, R::unreadableBuild},
        {"build abc", [](auto& c) { c.build = "abc"; }, R::unreadableBuild},
        {"version 1.0", [](auto& c) { c.version = "1.0"; }, R::malformedVersion},
        {"version 1.0.3-beta", [](auto& c) { c.version = "1.0.3-beta"; }, R::malformedVersion},
        {"version with a line feed", [](auto& c) { c.version = "1.0.3\n"; }, R::malformedVersion},
        {"build +4 with a link saying 4", [](auto& c) { c.build = "+4"; }, R::wrongDownload},
        {"another folder", download(releases + "1.0.4/build-4/extra/Gaugely-1.0.4.zip"),
         R::wrongDownload},
        {"another host",
         download(
             "https://cdn.example.com/updates/gaugely/releases/1.0.4/build-4/Gaugely-1.0.4.zip"),
         R::wrongDownload},
        {"plain HTTP",
         download(
             "http://updates.example.com/updates/gaugely/releases/1.0.4/build-4/Gaugely-1.0.4.zip"),
         R::wrongDownload},
        {"capitalised", download(releases + "1.0.4/build-4/gaugely-1.0.4.zip"), R::wrongDownload},
        {"another extension", download(releases + "1.0.4/build-4/Gaugely-1.0.4.dmg"),
         R::wrongDownload},
        {"a query", download(releases + "1.0.4/build-4/Gaugely-1.0.4.zip?x"), R::wrongDownload},
        {"information elsewhere", information("https://example.com/updates/gaugely/"),
         R::wrongInformation},
        {"information on a look-alike host",
         information("https://updates.example.com.evil.test/updates/gaugely/"),
         R::wrongInformation},
        {"information stepping out",
         information("https://updates.example.com/updates/gaugely/../x"), R::wrongInformation},
        {"information with a space", information("https://updates.example.com/updates/gaugely/a b"),
         R::wrongInformation},
        {"information with a fragment",
         information("https://updates.example.com/updates/gaugely/notes.html#1.0.4"), std::nullopt},
    };
    for (const Row& row : rows) {
        UpdateCandidate item = feedItem("1.0.4", "4").candidate;
        row.change(item);
        EXPECT_EQ(productionItemRefusal(item, host), row.refusal) << row.what;
    }
    // No host, nothing offered.
    EXPECT_EQ(productionItemRefusal(feedItem("1.0.4", "4").candidate, ""), R::wrongDownload);
}

TEST(OfficialPublicReleaseRegistry, InstalledVersionText) {
    EXPECT_EQ(OfficialPublicReleaseRegistry::installedVersionText("1.0.3", "3"),
              "Version 1.0.3 · Released September 22, 2026");
    EXPECT_EQ(OfficialPublicReleaseRegistry::installedVersionText("1.0.1", "1"),
              "Version 1.0.1 · Released September 12, 2026");
    EXPECT_EQ(OfficialPublicReleaseRegistry::installedVersionText("1.0.3", "4"), "Version 1.0.3");
    EXPECT_EQ(OfficialPublicReleaseRegistry::installedVersionText("1.0.2", "+2"), "Version 1.0.2");
}

}  // namespace
}  // namespace gaugely
