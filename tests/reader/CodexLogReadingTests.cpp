#include <gtest/gtest.h>

#include "Meterlane/Reader/StoredReaderState.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"
#include "ReaderWorld.h"

namespace gaugely {
namespace {

TEST(CodexLogReading, LinesAreCommittedOnlyWhenNewerAndComplete) {
    const struct {
        const char* name;
        CodexPlan plan;
        // Seconds before now of each line handed over, with the 5h use.
        std::vector<std::pair<double, double>> lines;
        std::optional<std::string> fiveHour;  // what is shown afterwards; none: nothing
        std::optional<CodexLogRefusal> refusal;
    } cases[] = {
        {"one line", CodexPlan::plus, {{30, 12.5}}, "87%", std::nullopt},
        {"a newer line wins", CodexPlan::plus, {{60, 10}, {30, 20}}, "80%", std::nullopt},
        {"an older line after a newer one changes nothing",
         CodexPlan::plus,
         {{30, 20}, {60, 10}},
         "80%",
         std::nullopt},
        {"a line from the future",
         CodexPlan::plus,
         {{-3600, 12.5}},
         std::nullopt,
         CodexLogRefusal::futureTimestamp},
    };
    for (const auto& c : cases) {
        LogWorld world(c.plan);
        UsageReader& reader = world.makeLogReader(c.plan);
        for (const auto& [ago, used] : c.lines) {
            reader.receiveCodexLogLine(world.line(ago, used));
        }
        if (c.fiveHour) {
            EXPECT_EQ(reader.snapshot().fiveHour, *c.fiveHour) << c.name;
            EXPECT_EQ(reader.snapshotSource(), UsageSource::codexLogs) << c.name;
            EXPECT_LT(*reader.lastUpdated(), world.time.now()) << c.name;
        } else {
            EXPECT_EQ(reader.activeSnapshotPlan(), std::nullopt) << c.name;
        }
        EXPECT_EQ(reader.codexLogsState().refusal, c.refusal) << c.name;
    }
}

// A log reading, even one lacking a window, is shown, stored with its source and shown again
// after a restart.
TEST(CodexLogReading, AReadingIsStoredWithItsSourceAndRestored) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::plus);
    const Date at = world.time.now().addingTimeInterval(-30);
    reader.receiveCodexLogLine(
        LogWorld::usage(at, CodexLogRateWindow{25, 300, at.addingTimeInterval(3600)},
                        CodexLogRateWindow{50, std::nullopt, std::nullopt}));
    EXPECT_EQ(reader.snapshot().fiveHour, "75%");
    EXPECT_EQ(reader.snapshot().weekly, "Not Found");
    EXPECT_TRUE(reader.hasValidValues());
    // The trace says where the reading came from.
    EXPECT_TRUE(world.log.contains(
        "Reading of 2026-11-21T08:59:30Z from Codex's logs validated and committed for plus"));

    const StoredReaderState stored = StoredReaderState::read(world.preferences);
    ASSERT_TRUE(stored.snapshotSources.value);
    EXPECT_EQ(stored.snapshotSources.value->source(CodexPlan::plus), UsageSource::codexLogs);
    EXPECT_EQ(stored.planSnapshots.value->snapshot(CodexPlan::plus)->lastUpdated, at);
    EXPECT_EQ(stored.readCodexLogsEnabled.value, true);

    UsageReader& restarted = world.makeLogReader(CodexPlan::plus, false, false);
    EXPECT_EQ(restarted.snapshot().fiveHour, "75%");
    EXPECT_EQ(restarted.lastUpdated(), at);
    EXPECT_EQ(restarted.snapshotSource(), UsageSource::codexLogs);

    // A menu reading afterwards says so too.
    world.refresh();
    EXPECT_EQ(restarted.snapshotSource(), UsageSource::codexMenu);
    EXPECT_EQ(
        StoredReaderState::read(world.preferences).snapshotSources.value->source(CodexPlan::plus),
        UsageSource::codexMenu);
}

TEST(CodexLogReading, ALineArrivingDuringAMenuRunWaitsForItsEnd) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::plus);
    reader.beginReadCountdown(false);
    ASSERT_TRUE(reader.automationInProgress());
    // Stamped a minute ahead (within the clock tolerance), so it is newer than the run's reading.
    reader.receiveCodexLogLine(world.line(-60, 50));
    EXPECT_NE(reader.snapshot().fiveHour, "50%");
    world.runUntilRunEnds();
    EXPECT_EQ(reader.snapshot().fiveHour, "72%");  // the run's own commit first
    world.time.advance(1);
    EXPECT_EQ(reader.snapshot().fiveHour, "50%");
    EXPECT_EQ(reader.snapshotSource(), UsageSource::codexLogs);
}

