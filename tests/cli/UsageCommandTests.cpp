#include <gtest/gtest.h>

#include <sstream>

#include "LowUsageNotificationSupport/Json.h"
#include "ToolRunner.h"

namespace gaugely::tooltest::usage_tests {
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
        std::vector<std::string> err;
    } cases[] = {
        {"a plan whose windows the logs lack",
         {"--codex-home", fixture("free-go"), "--plan", "plus"},
         1,
         {"Codex's logs do not show the Plus plan's windows", "--plan freeGo"}},
        {"no Codex folder: CODEX_HOME is where it looks, and it says how to name another",
         {},
         1,
         {"No Codex logs in ", "no-codex/sessions\n",
          "; name another with --codex-home DIR or the CODEX_HOME environment variable\n"}},
        {"the sessions folder named for Codex's",
         {"--codex-home", fixture("plus") + "/sessions/"},
         1,
         {"plus/sessions/sessions\n",
          "plus/sessions/ looks like the sessions folder inside "
          "Codex's folder; try --codex-home " +
              fixture("plus") + "\n"}},
        {"--format with a placeholder it does not know",
         {"--format", "{5h} {5h.left}"},
         2,
         {"--format: unknown placeholder {5h.left}"}},
        {"--json and a status line", {"--json", "--waybar"}, 2, {"do not go together"}},
    };
    for (const auto& c : cases) {
        fs::remove(path("usage.json"));
        const ToolResult result = usage(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.name << "\n" << result.err;
        EXPECT_EQ(result.out, "") << c.name;
        for (const std::string& part : c.err) {
            EXPECT_NE(result.err.find(part), std::string::npos) << c.name << ": " << part << "\n"
                                                                << result.err;
        }
    }
}

// One line for a prompt or a bar, from the same reading; without one, the line still comes (a
// bar shows something) with the reason on standard error.
TEST_F(Usage, StatusLinesForPromptsAndBars) {
    const ToolResult line = usage({"--codex-home", fixture("plus"), "--format",
                                   "{plan}: 5h {5h} ({5h.reset}) W {weekly}{monthly} {{{age}}}"});
    ASSERT_EQ(line.status, 0) << line.err;
    // The sample's reading is days old; its age says so in whole days.
    EXPECT_TRUE(line.out.starts_with("Plus: 5h 72% (Jan 1, 2099, 15:45) W 40%— {")) << line.out;
    EXPECT_TRUE(line.out.ends_with("d}\n")) << line.out;
    EXPECT_EQ(line.err, "");

    // --format gives the bar its text.
    EXPECT_EQ(Json::parse(usage({"--codex-home", fixture("free-go"), "--plan", "freeGo", "--waybar",
                                 "--format", "<{monthly}>"})
                              .out)["text"],
              "&lt;85%&gt;");

    const ToolResult none =
        usage({"--codex-home", path("gone").string(), "--plan", "plus", "--waybar"});
    EXPECT_EQ(none.status, 1);
    const Json unavailable = Json::parse(none.out);
    EXPECT_EQ(unavailable["text"], "5h \u2014 \u00B7 W \u2014");
    EXPECT_EQ(unavailable["class"], Json::array({"unavailable"}));
    EXPECT_FALSE(unavailable.contains("percentage"));
    EXPECT_NE(none.err.find("No Codex logs in "), std::string::npos) << none.err;
}

// A reading saved from one Codex folder is never shown for another, even when it is the newer.
TEST_F(Usage, AReadingBelongsToTheCodexFolderItCameFrom) {
    // Another Codex folder whose one reading is older than the sample's.
    fs::create_directories(path("older/sessions/2026/11/21"));
    writeFile(path("older/sessions/2026/11/21/rollout-2026-11-21T12-00-00-older.jsonl"),
              "{\"timestamp\":\"2026-11-21T12:00:00Z\",\"type\":\"event_msg\",\"payload\":{"
              "\"type\":\"token_count\",\"rate_limits\":{\"primary\":{\"used_percent\":5,"
              "\"window_minutes\":300,\"resets_at\":4070965500},\"secondary\":{"
              "\"used_percent\":50,\"window_minutes\":10080,\"resets_at\":4092886800}}}}\n");
    ASSERT_EQ(usage({"--codex-home", fixture("plus"), "--format", "{5h}"}).out, "72%\n");
    const ToolResult other = usage({"--codex-home", path("older").string(), "--format", "{5h}"});
    EXPECT_EQ(other.out, "95%\n") << other.err;
    // And back: the first folder's reading again, not the second's.
    EXPECT_EQ(usage({"--codex-home", fixture("plus"), "--format", "{5h}"}).out, "72%\n");
    // The same folder named another way is the same folder.
    EXPECT_EQ(usage({"--codex-home", fixture("plus") + "/sessions/..", "--format", "{5h} {age}"})
                  .out.substr(0, 4),
              "72% ");
}

// Live: a line Codex appends shows at once, with its notification, in each output's shape for
// scripts (the text shape is the terminal and install tests'). The test only waits for what it
// expects (up to a generous limit); it never times anything.
TEST_F(Usage, WatchShowsEachNewReadingWithItsNotifications) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        const char* first;
        const char* second;
        const char* notification;
    } modes[] = {
        {"json",
         {"--json"},
         R"("menuBar":"5h 72% · W 40%")",
         R"("menuBar":"5h 15% · W 39%")",
         R"({"type":"notification","kind":"lowUsage","window":"fiveHour","windows":["fiveHour"],)"
         R"("title":"Codex Usage Low","body":"5h usage remaining: 15%"})"},
        // A status line's notifications go beside it, to standard error.
        {"format",
         {"--format", "5h={5h}"},
         "5h=72%\n",
         "5h=72%\n5h=15%\n",
         "gaugely usage: notification: Codex Usage Low: 5h usage remaining: 15%"},
    };
    for (const auto& mode : modes) {
        fs::remove(path("usage.json"));
        fs::remove(path("usage.json.history.json"));
        const fs::path log = copyOfThePlusSample();
        std::vector<std::string> arguments{"usage",        "--watch",
                                           "--codex-home", path("codex").string(),
                                           "--defaults",   path("usage.json").string()};
        arguments.insert(arguments.end(), mode.arguments.begin(), mode.arguments.end());
        BackgroundTool tool(directory_, GAUGELY_TOOL_PATH, arguments);
        ASSERT_TRUE(tool.started());
        EXPECT_TRUE(tool.waitFor(mode.first)) << mode.name << "\n" << tool.err();
        std::ofstream(log, std::ios::app) << appendedUsageLine(10, 85);
        EXPECT_TRUE(tool.waitFor(mode.second)) << mode.name << "\n" << tool.out();
        EXPECT_TRUE(tool.waitFor(mode.notification)) << mode.name << "\n" << tool.out();
        // Standard output holds only the mode's own lines.
        std::istringstream lines(tool.out());
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(std::string(mode.name) == "json" ? Json::parse(line).contains("type")
                                                         : line.starts_with("5h="))
                << line;
        }
        EXPECT_TRUE(tool.stop(SIGINT)) << mode.name << ": still running after Ctrl-C";
    }
}

}  // namespace
}  // namespace gaugely::tooltest::usage_tests
