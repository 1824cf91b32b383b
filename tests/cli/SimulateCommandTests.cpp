#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "LowUsageNotificationSupport/Text.h"
#include "ToolRunner.h"

namespace gaugely::tooltest::simulate_tests {
namespace {

using namespace std::string_literals;

const fs::path source = GAUGELY_SOURCE_PATH;

std::string replacedAll(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

class Simulate : public ToolTest {};

const std::string goldenScenarios[] = {"demo",      "first-run",         "manual",
                                       "automatic", "deferred",          "low-usage",
                                       "reset",     "codex-not-running", "update"};

class GoldenOutput : public ToolTest, public ::testing::WithParamInterface<std::string> {};

// Each scenario in virtual time prints the same lines on every run; the golden files are what
// a reviewer reads to see the product work. GAUGELY_UPDATE_GOLDEN=1 rewrites them.
TEST_P(GoldenOutput, MatchesItsGoldenFile) {
    const std::string& scenario = GetParam();
    const fs::path defaults = path(scenario + ".json");
    const ToolResult result = run({"simulate", "--virtual", "--scenario", scenario, "--plan",
                                   "plus", "--defaults", defaults.string()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const std::string shown = replacedAll(result.out, defaults.string(), "DEFAULTS");
    const fs::path golden = source / "tests/golden" / ("simulate-" + scenario + ".txt");
    if (const char* update = std::getenv("GAUGELY_UPDATE_GOLDEN"); update && update == "1"s) {
        writeFile(golden, shown);
        return;
    }
    EXPECT_EQ(shown, readFile(golden))
        << golden << " differs; rerun with GAUGELY_UPDATE_GOLDEN=1 if the change is intended";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenOutput, ::testing::ValuesIn(goldenScenarios),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             std::erase(name, '-');
                             return name;
                         });

TEST_F(Simulate, TheListHasEveryScenarioWithAGoldenFile) {
    std::string listed, golden;
    for (const std::string& line : text::splitLines(run({"simulate", "--scenario", "list"}).out)) {
        listed += line.starts_with("  ") ? line.substr(2, line.find(' ', 2) - 2) + " " : "";
    }
    for (const std::string& scenario : goldenScenarios) {
        golden += scenario + " ";
    }
    EXPECT_EQ(listed, golden);
}

// The other plans read other windows and name them in their notifications.
TEST_F(Simulate, ScenariosFollowThePlan) {
    const struct {
        const char* scenario;
        const char* plan;
        std::vector<std::string> shows;
    } cases[] = {
        {"low-usage", "freeGo", {"notification: [Codex Usage Low] Monthly usage remaining: 18%"}},
        {"low-usage",
         "pro",
         {"menu bar: ◔ W 40%", "[Codex Usage Low] General Weekly usage remaining: 18%"}},
        {"reset",
         "freeGo",
         {"menu bar: ◔ M 25%", "[Codex Usage Reset] Monthly usage reset — 100% available"}},
    };
    for (const auto& c : cases) {
        const std::string defaults = path(std::string(c.scenario) + "-" + c.plan + ".json");
        const ToolResult result = run({"simulate", "--virtual", "--scenario", c.scenario, "--plan",
                                       c.plan, "--defaults", defaults});
        EXPECT_EQ(result.status, 0) << c.scenario << " " << c.plan << ": " << result.err;
        for (const std::string& line : c.shows) {
            EXPECT_NE(result.out.find(line), std::string::npos)
                << c.scenario << " " << c.plan << " should show: " << line;
        }
    }
}

TEST_F(Simulate, ASecondRunRestoresWhatTheFirstSaved) {
    const std::string defaults = path("gaugely.json");
    const ToolResult first = run({"simulate", "--virtual", "--scenario", "low-usage", "--plan",
                                  "plus", "--defaults", defaults});
    ASSERT_EQ(first.status, 0) << first.err;

    // No --plan: the stored one is used, and the reading is on screen from the start.
    const ToolResult second =
        run({"simulate", "--virtual", "--scenario", "manual", "--defaults", defaults});
    ASSERT_EQ(second.status, 0) << second.err;
    EXPECT_NE(second.out.find("Restored from " + defaults +
                              ": plan Plus; reading 5h 18% (reset 3:45 PM) · Weekly 40% (reset "
                              "Sep 12) from 2026-11-21 09:00:05 UTC; automatic refresh every 1 "
                              "minute, next 2026-11-21 09:01:05 UTC."),
              std::string::npos)
        << second.out;
    EXPECT_NE(second.out.find("[+00:00.000] menu bar: ◔ 5h 18% · W 40%"), std::string::npos);
    EXPECT_EQ(second.out.find("You choose"), std::string::npos);

    // Another plan is chosen as in Settings; its reading starts empty. The run is cut short
    // before its refresh.
    const ToolResult third = run({"simulate", "--virtual", "--scenario", "manual", "--plan",
                                  "freeGo", "--defaults", defaults, "--duration", "0.5"});
    ASSERT_EQ(third.status, 0) << third.err;
    EXPECT_NE(third.out.find("Scenario manual ended at +00:00.500;"), std::string::npos);
    EXPECT_EQ(third.out.find("You click the refresh item."), std::string::npos);
    EXPECT_NE(third.out.find("▸ You choose Free / Go as your plan in Settings."),
              std::string::npos);
    EXPECT_NE(third.out.find("menu bar: ◔ M —"), std::string::npos);
}

TEST_F(Simulate, WithoutAPlanItAsksForOneOrStops) {
    const std::string fresh = path("fresh.json");
    const ToolResult noPlan =
        run({"simulate", "--virtual", "--scenario", "first-run", "--defaults", fresh});
    EXPECT_EQ(noPlan.status, 2);
    EXPECT_EQ(noPlan.out, "");
    EXPECT_NE(noPlan.err.find("pass --plan freeGo, --plan plus or --plan pro"), std::string::npos);
    // Stopping for a missing plan leaves no file behind.
    EXPECT_FALSE(fs::exists(fresh));

    ASSERT_EQ(
        run({"simulate", "--virtual", "--scenario", "manual", "--plan", "pro", "--defaults", fresh})
            .status,
        0);
    const ToolResult notFirst =
        run({"simulate", "--virtual", "--scenario", "first-run", "--defaults", fresh});
    EXPECT_EQ(notFirst.status, 2);
    EXPECT_NE(notFirst.err.find("already has one (pro)"), std::string::npos);
}

// At real speed the run sleeps between work items; Ctrl-C ends the sleep at once, the state is
// saved and the status says which signal it was.
TEST_F(Simulate, CtrlCStopsARealTimeRunCleanly) {
    const std::string defaults = path("d.json");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const std::string out = path("out");
        std::freopen(out.c_str(), "w", stdout);
        ::execl(GAUGELY_TOOL_PATH, "gaugely", "simulate", "--scenario", "manual", "--plan", "plus",
                "--defaults", defaults.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Past the refresh that starts at one second, into the wait for the scenario's end.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    const auto sent = std::chrono::steady_clock::now();
    ::kill(child, SIGINT);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - sent, std::chrono::seconds(2));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    const std::string out = readFile(path("out"));
    EXPECT_NE(out.find("by Ctrl-C; what was saved is kept in " + defaults), std::string::npos)
        << out;
    EXPECT_NE(readFile(defaults).find("\"codex-plan-v1\": \"plus\""), std::string::npos);
}

// The README's excerpt of the piped demo is made of lines the demo really prints.
TEST_F(Simulate, TheReadmeQuotesTheDemo) {
    const std::string readme = readFile(source / "README.md");
    const std::string opening = "```text\n[+00:02.000]";
    const std::size_t begin = readme.find(opening);
    ASSERT_NE(begin, std::string::npos);
    const std::size_t end = readme.find("```", begin + 3);
    const std::string excerpt = readme.substr(begin + 8, end - begin - 8);
    const std::string demo = readFile(source / "tests/golden/simulate-demo.txt");
    std::size_t from = 0;
    for (std::size_t at = 0; at < excerpt.size();) {
        const std::size_t next = excerpt.find('\n', at);
        const std::string line = excerpt.substr(at, next - at + 1);
        // In the order the demo prints them.
        const std::size_t found = demo.find(line, from);
        EXPECT_NE(found, std::string::npos) << line;
        from = found == std::string::npos ? from : found + line.size();
        at = next + 1;
    }
}

// One line of --stats' table.
struct StatisticsRow {
    std::string kind;
    std::size_t roundTrips = 0;
    double axBlocked = 0;
    double mainBlocked = 0;
    double longestBlock = 0;
    double requestToEnd = 0;
    double menuOpen = 0;
    std::size_t inMenu = 0;
    std::string line;
};

// The table's rows; the summary lines after it have no number where a row's round trips are.
std::vector<StatisticsRow> statisticsRows(const std::string& out) {
    std::vector<StatisticsRow> rows;
    std::istringstream lines(out.substr(std::min(out.size(), out.find("Refresh statistics: "))));
    std::string line, skip;
    std::getline(lines, line);
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        StatisticsRow row;
        row.line = line;
        if (!(fields >> skip >> skip >> row.kind >> row.roundTrips >> skip >> skip >>
              row.axBlocked >> skip >> row.mainBlocked >> skip >> row.longestBlock >> skip >>
              row.requestToEnd >> skip >> row.menuOpen >> skip >> row.inMenu)) {
            break;
        }
        rows.push_back(row);
    }
    return rows;
}

TEST_F(Simulate, AFailedRefreshCostsNoRoundTrips) {
    const std::string out = run({"simulate", "--virtual", "--scenario", "codex-not-running",
                                 "--plan", "plus", "--defaults", path("d.json"), "--stats"})
                                .out;
    // The failed run never reached Codex's tree.
    EXPECT_TRUE(contains(out, "manual                  0 ")) << out;
    EXPECT_TRUE(contains(out, "failed — Open Codex and try again.")) << out;
}

// Manual refreshes at 1 ms and 10 ms per round trip, each run twice on one defaults file: each
// line of the table has the time in round trips, the main thread's blocks, the time from request
// to end and the menu's dwell. The round trips are made on the accessibility worker, so the main
// thread is never blocked for long. Where Codex's menu appears is kept in the file, so only the
// very first refresh pays for finding it; every other one, the first after a restart too, meets
// the goals.
TEST_F(Simulate, RefreshesShowTheirCostAndOnlyTheFirstEverOnePaysForTheSearch) {
    for (const std::string latency : {"1", "10"}) {
        const std::vector<std::string> arguments{
            "simulate",     "--virtual", "--scenario",  "manual",
            "--plan",       "plus",      "--defaults",  path("d-" + latency + ".json"),
            "--ax-latency", latency,     "--refreshes", "3",
            "--stats"};
        const double seconds = std::stod(latency) / 1000.0;
        for (const bool restarted : {false, true}) {
            const ToolResult result = run(arguments);
            ASSERT_EQ(result.status, 0) << result.err;
            EXPECT_NE(result.out.find("main thread blocked per refresh: "), std::string::npos);
            const std::vector<StatisticsRow> rows = statisticsRows(result.out);
            ASSERT_EQ(rows.size(), 3u) << result.out;
            for (std::size_t refresh = 0; refresh < rows.size(); ++refresh) {
                const StatisticsRow& row = rows[refresh];
                EXPECT_EQ(row.kind, "manual") << row.line;
                EXPECT_NE(row.line.find("success — snapshot committed; cleanup closed"),
                          std::string::npos);
                EXPECT_NEAR(row.axBlocked, static_cast<double>(row.roundTrips) * seconds, 1e-6)
                    << row.line;
                EXPECT_LE(row.longestBlock, row.mainBlocked) << row.line;
                // At 10 ms: no block over 20 ms, and 200 ms in all.
                EXPECT_LE(row.longestBlock, 2 * seconds) << row.line;
                EXPECT_LE(row.mainBlocked, 20 * seconds) << row.line;
                if (refresh == 0 && !restarted) {
                    EXPECT_GT(row.roundTrips, 9000u) << row.line;
                    continue;
                }
                EXPECT_LE(row.roundTrips, 9000u) << row.line;
                EXPECT_LE(row.inMenu, 400u) << row.line;
                if (latency == "1") {
                    EXPECT_LE(row.requestToEnd, 10.0) << row.line;
                    EXPECT_LE(row.menuOpen, 1.0) << row.line;
                }
            }
        }
    }
}

// The story's clock stands still while Codex answers, and a scenario runs until its refreshes
// end: the scenarios that notify (or update) tell the same story at any latency.
TEST_F(Simulate, ScenariosTellTheSameStoryAtAnyLatency) {
    const auto told = [](const std::string& out) {
        std::vector<std::string> lines;
        std::istringstream in(out);
        for (std::string line; std::getline(in, line);) {
            for (const std::string kind : {"] notification: ", "] updater: message: "}) {
                if (const auto at = line.find(kind); at != std::string::npos) {
                    lines.push_back(line.substr(at + 2));
                }
            }
        }
        return lines;
    };
    // The demo notifies as low-usage and reset do.
    for (const std::string scenario : {"update", "demo"}) {
        std::vector<std::string> atZero;
        for (const std::string latency : {"0", "10"}) {
            const ToolResult result = run(
                {"simulate", "--virtual", "--scenario", scenario, "--plan", "plus", "--defaults",
                 path(scenario + "-" + latency + ".json"), "--ax-latency", latency});
            ASSERT_EQ(result.status, 0) << result.err;
            const std::vector<std::string> lines = told(result.out);
            if (latency == "0") {
                atZero = lines;
                EXPECT_FALSE(atZero.empty()) << scenario;
            } else {
                EXPECT_EQ(lines, atZero) << scenario << " at " << latency << " ms:\n" << result.out;
            }
        }
    }
}

// Without macOS the command records the simulated Codex: three trees the simulator reads back.
TEST_F(Simulate, DumpTreeRecordsASetThatReadsBack) {
    const ToolResult result =
        run({"dump-tree", "--plan", "freeGo", "--elements", "40", "--output", path("set")});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("recording the simulated Codex"), std::string::npos);
    for (const char* name : {"closed.txt", "open.txt", "expanded.txt"}) {
        const std::string text = readFile(fs::path(path("set")) / name);
        EXPECT_NE(text.find("AXPopUpButton"), std::string::npos) << name;
        EXPECT_EQ(text.find("Codex\""), std::string::npos) << name << ": window title kept";
    }
    EXPECT_NE(readFile(fs::path(path("set")) / "expanded.txt").find("\"Monthly\""),
              std::string::npos);
}

}  // namespace
}  // namespace gaugely::tooltest::simulate_tests
