#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace gaugely {
namespace {

namespace fs = std::filesystem;

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void writeFile(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string quoted(const std::string& argument) {
    std::string result = "'";
    for (const char c : argument) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

class GaugelyTool : public ::testing::Test {
  protected:
    void SetUp() override {
        directory_ = fs::temp_directory_path() /
                     ("gaugely-cli-" + std::to_string(::getpid()) + "-" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }

    fs::path file(const std::string& name, const std::string& text) {
        writeFile(directory_ / name, text);
        return directory_ / name;
    }

    // Runs the built tool with `input` on standard input.
    ToolRun run(const std::vector<std::string>& arguments, const std::string& input = "") {
        std::string command = quoted(GAUGELY_TOOL_PATH);
        for (const std::string& argument : arguments) {
            command += " " + quoted(argument);
        }
        command += " <" + quoted(file("stdin", input)) + " >" + quoted(directory_ / "stdout") +
                   " 2>" + quoted(directory_ / "stderr");
        const int raw = std::system(command.c_str());
        ToolRun result;
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        result.out = readFile(directory_ / "stdout");
        result.err = readFile(directory_ / "stderr");
        return result;
    }

    fs::path directory_;
};

TEST_F(GaugelyTool, ParsePrintsTheSnapshotAndItsCompletenessForEachPlan) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        std::string input;
        std::string out;
    } cases[] = {
        {"plus",
         {"parse", "--plan", "plus"},
         "5h\n72 % left\nResets 3:45\u202FPM\nWeekly\n40% left\nResets Sep 12",
         "{\"fiveHour\":\"72%\",\"fiveHourReset\":\"3:45\u202FPM\",\"weekly\":\"40%\","
         "\"weeklyReset\":\"Sep 12\",\"monthly\":\"Not Found\",\"monthlyReset\":\"Not Found\"}\n"
         "complete\n"},
        {"plus without the weekly reset",
         {"parse", "--plan", "plus"},
         "5h\n72% left\nResets 3:45 PM\nWeekly\n40% left\n",
         R"({"fiveHour":"72%","fiveHourReset":"3:45 PM","weekly":"40%","weeklyReset":"Not Found","monthly":"Not Found","monthlyReset":"Not Found"})"
         "\nincomplete\n"},
        {"freeGo",
         {"parse", "--plan", "freeGo"},
         "Usage remaining\nMonthly\n85% left\nResets Oct 3\n",
         R"({"fiveHour":"Not Found","fiveHourReset":"Not Found","weekly":"Not Found","weeklyReset":"Not Found","monthly":"85%","monthlyReset":"Oct 3"})"
         "\ncomplete\n"},
        {"pro title",
         {"parse", "--plan", "pro"},
         "Settings\nWeekly limit 40% left\nLog out\n",
         R"({"fiveHour":"Not Found","fiveHourReset":"Not Found","weekly":"40%","weeklyReset":"Not Found","monthly":"Not Found","monthlyReset":"Not Found"})"
         "\ncomplete\n"},
    };
    for (const auto& c : cases) {
        const ToolRun result = run(c.arguments, c.input);
        EXPECT_EQ(result.status, 0) << c.name;
        EXPECT_EQ(result.out, c.out) << c.name;
        EXPECT_EQ(result.err, "") << c.name;
    }
}

TEST_F(GaugelyTool, ProReadsTheLegacyFileOnlyWhenNoTitleCarriesTheValue) {
    // Every line counts, empty ones included, and the final newline adds none: the value is the
    // third line after the label here and would be out of reach if "\n\n" made an extra line.
    const fs::path legacy = file("legacy.txt", "Usage\n\n\n9% left\n");
    const ToolRun fromLegacy = run({"parse", "--plan", "pro", "--legacy", legacy}, "Settings\n");
    EXPECT_EQ(fromLegacy.status, 0);
    EXPECT_EQ(
        fromLegacy.out,
        R"({"fiveHour":"Not Found","fiveHourReset":"Not Found","weekly":"9%","weeklyReset":"Not Found","monthly":"Not Found","monthlyReset":"Not Found"})"
        "\ncomplete\n");

    const ToolRun fromTitle =
        run({"parse", "--plan", "pro", "--legacy", legacy}, "Weekly limit 100% left\n");
    EXPECT_EQ(fromTitle.status, 0);
    EXPECT_NE(fromTitle.out.find(R"("weekly":"100%")"), std::string::npos);

    const fs::path tooFar = file("far.txt", "Usage\n\n\n\n9% left\n");
    const ToolRun none = run({"parse", "--plan", "pro", "--legacy", tooFar}, "Settings\n");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "gaugely parse: no unambiguous supported usage value\n");
}

TEST_F(GaugelyTool, NothingReadGivesAReasonAndStatusOne) {
    const struct {
        const char* plan;
        std::string input;
        std::string err;
    } cases[] = {
        {"plus", "Weekly\n40% left\n5h\n",
         "gaugely parse: no \"5h\" line followed by a \"Weekly\" line\n"},
        {"plus", "", "gaugely parse: no menu text on standard input\n"},
        {"freeGo", "Monthly\n85% left\n",
         "gaugely parse: no \"Monthly\" line followed by a percentage and a reset date\n"},
        {"pro", "Weekly limit 40% left\nWeekly limit 40% left\n",
         "gaugely parse: no unambiguous supported usage value\n"},
    };
    for (const auto& c : cases) {
        const ToolRun result = run({"parse", "--plan", c.plan}, c.input);
        EXPECT_EQ(result.status, 1) << c.plan << ": " << c.input;
        EXPECT_EQ(result.out, "") << c.plan;
        EXPECT_EQ(result.err, c.err) << c.plan;
    }
}

TEST_F(GaugelyTool, BadArgumentsGiveUsageAndStatusTwo) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"parse"},
        {"parse", "--plan"},
        {"parse", "--plan", "Plus"},
        {"parse", "--plan", "plus", "extra"},
        {"parse", "--plan", "plus", "--legacy", "x.txt"},
        {"parse", "--plan", "pro", "--legacy", "/nonexistent/legacy.txt"},
        {"frobnicate"},
    };
    for (const auto& arguments : cases) {
        std::string shown;
        for (const auto& argument : arguments) {
            shown += argument + " ";
        }
        const ToolRun result = run(arguments, "5h\nWeekly\n");
        EXPECT_EQ(result.status, 2) << shown;
        EXPECT_EQ(result.out, "") << shown;
        EXPECT_NE(result.err, "") << shown;
    }
    EXPECT_NE(run({"parse", "--plan", "gold"}).err.find("Usage: gaugely parse --plan"),
              std::string::npos);
}

TEST_F(GaugelyTool, HelpExplainsOnStandardOutput) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--help"}, {"parse", "--help"}}) {
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 0) << arguments.back();
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("parse"), std::string::npos);
    }
    EXPECT_NE(run({"parse", "--help"}).out.find("--legacy FILE"), std::string::npos);
}

TEST_F(GaugelyTool, TheReadmeShowsWhatTheDemoPrints) {
    const fs::path source = GAUGELY_SOURCE_PATH;
    const std::string command = "$ gaugely parse --plan plus < samples/plus-usage-menu.txt\n";
    const std::string readme = readFile(source / "README.md");
    const size_t shown = readme.find(command);
    ASSERT_NE(shown, std::string::npos);
    const size_t begin = shown + command.size();
    const std::string expected = readme.substr(begin, readme.find("```", begin) - begin);

    const ToolRun result =
        run({"parse", "--plan", "plus"}, readFile(source / "samples/plus-usage-menu.txt"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, expected);
}

}  // namespace
}  // namespace gaugely
