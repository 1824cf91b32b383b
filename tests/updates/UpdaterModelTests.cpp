#include <gtest/gtest.h>

#include "Meterlane/Presentation/SettingsUpdateInputFromUpdater.h"
#include "SharedUpdateSupport/UnavailableUpdateFramework.h"
#include "updates/UpdaterWorld.h"

namespace gaugely {
namespace {

constexpr std::string_view noticeKey = "gaugely-production-update-notice-v1";
constexpr std::string_view receiptKey = "gaugely-production-pending-update-receipt-v1";

TEST(UpdaterModel, CheckOutcomes) {
    struct Row {
        std::string what;
        bool background;
        std::vector<FoundUpdate> feed;
        bool unreachable;
        std::optional<std::string> message;
        std::optional<std::string> available;
    };
    // The permitted item with the highest build: not an archive from elsewhere, nor a page.
    std::vector<FoundUpdate> mixed{feedItem("1.0.2", "2"), feedItem("1.0.4", "4"),
                                   feedItem("1.0.5", "5", "x"), feedItem("9.9.9", "9")};
    mixed[2].candidate.download = "https://evil.test/Gaugely-1.0.5.zip";
    mixed[3].candidate.informational = true;
    const std::string upToDate = "Gaugely is up to date.";
    const std::string failed = "Couldn’t check for updates. Please try again later.";
    const std::vector<Row> rows{
        {"user, newer", false, mixed, false, std::nullopt, "1.0.4"},
        {"user, the running build", false, {feedItem("1.0.3", "3")}, false, upToDate, std::nullopt},
        {"user, nothing", false, {}, false, upToDate, std::nullopt},
        {"user, unreachable", false, {}, true, failed, std::nullopt},
        {"background, newer", true, {feedItem("1.0.4", "4")}, false, std::nullopt, "1.0.4"},
        {"background, nothing", true, {}, false, std::nullopt, std::nullopt},
        {"background, unreachable", true, {}, true, std::nullopt, std::nullopt},
    };
    for (const Row& row : rows) {
        UpdaterWorld w;
        w.framework.feed = row.feed;
        w.framework.feedUnreachable = row.unreachable;
        UpdaterModel& model = w.launchUpdater();
        model.performProbe(row.background);
        w.time.runUntilIdle();
        EXPECT_EQ(model.message(), row.message) << row.what;
        EXPECT_EQ(model.availableVersion(), row.available) << row.what;
        EXPECT_FALSE(model.isChecking()) << row.what;
        EXPECT_TRUE(model.notice().lastCheckAttempt) << row.what << ": every attempt counts";
        EXPECT_EQ(decodeJson<UpdateNoticeState>(*w.suite.dataValue(noticeKey)), model.notice())
            << row.what << ": kept as soon as known";
    }
}

TEST(UpdaterModel, DisabledUpdaterNeverTouchesTheFeed) {
    UpdaterWorld w;
    w.bundle.set("GaugelyPresentedBuild", std::string("99"));
    w.framework.feed = {feedItem("1.0.4", "4")};
    UpdaterModel& model = w.launchUpdater();
    model.checkForUpdates();
    model.setBackgroundDiscoveryEnabled(true);
    w.time.advance(3 * 86400);
    EXPECT_FALSE(w.framework.started());
    EXPECT_EQ(w.framework.probeCount(), 0);
    EXPECT_EQ(w.suite.writeCount(), 0u);
    EXPECT_EQ(model.unavailableText(), "Updates are not available in this build.");
    EXPECT_EQ(model.currentVersionDisplay(), "Version 1.0.3 · Released September 22, 2026");
}

TEST(UpdaterModel, ABuildWithoutTheFrameworkAnswersEveryCycleAsFailed) {
    UpdaterWorld w;
    UsageReader& reader = w.makeReader();
    UnavailableUpdateFramework none{w.time};
    UpdaterModel model(
        UpdaterEnvironment{w.bundle, w.suite, none, w.time, w.time, w.workspace, w.formatter},
        ProductionUpdaterRuntime::configuration(w.bundle, testFeedHost));
    model.setRefreshGateHooks(reader.updateRefreshGateHooks());
    const Date launched = w.time.now();

    model.checkForUpdates();
    EXPECT_EQ(model.message(), UpdaterModel::checkingMessage);
    w.time.advance(0);
    EXPECT_FALSE(model.isChecking()) << "\"Checking…\" never cleared";
    EXPECT_EQ(model.message(), UpdaterModel::checkFailedMessage);

    // The daily checks go on, quietly.
    model.setBackgroundDiscoveryEnabled(true);
    w.time.advance(2 * 86400 + 10);
    EXPECT_EQ(model.notice().lastCheckAttempt, launched.addingTimeInterval(2 * 86400));
    EXPECT_EQ(model.message(), UpdaterModel::checkFailedMessage);

    // An approved installation stops at once and opens the refresh gate again.
    ASSERT_TRUE(model.beginUserInitiatedUpdate("4"));
    EXPECT_TRUE(reader.updateRefreshGate());
    w.time.advance(0);
    EXPECT_FALSE(reader.updateRefreshGate());
    EXPECT_EQ(model.message(), UpdaterModel::stoppedMessage);
}

TEST(UpdaterModel, BackgroundChecksRunOnceADayAndOnWake) {
    struct Row {
        std::string what;
        std::optional<double> lastAttemptAgo;
        double firstCheckAfter;
    };
    const std::vector<Row> rows{
        {"never checked", std::nullopt, 3},
        {"checked 23 hours ago", 23 * 3600, 3600},
        {"checked two days ago", 2 * 86400, 3},
        {"checked a week ahead (clock set back)", -7 * 86400, 3},
    };
    for (const Row& row : rows) {
        UpdaterWorld w;
        if (row.lastAttemptAgo) {
            UpdateNoticeState notice;
            notice.recordAttempt(w.time.now().addingTimeInterval(-*row.lastAttemptAgo));
            w.suite.setData(noticeKey, encodeJson(notice));
        }
        UpdaterModel& model = w.launchUpdater();
        model.setBackgroundDiscoveryEnabled(true);
        w.time.advance(row.firstCheckAfter - 0.5);
        EXPECT_EQ(w.framework.probeCount(), 0) << row.what;
        w.time.advance(1);
        EXPECT_EQ(w.framework.probeCount(), 1) << row.what;
        EXPECT_EQ(model.message(), std::nullopt) << row.what << ": background checks are quiet";
    }

    // Asleep past the due time: the wake checks at once, and only when due.
    UpdaterWorld w;
    UpdaterModel& model = w.launchUpdater();
    model.setBackgroundDiscoveryEnabled(true);
    w.time.advance(4);
    w.workspace.postWake();
    w.time.advance(1);
    EXPECT_EQ(w.framework.probeCount(), 1) << "not due again on an early wake";
    w.time.setNow(w.time.now().addingTimeInterval(86400));
    w.workspace.postWake();
    w.time.advance(1);
    EXPECT_EQ(w.framework.probeCount(), 2);
    model.setBackgroundDiscoveryEnabled(false);
    w.time.setNow(w.time.now().addingTimeInterval(2 * 86400));
    w.workspace.postWake();
    w.time.advance(3 * 86400);
    EXPECT_EQ(w.framework.probeCount(), 2) << "switched off";
}

TEST(UpdaterModel, AStoppedInstallationReleasesTheGateAndRemovesTheReceipt) {
    using Outcome = FakeUpdateFramework::InstallOutcome;
    struct Row {
        std::string what;
        std::function<void(FakeUpdateFramework&)> change;
    };
    const std::vector<Row> rows{
        {"verification fails", [](auto& f) { f.installOutcome = Outcome::fails; }},
        {"dismissed before the relaunch",
         [](auto& f) { f.installOutcome = Outcome::endsWithoutRelaunch; }},
        {"feed unreachable", [](auto& f) { f.feedUnreachable = true; }},
        {"build withdrawn from the feed", [](auto& f) { f.feed.clear(); }},
    };
    for (const Row& row : rows) {
        UpdaterWorld w;
        UpdaterModel& model = w.withOfferFound();
        UsageReader& reader = *w.reader;
        w.suite.setData(receiptKey, "left over");
        row.change(w.framework);

        model.updateAndRestart();
        EXPECT_FALSE(w.suite.hasObject(receiptKey)) << row.what << ": old receipt removed";
        w.time.runUntilIdle();

        EXPECT_EQ(model.message(), "Update stopped. Your current app is unchanged.") << row.what;
        EXPECT_FALSE(reader.updateRefreshGate()) << row.what;
        EXPECT_FALSE(w.suite.hasObject(receiptKey)) << row.what;
        EXPECT_FALSE(model.isChecking()) << row.what;
        EXPECT_FALSE(model.suppressesOnboarding()) << row.what;
        EXPECT_FALSE(w.framework.relaunched()) << row.what;
        reader.beginReadCountdown(false);
        EXPECT_TRUE(reader.automationInProgress()) << row.what << ": refreshes run again";
    }
}

TEST(UpdaterModel, ACountdownGivesWayToTheUpdate) {
    UpdaterWorld w;
    UsageReader& reader = w.makeReader(CodexPlan::plus, true);
    reader.beginReadCountdown(true);
    w.time.advance(2.5);
    ASSERT_TRUE(reader.countdown());

    EXPECT_TRUE(reader.prepareForDevelopmentUpdate());
    EXPECT_TRUE(reader.updateRefreshGate());
    EXPECT_FALSE(reader.automationInProgress());
    EXPECT_EQ(reader.countdown(), std::nullopt);
    EXPECT_EQ(w.finalOutcome(), "deferred — update installation is in progress");
    w.time.advance(30);
    EXPECT_EQ(w.postedMouseEvents(), 0u) << "the countdown's click never comes";

    // The hooks hold the reader weakly.
    const UpdateRefreshGateHooks hooks = reader.updateRefreshGateHooks();
    hooks.resumeAfterInstallation();
    EXPECT_FALSE(reader.updateRefreshGate());
    w.reader.reset();
    EXPECT_FALSE(hooks.prepareForInstallation());
    hooks.resumeAfterInstallation();
}

TEST(UpdaterModel, MalformedNoticeStartsEmptyAndIsKeptUntilAChange) {
    for (const std::string& bytes : std::vector<std::string>{
             "{\"offer\":{\"build\":\"4\"", "{\"handledBuild\":5}", "{\"lastCheckAttempt\":1e308}",
             "[1,2,3]", std::string("\xff\xfe", 2)}) {
        UpdaterWorld w;
        w.suite.setData(noticeKey, bytes);
        UpdaterModel& model = w.launchUpdater();
        EXPECT_EQ(model.notice(), UpdateNoticeState{}) << bytes;
        EXPECT_FALSE(model.hasUnhandledUpdate()) << bytes;
        EXPECT_EQ(w.suite.dataValue(noticeKey), bytes) << bytes;
    }
}

TEST(SettingsUpdateInput, ShowsTheOfferUntilTheUserDealsWithIt) {
    UpdaterWorld w;
    UpdaterModel& model = w.withOfferFound();
    SettingsUpdateInput input = settingsUpdateInput(model);
    EXPECT_EQ(input.unavailableText, std::nullopt);
    EXPECT_EQ(input.currentVersionText, "Version 1.0.3 · Released September 22, 2026");
    EXPECT_EQ(input.offeredVersion, "1.0.4");
    EXPECT_EQ(input.releaseDate, "September 22, 2026");
    EXPECT_EQ(input.highlights, "• Faster refreshes");
    EXPECT_FALSE(input.hasMoreNotes);
    model.revealUpdateDetails();
    EXPECT_TRUE(settingsUpdateInput(model).notesExpanded);
    model.later();
    EXPECT_EQ(settingsUpdateInput(model).offeredVersion, std::nullopt);

    UpdaterWorld off;
    off.bundle.remove("SUFeedURL");
    EXPECT_EQ(settingsUpdateInput(off.launchUpdater()).unavailableText,
              "Updates are not available in this build.");
}

}  // namespace
}  // namespace gaugely
