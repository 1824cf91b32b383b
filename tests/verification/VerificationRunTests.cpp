#include <gtest/gtest.h>

#include <set>

#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Verification/VerificationPlan.h"
#include "Meterlane/Verification/VerificationRun.h"
#include "verification/ScriptedFramework.h"
#include "verification/VerificationWorld.h"

namespace gaugely {
namespace {

// The verification as the app runs it with --verify, over a simulated Mac: Codex, the app's own
// reader, the ports, and an update framework that behaves as documented. Codex's window is a tenth
// of the reference size: the run walks it several times (the recording, the projections, the
// refresh), and what is found in it does not depend on its size.
struct RunWorld : VerificationWorld {
    MemoryBundleInformation bundle{"com.vostrel.gaugely", "/Users/ann/src/gaugely/Gaugely.app"};
    MemoryPreferences frameworkDefaults;
    ScriptedFramework framework{time, frameworkDefaults};
    bool withUpdates = true;
    std::optional<VerificationResults> results;

    explicit RunWorld(double roundTrip = 0.002)
        : VerificationWorld(CodexPlan::plus, CodexTreeShape{.webContentElements = 200}, roundTrip) {
        bundle.set("CFBundleShortVersionString", std::string("1.0.3"));
        bundle.set("CFBundleVersion", std::string("3"));
        bundle.set("SUDefaultsDomain", std::string("com.vostrel.gaugely.mac-verify"));
        bundle.set("SUFeedURL", std::string("http://127.0.0.1:8431/updates/gaugely/appcast.xml"));
        bundle.set("SUPublicEDKey", std::string("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="));
        bundle.set("SURequireSignedFeed", true);
        workspace.addApplication({"com.vostrel.gaugely", gaugelyPid, ActivationPolicy::accessory});
        workspace.addApplication({"com.apple.finder", 301, ActivationPolicy::regular});
    }

