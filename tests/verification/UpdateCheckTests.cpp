#include <gtest/gtest.h>

#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "Meterlane/Verification/UpdateCheckVerification.h"
#include "Meterlane/Verification/VerificationPlan.h"
#include "verification/ScriptedFramework.h"

namespace gaugely {
namespace {

constexpr const char* feed = "http://127.0.0.1:8431/updates/gaugely/appcast.xml";
constexpr const char* throwAwayKey = "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";

struct UpdateWorld {
    VirtualTime time;
    MemoryPreferences defaults;
    ScriptedFramework framework{time, defaults};
    bool withdraws = true;
    bool finished = false;
    std::unique_ptr<UpdateCheckVerification> checks;

    Findings run() {
        UpdateCheckPorts ports{
            framework, time, defaults,
            [this] {
                if (withdraws) {
                    framework.approved.reset();
                }
            },
            [this](UpdateFrameworkObserver* observer) { framework.observer = observer; }};
        UpdateCheckSettings settings{feed,
                                     "http://127.0.0.1:8431/updates/gaugely/tampered-appcast.xml",
                                     "com.vostrel.gaugely.mac-verify"};
        // A skip left by an earlier run is cleared first.
        defaults.setString("SUSkippedVersion", "4");
        checks =
            std::make_unique<UpdateCheckVerification>(ports, settings, [this] { finished = true; });
        checks->start();
        time.runUntil([this] { return finished; }, 3600);
        return checks->findings();
    }
};

TEST(UpdateChecks, EachFindingFollowsWhatTheFrameworkDid) {
    using S = FindingStatus;
    struct Case {
        const char* name;
        std::function<void(UpdateWorld&)> arrange;
        std::map<std::string_view, FindingStatus> expected;  // the rest confirmed
    };
    const Case cases[] = {
        {"as documented", [](UpdateWorld&) {}, {}},
        {"no signature status (before 2.9)",
         [](UpdateWorld& world) { world.framework.reportsSignature = false; },
         {{finding::updateSignatureVerified, S::observed}}},
        {"tampered feed accepted",
         [](UpdateWorld& world) { world.framework.acceptsTamperedFeed = true; },
         {{finding::updateTamperedRefused, S::failed}}},
        {"dismissal remembered as a skip",
         [](UpdateWorld& world) { world.framework.dismissRecordsSkip = true; },
         {{finding::updateDismissRecordsNoSkip, S::failed}}},
        {"approval kept: it installs",
         [](UpdateWorld& world) { world.withdraws = false; },
         {{finding::updateSkipAfterDownload, S::failed}}},
        {"no item in the feed",
         [](UpdateWorld& world) { world.framework.items.clear(); },
         {{finding::updateFeedRead, S::failed},
          {finding::updateProbeSilent, S::notRun},
          {finding::updateDismissRecordsNoSkip, S::failed},
          {finding::updateSkipAfterDownload, S::failed}}},
    };
    for (const Case& entry : cases) {
        UpdateWorld world;
        entry.arrange(world);
        const Findings findings = world.run();
        ASSERT_TRUE(world.finished) << entry.name;
        for (const VerificationStep& step : verificationPlan()) {
            if (std::string_view(step.id) != "updates") {
                continue;
            }
            for (const VerificationFinding& finding : step.findings) {
                const auto expected = entry.expected.find(finding.id);
                const FindingStatus status =
                    expected == entry.expected.end() ? S::confirmed : expected->second;
                const auto found = findings.find(finding.id);
                ASSERT_NE(found, findings.end()) << entry.name << ": " << finding.id;
                EXPECT_EQ(found->second.status, status)
                    << entry.name << ": " << finding.id << ": " << found->second.detail;
            }
        }
        EXPECT_EQ(world.checks->stages().size(), 6u) << entry.name;
        EXPECT_EQ(world.framework.observer, nullptr) << entry.name;
    }
}

TEST(UpdateChecks, AFrameworkThatNeverAnswersTimesEachStageOut) {
    UpdateWorld world;
    world.framework.neverAnswers = true;
    const Findings findings = world.run();
    ASSERT_TRUE(world.finished);
    for (const UpdateStageResult& stage : world.checks->stages()) {
        EXPECT_TRUE(stage.outcome.starts_with("timed out") || stage.outcome.starts_with("not run"))
            << stage.id << ": " << stage.outcome;
    }
    for (const auto& [id, result] : findings) {
        EXPECT_NE(result.status, FindingStatus::confirmed) << id;
    }
}

TEST(UpdateChecks, OnlyACopyWhoseOverrideKeysPointAtALocalFeedRunsThem) {
    const auto bundle = [](std::function<void(MemoryBundleInformation&)> change) {
        MemoryBundleInformation info("com.vostrel.gaugely", "/tmp/Gaugely.app");
        info.set("SUDefaultsDomain", std::string("com.vostrel.gaugely.mac-verify"));
        info.set("SUFeedURL", std::string(feed));
        info.set("SUPublicEDKey", std::string(throwAwayKey));
        info.set("SURequireSignedFeed", true);
        change(info);
        return updateCheckSettings(info);
    };
    const auto good = bundle([](MemoryBundleInformation&) {});
    ASSERT_TRUE(std::holds_alternative<UpdateCheckSettings>(good));
    EXPECT_EQ(
        std::get<UpdateCheckSettings>(good),
        (UpdateCheckSettings{feed, "http://127.0.0.1:8431/updates/gaugely/tampered-appcast.xml",
                             "com.vostrel.gaugely.mac-verify"}));

    // One key changed (or, without a value, removed) each.
    const std::pair<const char*, std::optional<MemoryBundleInformation::Value>> refused[] = {
        {"SUDefaultsDomain", std::nullopt},
        {"SUDefaultsDomain", std::string("com.vostrel.gaugely")},
        {"SUDefaultsDomain", std::string("com.vostrel.gaugely.updater")},
        {"SUFeedURL", std::string("https://updates.example.com/updates/gaugely/appcast.xml")},
        {"SUFeedURL", std::string("http://127.0.0.1.example.com/appcast.xml")},
        {"SUFeedURL", std::string("http://127.0.0.1:8431/feed.rss")},
        {"SUPublicEDKey", std::string("nj3NGe5GXG9LDWVuACX99yT7PqTLXzkKh0TmE1QIM6Q=")},
        {"SUPublicEDKey", std::string("short")},
        {"SURequireSignedFeed", false},
    };
    for (const auto& [key, value] : refused) {
        // Named again: a lambda may not capture a structured binding before clang 16.
        const auto settings = bundle([&key = key, &value = value](MemoryBundleInformation& info) {
            value ? info.set(key, *value) : info.remove(key);
        });
        EXPECT_TRUE(std::holds_alternative<std::string>(settings)) << key;
    }
    const auto localhost = bundle([](MemoryBundleInformation& info) {
        info.set("SUFeedURL", std::string("http://localhost:9/appcast.xml"));
    });
    EXPECT_TRUE(std::holds_alternative<UpdateCheckSettings>(localhost));
}

}  // namespace
}  // namespace gaugely
