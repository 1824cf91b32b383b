#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "LowUsageNotificationSupport/Json.h"
#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

const fs::path source = GAUGELY_SOURCE_PATH;

class Usage : public ToolTest {
  protected:
    // The state goes into the test's folder, never the developer's.
    ToolResult usage(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "usage");
        arguments.push_back("--defaults");
        arguments.push_back(path("usage.json").string());
        return run(arguments, "", "CODEX_HOME=" + path("no-codex").string());
    }
    static std::string fixture(const std::string& name) {
        return (source / "tests/fixtures/codex-logs" / name).string();
    }
};

TEST_F(Usage, ReadsTheNewestUsageLineOrSaysWhereItLooked) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        int status;
        std::vector<std::string> out;
        std::vector<std::string> err;
    } cases[] = {
        {"plus, from the newest of two days",
         {"--codex-home", fixture("plus")},
         0,
         {" ◔ 5h 72% · W 40%\n", " 5h      72%", "Reset 3:45 PM", "Reset Sep 12",
          "Last updated: 14:02 · from Codex's logs\n"},
         {}},
        {"logs that show another plan say which",
         {"--codex-home", fixture("plus"), "--plan", "pro"},
         1,
         {},
         {"gaugely usage: Codex's logs show the Plus plan; choose it with --plan plus\n"}},
        {"free / go",
         {"--codex-home", fixture("free-go"), "--plan", "freeGo"},
         0,
         {" ◔ M 85%\n"},
         {}},
        {"a plan whose windows the logs lack",
         {"--codex-home", fixture("free-go"), "--plan", "plus"},
         1,
         {},
         {"Codex's logs do not show the Plus plan's windows", "--plan freeGo"}},
        {"no Codex folder: CODEX_HOME is where it looks",
         {},
         1,
         {},
         {"No Codex logs in ", "no-codex/sessions\n"}},
        {"a bad plan", {"--plan", "team"}, 2, {}, {"unknown plan \"team\""}},
    };
    for (const auto& c : cases) {
        fs::remove(path("usage.json"));
        const ToolResult result = usage(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.name << "\n" << result.err;
        for (const std::string& part : c.out) {
            EXPECT_NE(result.out.find(part), std::string::npos) << c.name << ": " << part << "\n"
                                                                << result.out;
        }
        for (const std::string& part : c.err) {
            EXPECT_NE(result.err.find(part), std::string::npos) << c.name << ": " << part << "\n"
                                                                << result.err;
        }
    }
}

// One object a reading for scripts; the state and history land in the test's own files.
TEST_F(Usage, JsonIsOneObjectAReadingAndStateIsKeptBesideTheDefaults) {
    const ToolResult result = usage({"--codex-home", fixture("plus"), "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1);
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["plan"], "plus");
    EXPECT_EQ(json["source"], "codexLogs");
    EXPECT_EQ(json["readAt"], "2026-11-21T14:02:55Z");
    EXPECT_EQ(json["windows"][0]["remaining"], "72%");
    EXPECT_EQ(json["windows"][0]["resetsAt"], "2099-01-01T15:45:00Z");
    EXPECT_TRUE(json["windows"][1]["pace"].is_null());  // the sample is long past its last hour
    EXPECT_TRUE(fs::exists(path("usage.json")));
    EXPECT_TRUE(fs::exists(path("usage.json.history.json")));

    // A second run finds the same line: nothing new, the same reading.
    const ToolResult again = usage({"--codex-home", fixture("plus"), "--json"});
    EXPECT_EQ(again.out, result.out);
    // The logs gone: the saved reading is not passed off as current.
    const ToolResult gone = usage({"--codex-home", path("gone").string(), "--json"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.out, "");
    EXPECT_NE(gone.err.find("No Codex logs in "), std::string::npos) << gone.err;
}

// Live: a line Codex appends shows at once, with its notification. The test only waits for what
// it expects (up to a generous limit); it never times anything.
TEST_F(Usage, WatchShowsEachNewReadingWithItsNotifications) {
    fs::copy(fixture("plus"), path("codex"), fs::copy_options::recursive);
    const fs::path log =
        path("codex/sessions/2026/11/21/rollout-2026-11-21T13-40-00-0199b311-sample.jsonl");
    const std::string command =
        "sh -c 'echo $$ > " + path("pid").string() + "; exec env TZ=UTC LC_ALL=C " +
        std::string(GAUGELY_TOOL_PATH) + " usage --watch --codex-home " + path("codex").string() +
        " --defaults " + path("usage.json").string() + " > " + path("out").string() + " 2>&1' &";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto waitFor = [&](const std::string& text) {
        for (int i = 0; i < 400; ++i) {
            if (readFile(path("out")).find(text) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    };
    ASSERT_TRUE(waitFor(" ◔ 5h 72% · W 40%"));

    const long long now = std::time(nullptr);
    std::ofstream(log, std::ios::app)
        << "\n{\"timestamp\":\"2026-11-21T14:10:00Z\",\"type\":\"event_msg\",\"payload\":{"
           "\"type\":\"token_count\",\"rate_limits\":{\"primary\":{\"used_percent\":85,"
           "\"window_minutes\":300,\"resets_at\":"
        << now + 3600
        << "},\"secondary\":{\"used_percent\":61,\"window_minutes\":10080,\"resets_at\":"
        << now + 86'400 << "}}}}\n";
    EXPECT_TRUE(waitFor(" ◔ 5h 15% · W 39%"));
    EXPECT_TRUE(waitFor("Codex Usage Low: 5h usage remaining: 15%"));

    // A session resumed in the previous day's file: Codex appends to it where it began.
    std::ofstream(
        path("codex/sessions/2026/11/20/rollout-2026-11-20T09-00-00-0199a7f2-sample.jsonl"),
        std::ios::app)
        << "{\"timestamp\":\"2026-11-21T14:20:00.000Z\",\"type\":\"event_msg\",\"payload\":{"
           "\"type\":\"token_count\",\"info\":null,\"rate_limits\":{\"primary\":{\"used_percent\":"
           "90.0,\"window_minutes\":300,\"resets_at\":"
        << now + 3600
        << "},\"secondary\":{\"used_percent\":62.0,\"window_minutes\":10080,\"resets_at\":"
        << now + 86'400 << "},\"credits\":null,\"plan_type\":\"plus\"}}}\n";
    EXPECT_TRUE(waitFor(" ◔ 5h 10% · W 38%"));

    const pid_t pid = std::stoi(readFile(path("pid")));
    ::kill(pid, SIGINT);
    for (int i = 0; i < 100 && ::kill(pid, 0) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_NE(::kill(pid, 0), 0) << "still running after Ctrl-C";
}

}  // namespace
}  // namespace gaugely::tooltest
