#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

using Parse = ToolTest;

// Complete readings of each plan, as text and as JSON, are the README's examples.
TEST_F(Parse, AnIncompleteSnapshotSaysSo) {
    const std::string input = "5h\n72% left\nResets 3:45 PM\nWeekly\n40% left\n";
    const std::string snapshot =
        R"({"fiveHour":"72%","fiveHourReset":"3:45 PM","weekly":"40%","weeklyReset":"Not Found","monthly":"Not Found","monthlyReset":"Not Found"})";
    const ToolResult text = run({"parse", "--plan", "plus"}, input);
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, snapshot + "\nincomplete\n");
    const ToolResult json = run({"parse", "--plan=plus", "--json"}, input);
    EXPECT_EQ(json.out, R"({"plan":"plus","complete":false,"snapshot":)" + snapshot + "}\n");
    EXPECT_EQ(text.err + json.err, "");
}

// A title carrying the value wins over the file: ProProfileUsageMenuParser's own table.
TEST_F(Parse, ProReadsTheLegacyFileAndSaysWhenItCannot) {
    // Every line counts, empty ones included, and the final newline adds none: the value is the
    // third line after the label here and would be out of reach if "\n\n" made an extra line.
    const fs::path legacy = path("legacy.txt");
    writeFile(legacy, "Usage\n\n\n9% left\n");
    const ToolResult fromLegacy =
        run({"parse", "--plan", "pro", "--legacy", legacy.string()}, "Settings\n");
    EXPECT_EQ(fromLegacy.status, 0);
    EXPECT_EQ(
        fromLegacy.out,
        R"({"fiveHour":"Not Found","fiveHourReset":"Not Found","weekly":"9%","weeklyReset":"Not Found","monthly":"Not Found","monthlyReset":"Not Found"})"
        "\ncomplete\n");

    const ToolResult missing =
        run({"parse", "--plan", "pro", "--legacy", path("missing.txt").string()}, "Settings\n");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "gaugely parse: cannot read " + path("missing.txt").string() +
                               ": No such file or directory\n");
}

TEST_F(Parse, NothingReadGivesAReasonAndStatusOne) {
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
        const ToolResult result = run({"parse", "--plan", c.plan}, c.input);
        EXPECT_EQ(result.status, 1) << c.plan << ": " << c.input;
        EXPECT_EQ(result.out, "") << c.plan;
        EXPECT_EQ(result.err, c.err) << c.plan;
    }
}

}  // namespace
}  // namespace gaugely::tooltest