TEST(CodexLogReading, ChoosingAnotherPlanTriesTheNewestLineAgain) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::freeGo);
    reader.receiveCodexLogLine(world.line(30, 25));
    EXPECT_EQ(reader.codexLogsState().refusal, CodexLogRefusal::missingWindow);
    reader.setCodexPlan(CodexPlan::plus);
    EXPECT_EQ(reader.snapshot().fiveHour, "75%");
    EXPECT_EQ(reader.codexLogsState().refusal, std::nullopt);
}

TEST(CodexLogReading, ADueAutomaticRefreshIsSkippedWhileTheLogsAreCurrent) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::plus, true);
    world.refresh();
    const Date deadline = *reader.nextAutomaticRefreshDate();
    // A log reading half an interval later, then the deadline comes.
    world.time.advance(30);
    reader.receiveCodexLogLine(world.line(0, 30));
    world.log.clear();
    world.time.advance(deadline.timeIntervalSince(world.time.now()) + 15);
    EXPECT_TRUE(world.log.contains("Automatic refresh skipped \u2014 Codex's logs are current"));
    EXPECT_FALSE(reader.automationInProgress());
    // One interval on from the tick that found it due.
    EXPECT_GE(*reader.nextAutomaticRefreshDate(), deadline.addingTimeInterval(60));
    EXPECT_LE(*reader.nextAutomaticRefreshDate(), deadline.addingTimeInterval(75));
    // Logs gone quiet: the next due refresh reads the menu.
    world.log.clear();
    world.time.runUntil([&] { return reader.automationInProgress(); }, 120);
    EXPECT_TRUE(reader.automationInProgress());

    // Switched off, the logs never stand in for the menu.
    world.runUntilRunEnds();
    reader.setCodexLogsEnabled(false);
    reader.receiveCodexLogLine(world.line(0, 40));
    EXPECT_NE(reader.snapshot().fiveHour, "60%");
    EXPECT_FALSE(reader.codexLogsAreCurrent());
}

TEST(CodexLogReading, HistoryKeepsBothSourcesAndFeedsThePace) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::plus);
    const Date start = world.time.now();
    const Date reset = start.addingTimeInterval(3 * 3600);
    // 5h falls 10 points in 20 minutes: out in well under the three hours left.
    for (int minute = 0; minute <= 20; minute += 5) {
        const Date at = start.addingTimeInterval(minute * 60);
        world.time.advance(at.timeIntervalSince(world.time.now()));
        reader.receiveCodexLogLine(
            LogWorld::usage(at, CodexLogRateWindow{50 + minute / 2.0, 300, reset},
                            CodexLogRateWindow{20, 10'080, start.addingTimeInterval(86'400)}));
    }
    EXPECT_EQ(reader.usageHistory().points(CodexPlan::plus, QuotaWindow::fiveHour).size(), 5u);
    EXPECT_EQ(reader.windowResetsAt(QuotaWindow::fiveHour), reset);
    const UsagePaceEstimate pace = reader.usagePace(QuotaWindow::fiveHour);
    EXPECT_EQ(pace.kind, UsagePaceEstimate::Kind::runsOut);
    EXPECT_EQ(reader.usagePace(QuotaWindow::weekly).kind, UsagePaceEstimate::Kind::lastsUntilReset);
    ASSERT_TRUE(world.history.bytes());
    EXPECT_TRUE(decodeJson<UsageHistory>(*world.history.bytes()));

    // A menu reading joins the history without a reset time.
    world.refresh();
    EXPECT_FALSE(
        reader.usageHistory().points(CodexPlan::plus, QuotaWindow::fiveHour).back().resetsAt);
}

// A window whose reset time passes with no newer line is shown full from that moment, and the
// reset notification follows its usual rule; the other window stays as read.
TEST(CodexLogReading, AResetThatPassesWithNoNewerLineShowsTheWindowFull) {
    LogWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeLogReader(CodexPlan::plus);
    const Date at = world.time.now().addingTimeInterval(-60);
    const Date fiveHourReset = world.time.now().addingTimeInterval(600);
    reader.receiveCodexLogLine(
        LogWorld::usage(at, CodexLogRateWindow{90, 300, fiveHourReset},
                        CodexLogRateWindow{30, 10'080, at.addingTimeInterval(4 * 86'400)}));
    EXPECT_EQ(reader.snapshot().fiveHour, "10%");
    EXPECT_TRUE(reader.windowsShownAsReset().empty());

    world.time.advance(601);
    EXPECT_EQ(reader.snapshot().fiveHour, "100%");
    EXPECT_EQ(reader.snapshot().weekly, "70%");
    EXPECT_EQ(reader.lastUpdated(), fiveHourReset);
    EXPECT_EQ(reader.windowsShownAsReset(),
              (std::map<QuotaWindow, Date>{{QuotaWindow::fiveHour, fiveHourReset}}));
    ASSERT_FALSE(world.notifications.requests().empty());
    EXPECT_EQ(world.notifications.requests().back().title, "Codex Usage Reset");

    // The next line of the new period replaces it.
    reader.receiveCodexLogLine(world.line(0, 4, 31));
    EXPECT_EQ(reader.snapshot().fiveHour, "96%");
    EXPECT_TRUE(reader.windowsShownAsReset().empty());
}

