#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Posix/PreferencesDocument.h"
#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

using State = ToolTest;

TEST_F(State, ShowsWhatARunSavedWithoutChangingTheFile) {
    // As a low-usage run leaves it: plan plus, 5h at 18% and notified.
    const std::string defaults = path("gaugely.json");
    ASSERT_EQ(run({"simulate", "--virtual", "--scenario", "low-usage", "--plan", "plus",
                   "--defaults", defaults})
                  .status,
              0);
    const std::string before = readFile(defaults);

    const ToolResult text = run({"state", "--defaults", defaults});
    EXPECT_EQ(text.status, 0) << text.err;
    for (const std::string line : {
             "Plan                      Plus\n",
             "  Plus                    5h 18% (reset 3:45 PM) · Weekly 40% (reset Sep 12), read "
             "2026-11-21 09:00:05 UTC from Codex's menu\n",
             "Profile menu              below AXWindow 1, for Codex 1.0.0 (100)\n",
             "Next automatic refresh    2026-11-21 09:01:05 UTC (overdue)\n",
             "Low-usage alert state     plus.fiveHour low, notified 2026-11-21 09:00:05 UTC · "
             "plus.weekly not low\n",
             "  Menu bar                ◔ 5h 18% · W 40%\n",
         }) {
        EXPECT_NE(text.out.find(line), std::string::npos) << line << "\nin:\n" << text.out;
    }

    const ToolResult json = run({"state", "--defaults", defaults, "--json"});
    EXPECT_EQ(json.status, 0) << json.err;
    const auto parsed = parseJson(json.out);
    ASSERT_TRUE(parsed.has_value()) << json.out;
    EXPECT_EQ((*parsed)["plan"], "plus");
    EXPECT_EQ((*parsed)["snapshots"]["plus"]["snapshot"]["fiveHour"], "18%");
    EXPECT_EQ((*parsed)["nextAutomaticRefreshDate"]["overdue"], true);
    EXPECT_EQ((*parsed)["onLaunch"]["menuBarText"], "5h 18% · W 40%");

    // The launch it imagines would push the overdue deadline on; the file must not see it.
    EXPECT_EQ(readFile(defaults), before);
}

TEST_F(State, MissingOddAndBrokenFiles) {
    const struct {
        const char* name;
        const char* contents;  // none: no file
        int status;            // 1: the file is refused with "is not a defaults file"
        std::vector<std::string> out;
    } cases[] = {
        {"missing",
         nullptr,
         0,
         {"(no such file yet: everything is at its default)",
          "Plan                      none chosen (default)",
          "Profile menu              not known yet (default)",
          "  Menu bar                ◔ Set plan"}},
        {"odd values",
         R"({"codex-plan-v1": "gold", "automatic-refresh-frequency-v1": "twentyMinutes",
             "menu-bar-display-v1": "compact", "reset-notification-settings-v1": true,
             "plan-specific-usage-snapshots-v1": {"type": "data", "value": "e30="}})",
         0,
         {"Plan                      none chosen (stored value unreadable: default)",
          "every 30 minutes\n", "Menu bar format           Compact\n",
          "Reset notifications       on (stored value unreadable: default)",
          "Unreadable (left as is)   codex-plan-v1, reset-notification-settings-v1, "
          "plan-specific-usage-snapshots-v1"}},
        {"one plan's reading unreadable",
         R"({"plan-specific-usage-snapshots-v1": {"type": "data", "value": "eyJzbmFwc2hvdHMiOiB7InBsdXMiOiB7InNuYXBzaG90IjogN319fQ=="}})",
         0,
         {"Readings\n  plus                    (stored reading unreadable: left as is)\n"}},
        {"not an object", "[1, 2]", 1, {}},
    };
    for (const auto& c : cases) {
        const std::string defaults = path("defaults.json");
        fs::remove(defaults);
        if (c.contents != nullptr) {
            writeFile(defaults, c.contents);
        }
        const ToolResult result = run({"state", "--defaults", defaults});
        EXPECT_EQ(result.status, c.status) << c.name << ": " << result.err;
        for (const std::string& line : c.out) {
            EXPECT_NE(result.out.find(line), std::string::npos)
                << c.name << ": " << line << "\nin:\n"
                << result.out;
        }
        EXPECT_EQ(contains(result.err, "is not a defaults file"), c.status == 1) << result.err;
        // Even a file it cannot read stays where and as it was.
        if (c.contents != nullptr) {
            EXPECT_EQ(readFile(defaults), c.contents) << c.name;
        } else {
            EXPECT_FALSE(fs::exists(defaults)) << c.name;
        }
    }
    EXPECT_EQ(run({"state", "--defaults", directory_.string()}).status, 1);
}