    const VerificationResults& run(VerificationOptions options = {"/tmp/mac-verify", {}, 0, 6000}) {
        std::optional<UpdateCheckPorts> updates;
        if (withUpdates) {
            updates.emplace(UpdateCheckPorts{
                framework, time, frameworkDefaults, [this] { framework.approved.reset(); },
                [this](UpdateFrameworkObserver* observer) { framework.observer = observer; }});
        }
        SystemFacts facts;
        facts.macOSVersion = "14.5";
        VerificationRun run(
            VerificationEnvironment{timed, whereabouts, workspace, input, time, time, notifications,
                                    loginItems, bundle, "/Users/ann", *reader, traces, updates,
                                    [](ProcessID) { return std::optional<int32_t>(0); }},
            facts, std::move(options),
            [this](const VerificationResults& finished) { results = finished; });
        run.start();
        time.runUntil([this] { return results.has_value(); }, 3600);
        EXPECT_TRUE(results) << "the run never finished";
        return *results;
    }
};

FindingStatus statusOf(const VerificationResults& results, std::string_view id) {
    const auto found = results.findings.find(id);
    return found == results.findings.end() ? FindingStatus::notRun : found->second.status;
}

TEST(VerificationRun, OnAMacThatHasEverythingEveryAppFindingIsSettled) {
    RunWorld world;
    world.makeReader();
    world.notifications.setAuthorizationStatus(NotificationAuthorizationStatus::authorized);
    world.workspace.setFrontmost(301);
    const VerificationResults& results = world.run();

    const std::set<std::string_view> observed{finding::inputMonitoringPreflight, finding::loginItem,
                                              finding::treeAXURL};
    for (const VerificationStep& step : verificationPlan()) {
        if (step.runner != StepRunner::app) {
            continue;
        }
        for (const VerificationFinding& finding : step.findings) {
            EXPECT_EQ(statusOf(results, finding.id), observed.contains(finding.id)
                                                         ? FindingStatus::observed
                                                         : FindingStatus::confirmed)
                << finding.id << ": " << results.findings.at(std::string(finding.id)).detail;
        }
    }
    EXPECT_TRUE(results.notes.empty());
    ASSERT_TRUE(results.system);
    EXPECT_EQ(results.system->gaugelyVersion, "1.0.3");
    EXPECT_EQ(results.system->macOSVersion, "14.5");
    EXPECT_EQ(results.system->bundlePath, "~/src/gaugely/Gaugely.app");
    ASSERT_TRUE(results.tree);
    EXPECT_TRUE(results.tree->withinBudget());
    EXPECT_EQ(results.tree->manualAccessibilityAnswer, 0);
    EXPECT_NE(results.treeFixture.find("Open profile menu"), std::string::npos);
    // Every round trip cost the world's 2 ms, and the projection charged the same.
    ASSERT_TRUE(results.roundTripLatency);
    EXPECT_NEAR(results.roundTripLatency->median, 0.002, 1e-9);
    ASSERT_EQ(results.projections.size(), 2u);
    EXPECT_NEAR(results.projections[0].projection.secondsPerRoundTrip, 0.002, 1e-9);
    EXPECT_TRUE(results.projections[0].projection.later.committed);
    ASSERT_TRUE(results.refresh);
    EXPECT_TRUE(results.refresh->committed);
    EXPECT_GT(results.refresh->roundTrips, 1000u);
    EXPECT_NEAR(results.refresh->accessibilitySeconds,
                0.002 * static_cast<double>(results.refresh->roundTrips), 0.05);
    EXPECT_TRUE(results.refresh->menuDwellMilliseconds);
    ASSERT_TRUE(results.refresh->trace);
    EXPECT_EQ(results.refresh->trace->outcome, "success — snapshot committed; cleanup closed");
    EXPECT_EQ(results.updates.size(), 6u);
    EXPECT_NE(results.findings.at(std::string(finding::refreshActivation))
                  .detail.find("com.apple.finder was in front"),
              std::string::npos);
}

TEST(VerificationRun, WhatCannotRunSaysWhyAndTheRestStillRuns) {
    using S = FindingStatus;
    struct Case {
        const char* name;
        std::function<void(RunWorld&)> arrange;
        std::vector<std::string_view> notRun;
        std::string why;
        std::optional<CodexPlan> plan = CodexPlan::plus;
    };
    const std::vector<std::string_view> walks{finding::treeRecorded, finding::latencyMeasured,
                                              finding::refreshCommitted};
    const std::vector<std::string_view> updates{finding::updateFeedRead,
                                                finding::updateSkipAfterDownload};
    const Case cases[] = {
        {"no Accessibility permission", [](RunWorld& w) { w.codex.trusted = false; }, walks,
         "no Accessibility permission"},
        {"Codex not running", [](RunWorld& w) { w.codex.quit(); }, walks, "Codex is not running"},
        {"no plan chosen",
         [](RunWorld&) {},
         {finding::refreshCommitted, finding::refreshMenuSighted},
         "no Codex plan is chosen",
         std::nullopt},
        {"no Input Monitoring",
         [](RunWorld& w) { w.input.listenEventAccess = false; },
         {finding::refreshMarkerIgnored},
         "the real-input guard could not watch"},
        {"a build without the framework", [](RunWorld& w) { w.withUpdates = false; }, updates,
         "this build has no update framework"},
        {"a production bundle", [](RunWorld& w) { w.bundle.remove("SUDefaultsDomain"); }, updates,
         "the bundle names no SUDefaultsDomain"},
    };
    for (const Case& entry : cases) {
        RunWorld world;
        world.makeReader(entry.plan);
        entry.arrange(world);
        const VerificationResults& results = world.run();
        for (const std::string_view id : entry.notRun) {
            const FindingResult& result = results.findings.at(std::string(id));
            EXPECT_EQ(result.status, S::notRun) << entry.name << ": " << id;
            EXPECT_NE(result.detail.find(entry.why), std::string::npos)
                << entry.name << ": " << result.detail;
        }
        // Without the permission the system is asked once, with its prompt (which lists the app
        // in System Settings).
        if (!world.codex.trusted) {
            EXPECT_EQ(world.codex.trustPrompts(), 1u) << entry.name;
        }
        // The updates do not depend on Codex, nor the tree on the updates.
        const bool updatesRan = entry.notRun != updates;
        EXPECT_EQ(statusOf(results, finding::updateFeedRead) == S::confirmed, updatesRan)
            << entry.name;
    }

    // The plan asked for is chosen when none is, and the refresh runs.
    RunWorld world;
    world.makeReader(std::nullopt);
    const VerificationResults& results =
        world.run(VerificationOptions{"/tmp/mac-verify", CodexPlan::plus, 0, 6000});
    EXPECT_EQ(statusOf(results, finding::refreshCommitted), S::confirmed);
    EXPECT_TRUE(world.reader->hasExplicitPlanSelection());
}

TEST(VerificationRun, LaunchArguments) {
    using Result = std::optional<std::variant<VerificationOptions, std::string>>;
    struct Case {
        std::vector<std::string> arguments;
        Result expected;
    };
    const Case cases[] = {
        {{"-NSDocumentRevisionsDebugMode", "YES"}, std::nullopt},
        {{"--verify", "/tmp/out"}, VerificationOptions{"/tmp/out", {}, 0, 6000}},
        {{"--verify", "/tmp/out", "--verify-plan", "pro", "--verify-stay", "12.5"},
         VerificationOptions{"/tmp/out", CodexPlan::pro, 12.5, 6000}},
        {{"--verify"}, std::string("--verify needs a value")},
        {{"--verify-plan", "plus"}, std::string("--verify needs the folder the results go to")},
        {{"--verify", "/tmp/out", "--verify-plan", "team"},
         std::string("unknown plan \"team\" (freeGo, plus or pro)")},
        {{"--verify", "/tmp/out", "--verify-stay", "-1"},
         std::string("--verify-stay needs seconds from 0 to 600, not \"-1\"")},
    };
    for (const Case& entry : cases) {
        EXPECT_EQ(verificationOptions(entry.arguments), entry.expected) << entry.arguments.front();
    }
}

}  // namespace
}  // namespace gaugely
