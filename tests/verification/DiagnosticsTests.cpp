#include <gtest/gtest.h>

#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Verification/DiagnosticsText.h"
#include "verification/VerificationWorld.h"

namespace gaugely {
namespace {

// Whatever kind of run ends, every line it logs is the trace's own vocabulary: nothing withheld,
// nothing changed. A stage or message added to the reader without the recorder knowing it shows
// up here as "(withheld)".
TEST(RefreshTraceRecorder, KeepsEveryLineOfRealRunsAsLoggedAndOnlyTheLastThree) {
    struct Case {
        const char* name;
        std::function<void(VerificationWorld&)> arrange;
        bool automatic = false;
    };
    const Case cases[] = {
        {"committed", [](VerificationWorld&) {}},
        {"Codex not running", [](VerificationWorld& world) { world.codex.quit(); }},
        {"menu never appears",
         [](VerificationWorld& world) { world.codex.behaviour.menuOpenDelay.reset(); }},
        {"menu open already", [](VerificationWorld& world) { world.codex.openMenuAsUser(false); }},
        {"menu stays after Escape",
         [](VerificationWorld& world) { world.codex.behaviour.escapeCloseDelay.reset(); }},
        {"automatic, user at the keyboard",
         [](VerificationWorld& world) { world.input.setLastInputSecondsAgo(2); }, true},
        {"automatic, committed", [](VerificationWorld&) {}, true},
    };
    for (const Case& entry : cases) {
        VerificationWorld world(CodexPlan::plus, {}, 0.001);
        UsageReader& reader = world.makeReader();
        entry.arrange(world);
        if (entry.automatic) {
            reader.setAutomaticRefreshEnabled(true);
            reader.beginReadCountdown(true);
            world.time.runUntil([&] { return !reader.automationInProgress(); }, 120);
        } else {
            world.refreshOnce();
        }
        ASSERT_FALSE(world.traces.traces().empty()) << entry.name;
        const KeptRefreshTrace& trace = world.traces.traces().back();
        EXPECT_TRUE(trace.finished()) << entry.name;
        const auto kept = std::ranges::count_if(world.log.lines("refresh"), [&](const auto& line) {
            return std::ranges::find(trace.lines, line) != trace.lines.end();
        });
        EXPECT_EQ(static_cast<std::size_t>(kept), trace.lines.size()) << entry.name;
        for (const std::string& line : trace.lines) {
            EXPECT_EQ(line.find(RefreshTraceRecorder::withheld), std::string::npos)
                << entry.name << ": " << line;
        }
    }

    VerificationWorld world;
    world.makeReader();
    for (int run = 0; run < 4; ++run) {
        world.refreshOnce();
        world.time.advance(5);
    }
    ASSERT_EQ(world.traces.traces().size(), 3u);
    EXPECT_EQ(world.traces.traces().back().identifier, "00000004");
    EXPECT_EQ(world.traces.traces().front().identifier, "00000002");
    EXPECT_TRUE(world.traces.traces().back().menuDwellMilliseconds);
    EXPECT_EQ(world.traces.traces().back().outcome, "success — snapshot committed; cleanup closed");
}

TEST(Diagnostics, NeitherUsageFiguresNorTextFromCodexEverReachTheCopiedText) {
    // Codex shows figures and private text; a real run reads them, and lines planted in the
    // trace's category carry them in every place a line has free text.
    CodexUsage usage;
    usage.fiveHourPercentLeft = 37;
    usage.fiveHourReset = "4:17 PM";
    usage.weeklyPercentLeft = 63;
    usage.weeklyReset = "Oct 29";
    VerificationWorld world;
    world.codex.setUsage(usage);
    world.makeReader();
    world.refreshOnce();
    ASSERT_TRUE(world.reader->lastRefreshOutcome()->isCommitted());
    const char* planted[] = {
        "Refresh [00000001] manual: usage row found/not found — 37% left at 12 ms",
        "Refresh [00000001] manual: ann@example.com at 13 ms",
        "Refresh [00000001] manual: read failure — Resets 4:17 PM at 14 ms",
        "Refresh timing: Weekly 63% at 15 ms",
        "Refresh [00000001] manual: eligibility and safety evaluation — deferred: Oct 29 at 16 ms",
        "Refresh menu dwell: 12 ms, ann@example.com",
        "Refresh [00000001] manual: final outcome failed — 37% left at 17 ms",
    };
    world.reader->beginReadCountdown(false);
    for (const char* line : planted) {
        world.traces.write(logSubsystem, refreshLogCategory, LogLevel::info, line);
    }
    world.time.runUntil([&] { return !world.reader->automationInProgress(); }, 120);
    world.traces.write(logSubsystem, refreshLogCategory, LogLevel::info,
                       "Refresh [abcdef12] manual: refresh requested; final outcome deferred — "
                       "Weekly 63% left");
    world.traces.write(logSubsystem, refreshLogCategory, LogLevel::info,
                       "Reading of 14:02 from Codex's logs validated and committed: 37%");

    const std::string text =
        diagnosticsText(SystemFacts{}, PermissionStates{}, world.traces.traces());
    for (const char* secret : {"37%", "63%", "4:17", "Oct 29", "ann@", "Resets", "Weekly"}) {
        EXPECT_EQ(text.find(secret), std::string::npos) << secret << " in:\n" << text;
    }
    // What is kept is still useful: the planted lines' shapes and timings stay.
    EXPECT_NE(text.find("usage row found/not found — (withheld) at 12 ms"), std::string::npos);
    EXPECT_NE(text.find("final outcome failed — (withheld) at 17 ms"), std::string::npos);
    EXPECT_NE(text.find("final outcome deferred — (withheld)"), std::string::npos);
    EXPECT_NE(text.find("success — snapshot committed; cleanup closed"), std::string::npos);

    // And the verification's own lines pass through unchanged.
    for (const std::string_view line :
         {std::string_view("Refresh [A1] automatic: refresh requested; final outcome deferred — "
                           "another refresh is in progress"),
          std::string_view("Refresh [A1] manual: target menu inspection — presence closed; "
                           "traversal complete at 402 ms"),
          std::string_view("Refresh cleanup attempted; final menu state uncertain")}) {
        EXPECT_EQ(shareableTraceLine(line), line);
    }
    EXPECT_EQ(shareableTraceLine("anything else"), RefreshTraceRecorder::withheld);
}

TEST(Diagnostics, CopyingCompletesTheFactsFromTheBundleAndAsksThePorts) {
    VerificationWorld world;
    world.makeReader();
    world.refreshOnce();
    world.codex.trusted = false;
    world.input.listenEventAccess = false;
    world.loginItems.currentStatus = LoginItemService::Status::enabled;
    MemoryBundleInformation bundle("com.vostrel.gaugely", "/Users/ann/Applications/Gaugely.app");
    bundle.set("CFBundleShortVersionString", std::string("1.0.3"));
    bundle.set("CFBundleVersion", std::string("3"));
    SystemFacts platformFacts;
    platformFacts.macOSVersion = "13.6";
    std::optional<std::string> copied;
    collectDiagnostics(
        {{world.codex, world.input, world.notifications, world.loginItems, world.time},
         bundle,
         "/Users/ann",
         world.traces},
        platformFacts, [&](std::string text) { copied = std::move(text); });
    world.time.runUntil([&] { return copied.has_value(); }, 5);
    ASSERT_TRUE(copied);
    for (const std::string_view part :
         {"- macOS: 13.6\n", "- Gaugely: 1.0.3 (3), com.vostrel.gaugely",
          "- Accessibility: not granted. To do: System Settings › Privacy & Security › "
          "Accessibility: switch on Gaugely (~/Applications/Gaugely.app).",
          "- Login item: enabled\n", "Refresh [00000001] manual: success"}) {
        EXPECT_NE(copied->find(part), std::string::npos) << part << "\nin:\n" << *copied;
    }
    EXPECT_EQ(copied->find("/Users/ann"), std::string::npos);
}

TEST(PermissionStates, ReadThroughThePortsWithoutPromptingAndEachMissingOneSaysWhatToDo) {
    VirtualTime time;
    SimulatedAccessibility accessibility;
    accessibility.trusted = false;
    FakeInput input{time};
    input.listenEventAccess = false;
    FakeUserNotificationCenter notifications{time};
    notifications.setAuthorizationStatus(NotificationAuthorizationStatus::notDetermined);
    FakeLoginItemService loginItems;
    loginItems.currentStatus = LoginItemService::Status::notFound;
    std::optional<PermissionStates> read;
    readPermissionStates({accessibility, input, notifications, loginItems, time},
                         [&](PermissionStates states) { read = states; });
    EXPECT_FALSE(read) << "the notification centre answers later";
    time.runUntilIdle();
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, (PermissionStates{false, false, NotificationAuthorizationStatus::notDetermined,
                                       LoginItemService::Status::notFound}));
    EXPECT_EQ(accessibility.trustPrompts(), 0u);
    EXPECT_EQ(input.listenEventAccessRequests(), 0u);

    // Nothing to do exactly when the permission is there.
    for (const PermissionStates& states :
         {PermissionStates{true, true, NotificationAuthorizationStatus::authorized,
                           LoginItemService::Status::enabled},
          PermissionStates{true, true, NotificationAuthorizationStatus::provisional,
                           LoginItemService::Status::enabled}}) {
        for (const PermissionLine& line : permissionLines(states, "")) {
            EXPECT_TRUE(line.remedy.empty()) << line.name;
        }
    }
    for (const PermissionLine& line : permissionLines(*read, "")) {
        EXPECT_FALSE(line.remedy.empty()) << line.name;
    }
}

}  // namespace
}  // namespace gaugely