// Every command finds a file by the same rule: what `usage` saved, `state` finds, whichever way
// the state file is named.
TEST_F(State, FindsEachFileWhereTheCommandThatWroteItKeepsIt) {
    const std::string folders =
        "XDG_CONFIG_HOME=" + path("config").string() + " XDG_DATA_HOME=" + path("data").string();
    const fs::path usageState = path("config") / "gaugely/com.vostrel.gaugely.usage.json";
    const fs::path usageHistory = path("data") / "gaugely/com.vostrel.gaugely.usage.history.json";
    const fs::path appState = path("config") / "gaugely/com.vostrel.gaugely.json";
    const std::string plus = (fs::path(GAUGELY_SOURCE_PATH) / "tests/fixtures/codex-logs/plus");
    const struct {
        const char* name;
        std::vector<std::vector<std::string>> before;  // runs that save something
        std::vector<std::string> state;                // the arguments of `gaugely state`
        std::vector<std::string> shows;
    } cases[] = {
        {"nothing saved: the simulator's file",
         {},
         {},
         {"saved state in " + appState.string() + "\n(no such file yet",
          "  Usage history           " + path("data").string() +
              "/gaugely/com.vostrel.gaugely.history.json\n"}},
        {"only usage saved: its state and history",
         {{"usage", "--codex-home", plus}},
         {},
         {"saved state in " + usageState.string() + "\n",
          "  State                   " + usageState.string() + " (gaugely usage's)\n",
          "  Usage history           " + usageHistory.string() + "\n",
          "  History                 2 readings\n", "  Plus                    5h 72%"}},
        {"both saved: the simulator's, and where usage's is",
         {{"usage", "--codex-home", plus},
          {"simulate", "--virtual", "--scenario", "manual", "--plan", "pro"}},
         {},
         {"saved state in " + appState.string() + "\n",
          "  Also saved              " + usageState.string() +
              " (gaugely usage's): gaugely state --defaults " + usageState.string() +
              " shows it\n"}},
        {"usage's standard file named with --defaults keeps its standard history",
         {{"usage", "--codex-home", plus}},
         {"--defaults", usageState.string()},
         {"  Usage history           " + usageHistory.string() + "\n",
          "  History                 2 readings\n"}},
        {"a file of one's own: the history and the updater's records beside it",
         {{"usage", "--codex-home", plus, "--defaults", path("mine.json").string()}},
         {"--defaults", path("mine.json").string()},
         {"  Usage history           " + path("mine.json").string() + ".history.json\n",
          "  History                 2 readings\n",
          "  Updater's records       " + path("com.vostrel.gaugely.updater.json").string() + "\n"}},
    };
    for (const auto& c : cases) {
        fs::remove_all(path("config"));
        fs::remove_all(path("data"));
        for (const auto& arguments : c.before) {
            EXPECT_EQ(run(arguments, "", folders).status, 0) << c.name;
        }
        std::vector<std::string> arguments = {"state"};
        arguments.insert(arguments.end(), c.state.begin(), c.state.end());
        const ToolResult result = run(arguments, "", folders);
        EXPECT_EQ(result.status, 0) << c.name << ": " << result.err;
        for (const std::string& part : c.shows) {
            EXPECT_NE(result.out.find(part), std::string::npos)
                << c.name << ": " << part << "\nin:\n"
                << result.out;
        }
    }
    EXPECT_FALSE(fs::exists(path("mine.json.history.json.history.json")));
}

// The updater's records, beside the reader's file, are shown and left as they were.
TEST_F(State, ShowsTheUpdatersNoticeAndReceipt) {
    const auto suiteWith = [](const std::string& notice, const std::string& receipt) {
        return encodePreferencesDocument(
            {{"gaugely-production-update-notice-v1", PreferenceData{notice}},
             {"gaugely-production-pending-update-receipt-v1", PreferenceData{receipt}}});
    };
    const struct {
        std::string what;
        std::optional<std::string> suite;
        std::vector<std::string> shows;
    } rows[] = {
        {"no suite yet", std::nullopt, {"(no such file yet: no update checked or installed)"}},
        {"an offer and a receipt",
         suiteWith(R"({"offer":{"build":"4","version":"1.0.4","notes":"x"},"lastCheckAttempt":0})",
                   R"({"sourceBuild":"3","targetBuild":"4","bundleID":"com.vostrel.gaugely",)"
                   R"("bundlePath":"/Applications/Gaugely.app","created":0})"),
         {"Update notice           offer 1.0.4 (4), not dealt with yet (badge shown) · last check "
          "2001-01-01 00:00:00 UTC",
          "Pending update receipt  build 3 → 4 of com.vostrel.gaugely at "
          "/Applications/Gaugely.app"}},
        {"malformed records",
         suiteWith(R"({"offer":7})", R"({"sourceBuild":)"),
         {"Update notice           empty (stored value unreadable: the updater starts empty)",
          "Pending update receipt  none (stored value unreadable: the updater starts empty)"}},
    };
    const fs::path records = path("com.vostrel.gaugely.updater.json");
    for (const auto& row : rows) {
        fs::remove(records);
        if (row.suite) {
            writeFile(records, *row.suite);
        }
        const std::string before = readFile(records);
        const ToolResult result = run({"state", "--defaults", path("gaugely.json").string()});
        EXPECT_EQ(result.status, 0) << row.what << result.err;
        for (const std::string& line : row.shows) {
            EXPECT_TRUE(contains(result.out, line)) << row.what << ": " << line << "\n"
                                                    << result.out;
        }
        EXPECT_EQ(readFile(records), before) << row.what;
    }
}

}  // namespace
}  // namespace gaugely::tooltest