TEST(CodexLogReading, TheLogsPlanIsChosenWhenNoneIsAndNamedWhenAnotherIs) {
    const Date reset = Date::fromUnixTime(4'000'000'000);
    const struct {
        const char* logsPlan;
        std::optional<CodexPlan> chosen, planAfter;  // none: the chooser is still offered
        std::optional<CodexLogRefusal> refusal;
    } cases[] = {
        {"pro", std::nullopt, CodexPlan::pro, std::nullopt},
        {"team", std::nullopt, std::nullopt, CodexLogRefusal::unknownPlan},
        {"plus", CodexPlan::freeGo, CodexPlan::freeGo, CodexLogRefusal::planMismatch},
    };
    for (const auto& c : cases) {
        LogWorld world(CodexPlan::plus);
        UsageReader& reader = world.makeLogReader(c.chosen);
        reader.receiveCodexLogLine(LogWorld::usage(
            world.time.now().addingTimeInterval(-30), CodexLogRateWindow{20, 300, reset},
            CodexLogRateWindow{40, 10'080, reset}, std::string(c.logsPlan)));
        EXPECT_EQ(reader.hasExplicitPlanSelection(), c.planAfter.has_value()) << c.logsPlan;
        EXPECT_EQ(reader.codexPlan(), c.planAfter.value_or(reader.codexPlan())) << c.logsPlan;
        EXPECT_EQ(reader.codexLogsState().refusal, c.refusal) << c.logsPlan;
        EXPECT_EQ(reader.codexLogsState().logsPlanType, c.logsPlan) << c.logsPlan;
        EXPECT_EQ(reader.activeSnapshotPlan(), c.refusal ? std::nullopt : c.planAfter)
            << c.logsPlan;
        if (!c.refusal) {
            EXPECT_EQ(reader.snapshot().weekly, "60%");
            EXPECT_EQ(reader.snapshot().weeklyReset, "Oct 2");
        }
    }
}

// The whole way: a session file under the chosen folder, read by the follower, decoded, committed.
TEST(CodexLogReading, ASessionFileIsReadOnlyWhileTheSourceIsOn) {
    LogWorld world(CodexPlan::plus);
    const Date at = world.time.now().addingTimeInterval(-20);
    const auto unix = [](Date date) {
        return std::to_string(static_cast<long long>(date.unixTime()));
    };
    world.files.writeFile(
        "/home/someone/.codex/sessions/2026/11/21/rollout-2026-11-21T08-00-00-a.jsonl",
        "{\"timestamp\":\"2026-11-21T08:59:40Z\",\"type\":\"event_msg\",\"payload\":{"
        "\"type\":\"token_count\",\"rate_limits\":{\"primary\":{\"used_percent\":30,"
        "\"window_minutes\":300,\"resets_at\":" +
            unix(at.addingTimeInterval(3600)) +
            "},\"secondary\":{\"used_percent\":55.5,\"window_minutes\":10080,"
            "\"resets_at\":" +
            unix(at.addingTimeInterval(86'400)) + "}}}}\n",
        at);

    UsageReader& off = world.makeLogReader(CodexPlan::plus, false, false);
    world.time.advance(30);
    EXPECT_TRUE(world.files.accessedPaths().empty());
    EXPECT_EQ(world.files.counters().watches, 0u);
    EXPECT_EQ(off.activeSnapshotPlan(), std::nullopt);

    off.setCodexLogsEnabled(true);
    EXPECT_EQ(off.snapshot().fiveHour, "70%");
    EXPECT_EQ(off.snapshot().weekly, "44%");
    EXPECT_EQ(off.lastUpdated(), at);
    EXPECT_EQ(off.codexLogsState().follower.acceptedLines, 1u);
    EXPECT_EQ(world.files.activeWatches(), 1u);
    // The app follows the logs while it runs: how far it read is not kept in its defaults.
    EXPECT_FALSE(world.preferences.dataValue(defaultsKey::codexLogsProgress));

    // Off again: the watch goes, and nothing more is read.
    off.setCodexLogsEnabled(false);
    const auto opens = world.files.counters().opens;
    EXPECT_EQ(world.files.activeWatches(), 0u);
    world.time.advance(60);
    EXPECT_EQ(world.files.counters().opens, opens);
}

}  // namespace
}  // namespace gaugely
