#include <gtest/gtest.h>

#include "Meterlane/Presentation/CodexFolderSuggestion.h"
#include "Meterlane/Presentation/StatusLinePresentation.h"

namespace gaugely {
namespace {

TEST(StatusLineTemplate, FillsItsPlaceholdersAndRefusesWhatItCannotFill) {
    const std::map<std::string, std::string> values{
        {"5h", "72%"}, {"weekly", "40%"}, {"5h.reset", "21:15"}, {"age", "4m"}};
    const struct {
        const char* text;
        const char* line;     // when the template is good
        const char* problem;  // when it is refused
    } rows[] = {
        {"5h {5h} \u00B7 W {weekly}", "5h 72% \u00B7 W 40%", nullptr},
        {"{5h.reset} ({age})", "21:15 (4m)", nullptr},
        // A name without a value (a window the plan lacks) is empty.
        {"[{monthly.pace}]", "[]", nullptr},
        {"{{{5h}}}", "{72%}", nullptr},
        {"", "", nullptr},
        {"{5H}", nullptr, "unknown placeholder {5H}"},
        {"{}", nullptr, "unknown placeholder {}"},
        {"{5h", nullptr, "a \"{\" left open (write \"{{\" for the brace itself)"},
        {"5h}", nullptr, "a \"}\" without its \"{\" (write \"}}\" for the brace itself)"},
    };
    for (const auto& row : rows) {
        const auto parsed = StatusLineTemplate::parse(row.text);
        if (row.line) {
            ASSERT_TRUE(std::holds_alternative<StatusLineTemplate>(parsed)) << row.text;
            EXPECT_EQ(std::get<StatusLineTemplate>(parsed).expand(values), row.line) << row.text;
        } else {
            ASSERT_TRUE(std::holds_alternative<std::string>(parsed)) << row.text;
            EXPECT_EQ(std::get<std::string>(parsed), row.problem) << row.text;
        }
    }
    // Every name it lists is one it takes.
    for (const std::string& name : StatusLineTemplate::placeholderNames()) {
        EXPECT_TRUE(
            std::holds_alternative<StatusLineTemplate>(StatusLineTemplate::parse("{" + name + "}")))
            << name;
    }
}

TEST(StatusLineTemplate, AgesPacesAndLevelsInAFewCharacters) {
    const std::pair<double, const char*> ages[] = {
        {-5, "0m"},   {59, "0m"},     {60, "1m"},    {3599, "59m"},
        {3600, "1h"}, {86399, "23h"}, {86400, "1d"}, {10 * 86400 + 5, "10d"}};
    for (const auto& [seconds, text] : ages) {
        EXPECT_EQ(statusLineAgeText(seconds), text) << seconds;
    }
    UsagePaceEstimate pace;
    EXPECT_EQ(statusLinePaceText(pace, "20:05"), "");
    pace.kind = UsagePaceEstimate::Kind::lastsUntilReset;
    EXPECT_EQ(statusLinePaceText(pace, "20:05"), "lasts until reset");
    pace.kind = UsagePaceEstimate::Kind::runsOut;
    EXPECT_EQ(statusLinePaceText(pace, "20:05"), "runs out 20:05");

    // Each window against its own threshold, as the low-usage notifications measure.
    LowUsageAlertSettings thresholds;
    thresholds.weekly.threshold = LowUsageAlertThreshold::ten;
    thresholds.fiveHour.isEnabled = false;
    using W = QuotaWindow;
    const struct {
        std::vector<std::pair<QuotaWindow, int>> remaining;
        UsageLevel level;
    } rows[] = {
        {{{W::fiveHour, 72}, {W::weekly, 40}}, UsageLevel::normal},
        {{{W::fiveHour, 21}, {W::weekly, 11}}, UsageLevel::normal},
        // At the threshold is low; so is a window whose notification is off.
        {{{W::fiveHour, 20}, {W::weekly, 40}}, UsageLevel::low},
        {{{W::fiveHour, 72}, {W::weekly, 10}}, UsageLevel::low},
        {{{W::fiveHour, 15}, {W::weekly, 0}}, UsageLevel::exhausted},
        {{{W::monthly, 0}}, UsageLevel::exhausted},
        {{}, UsageLevel::normal},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(usageLevel(row.remaining, thresholds), row.level)
            << usageLevelName(usageLevel(row.remaining, thresholds));
    }
}

TEST(CodexFolderSuggestion, TheFolderAboveSessionsIsTheOneMeant) {
    const struct {
        const char* folder;
        std::optional<std::string> above;
    } rows[] = {
        {"~/.codex/sessions", "~/.codex"},
        {"~/.codex/sessions/", "~/.codex"},
        {"~/.codex/sessions/2026/11/21", "~/.codex"},
        {"/srv/codex/sessions", "/srv/codex"},
        {"/sessions", "/"},
        {"sessions", "."},
        {"~/.codex", std::nullopt},
        {"~/.codex/sessions/2026/11/21/rollout", std::nullopt},
        {"~/sessions-old", std::nullopt},
        {"~/.codex/sessions/1/2/3/4", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(codexFolderAboveSessions(row.folder), row.above) << row.folder;
    }

    CodexLogsState state;
    EXPECT_FALSE(codexLogsAreMissing(state));  // not looked yet
    state.looked = true;
    EXPECT_TRUE(codexLogsAreMissing(state));
    state.follower.folderProblem = FileProblem::permissionDenied;
    EXPECT_FALSE(codexLogsAreMissing(state));
    state.follower.folderProblem = FileProblem::notFound;
    EXPECT_TRUE(codexLogsAreMissing(state));
    state.follower.folderProblem = FileProblem::none;
    state.follower.sessionFiles = 1;
    EXPECT_FALSE(codexLogsAreMissing(state));
}

}  // namespace
}  // namespace gaugely
