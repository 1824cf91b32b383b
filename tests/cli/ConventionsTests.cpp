#include <sstream>

#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

const fs::path source = GAUGELY_SOURCE_PATH;

using Conventions = ToolTest;

// Values follow a space or an equals sign alike: the rows use both.
TEST_F(Conventions, ABadArgumentIsOneLineAndAPointerToTheHelp) {
    const std::string serviceOptions =
        "the service always runs --watch --notify; give "
        "--install-service only --plan, --codex-home and --defaults";
    const struct {
        std::vector<std::string> arguments;
        std::string problem;
    } cases[] = {
        {{"frobnicate"}, "gaugely: unknown command \"frobnicate\"\nTry 'gaugely --help'.\n"},
        {{"--frobnicate"}, "gaugely: unknown option \"--frobnicate\"\nTry 'gaugely --help'.\n"},
        {{"parse"}, "--plan is required"},
        {{"parse", "--plan", "Plus"}, "unknown plan \"Plus\" (freeGo, plus or pro)"},
        {{"parse", "--plan=plus", "extra"}, "unexpected argument \"extra\""},
        {{"parse", "--plan", "plus", "--legacy", "x.txt"}, "--legacy is for --plan pro only"},
        {{"parse", "--json=yes", "--plan", "plus"}, "--json takes no value"},
        {{"parse", "--plan", "plus", "--colour"}, "unknown option \"--colour\""},
        {{"simulate", "--speed=0"}, "--speed needs a number above 0, not \"0\""},
        {{"simulate", "--speed", "2", "--virtual"}, "--speed and --virtual do not go together"},
        {{"simulate", "--duration", "-1"},
         "--duration needs a number of seconds above 0, not \"-1\""},
        {{"simulate", "--scenario=nope"},
         "unknown scenario \"nope\" (\"gaugely simulate --scenario list\" lists them)"},
        {{"simulate", "--ax-latency", "-1"},
         "--ax-latency needs a number of milliseconds of 0 or more, not \"-1\""},
        {{"simulate", "--refreshes=2.5"},
         "--refreshes needs a whole number from 1 to 1000, not \"2.5\""},
        {{"simulate", "--refreshes", "3", "--scenario", "demo"},
         "--refreshes goes with --scenario manual"},
        {{"state", "--defaults="}, "--defaults needs a file name"},
        {{"state", "--defaults"}, "--defaults needs a value"},
        {{"appcast", "list"}, "unknown action \"list\" (check)"},
        {{"usage", "--install-service", "--uninstall-service"},
         "--install-service and --uninstall-service do not go together"},
        {{"usage", "--install-service", "--watch"}, serviceOptions},
        {{"usage", "--uninstall-service", "--json"}, serviceOptions},
    };
    for (const auto& c : cases) {
        // Whatever goes wrong, no unit is written but in the test's folder.
        const ToolResult result =
            run(c.arguments, "5h\nWeekly\n", "XDG_CONFIG_HOME=" + path("config").string());
        const std::string& command = c.arguments.front();
        const std::string expected = command.starts_with("-") || command == "frobnicate"
                                         ? c.problem
                                         : "gaugely " + command + ": " + c.problem +
                                               "\nTry 'gaugely " + command + " --help'.\n";
        EXPECT_EQ(result.status, 2) << expected;
        EXPECT_EQ(result.out, "") << expected;
        EXPECT_EQ(result.err, expected);
    }
    EXPECT_FALSE(fs::exists(path("config")));
}

// What each command's help says is the manual page's (the install test holds them together).
TEST_F(Conventions, HelpGoesToStandardOutput) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"--help"}, {"-h"}, {"parse", "--help"}, {"simulate", "-h"}, {"state", "--help"}}) {
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.status, 0) << arguments.front();
        EXPECT_EQ(result.err, "") << arguments.front();
        EXPECT_TRUE(contains(result.out, arguments.size() == 1 ? "  simulate" : "Exit status"))
            << arguments.front();
    }
}

// Every "$ gaugely …" example in the README's text blocks prints what the README says it does,
// against throw-away state: an example that keeps state names a throw-away --defaults, so a
// reader who tries it never changes their own.
TEST_F(Conventions, TheReadmesExamplesPrintWhatTheyShow) {
    std::istringstream readme(readFile(source / "README.md"));
    std::string line;
    int checked = 0;
    std::optional<std::string> example;
    std::string shown;
    const auto check = [&] {
        if (!example) {
            return;
        }
        std::vector<std::string> arguments;
        std::string input;
        std::istringstream words(example->substr(std::string("$ gaugely ").size()));
        bool throwAwayState = false;
        for (std::string word; words >> word;) {
            // A word in single quotes keeps its spaces, as the shell keeps them.
            while (word.starts_with('\'') && (word.size() < 2 || !word.ends_with('\''))) {
                std::string more;
                if (!std::getline(words, more, '\'')) {
                    break;
                }
                word += more + "'";
            }
            if (word.size() >= 2 && word.starts_with('\'') && word.ends_with('\'')) {
                word = word.substr(1, word.size() - 2);
            }
            if (word == "<") {
                words >> word;
                input = readFile(source / word);
            } else if (word == "--defaults") {
                // The reader's throw-away file becomes the test's.
                words >> word;
                EXPECT_TRUE(word.starts_with("/tmp/")) << *example;
                arguments.insert(arguments.end(), {"--defaults", path("example.json").string()});
                throwAwayState = true;
            } else {
                arguments.push_back(word);
            }
        }
        // `usage` keeps state: each example gets fresh state folders.
        const bool keepsState = arguments.front() == "usage";
        EXPECT_TRUE(!keepsState || throwAwayState)
            << *example << ": give it a throw-away --defaults";
        fs::remove(path("example.json"));
        fs::remove(path("example.json.history.json"));
        const std::string environment = keepsState ? "XDG_CONFIG_HOME=" + path("config").string() +
                                                         " XDG_DATA_HOME=" + path("data").string() +
                                                         " CODEX_HOME="
                                                   : "";
        fs::remove_all(path("config"));
        fs::remove_all(path("data"));
        // Run where the README's paths start.
        const ToolResult result = run(arguments, input, environment, source);
        EXPECT_EQ(result.status, 0) << *example << "\n" << result.err;
        EXPECT_EQ(result.out, shown) << *example;
        ++checked;
        example.reset();
        shown.clear();
    };
    while (std::getline(readme, line)) {
        if (line.starts_with("$ ") || line.starts_with("```")) {
            check();
        }
        if (line.starts_with("$ gaugely ")) {
            example = line;
        } else if (example) {
            shown += line + "\n";
        }
    }
    EXPECT_GE(checked, 8);
}

}  // namespace
}  // namespace gaugely::tooltest
