#include <gtest/gtest.h>

#include "Meterlane/Presentation/CodexFolderSuggestion.h"
#include "Meterlane/Presentation/CodexLogsPresentation.h"
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
}

TEST(CodexLogsPresentation, FoldersUnderTheHomeFolderReadWithATilde) {
    const struct {
        const char* folder;
        const char* home;
        const char* shown;
    } rows[] = {
        {"/Users/ann/.codex", "/Users/ann", "~/.codex"},
        {"/Users/ann/.codex/", "/Users/ann/", "~/.codex"},
        {"/Users/ann", "/Users/ann", "~"},
        {"/Users/ann/", "/Users/ann", "~"},
        // A sibling whose name begins with the home folder's is not inside it.
        {"/Users/ann2/.codex", "/Users/ann", "/Users/ann2/.codex"},
        {"/Volumes/Work/codex", "/Users/ann", "/Volumes/Work/codex"},
        {"~/.codex", "/Users/ann", "~/.codex"},
        // Without a home folder, or with "/" as one, nothing can be shortened.
        {"/Users/ann/.codex", "", "/Users/ann/.codex"},
        {"/etc/codex", "/", "/etc/codex"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(abbreviatedCodexFolder(row.folder, row.home), row.shown) << row.folder;
    }
    EXPECT_EQ(codexSessionsFolder("~/.codex"), "~/.codex/sessions");
    EXPECT_EQ(codexSessionsFolder("~/.codex/"), "~/.codex/sessions");
    EXPECT_EQ(codexSessionsFolder("/"), "/sessions");
}

CodexLogsState looked(FileProblem folderProblem, std::size_t files) {
    CodexLogsState state;
    state.looked = true;
    state.follower.sessionsFolder = "/Users/ann/.codex/sessions";
    state.follower.folderProblem = folderProblem;
    state.follower.sessionFiles = files;
    return state;
}

CodexLogsState unreadableBelow(FileProblem problem) {
    CodexLogsState state = looked(FileProblem::none, 0);
    state.follower.unreadablePaths = 2;
    state.follower.lastPathProblem = problem;
    return state;
}

CodexLogsState unrecognised(uint64_t accepted) {
    CodexLogsState state = looked(FileProblem::none, 3);
    state.unrecognisedLines = 4;
    state.follower.acceptedLines = accepted;
    if (accepted > 0) {
        state.newestLineAt = Date{7440};
    }
    return state;
}

CodexLogsState withLine(std::optional<CodexLogRefusal> refusal,
                        std::optional<std::string> logsPlan = std::nullopt) {
    CodexLogsState state = looked(FileProblem::none, 3);
    state.follower.acceptedLines = 1;
    state.newestLineAt = Date{7440};
    state.refusal = refusal;
    state.logsPlanType = std::move(logsPlan);
    return state;
}

// Each state a user can meet says where the logs were looked for, or what is wrong with them,
// in its own words (and so none points at the menu reader's recovery hints).
TEST(CodexLogsPresentation, TheStatusLineSaysWhereItLookedAndWhyNothingCame) {
    using F = FileProblem;
    using R = CodexLogRefusal;
    const struct {
        CodexLogsState state;
        CodexPlan plan;
        const char* text;
        PlanChoiceHint hint = PlanChoiceHint::settings;
    } rows[] = {
        {CodexLogsState{}, CodexPlan::plus, "Looking in ~/.codex/sessions\u2026"},
        {looked(F::notFound, 0), CodexPlan::plus, "No Codex logs in ~/.codex/sessions"},
        {looked(F::none, 0), CodexPlan::plus, "No Codex logs in ~/.codex/sessions"},
        {looked(F::permissionDenied, 0), CodexPlan::plus,
         "No permission to read ~/.codex/sessions"},
        {looked(F::notADirectory, 0), CodexPlan::plus, "~/.codex/sessions cannot be read"},
        // No session file found because the day folders below were closed to us.
        {unreadableBelow(F::permissionDenied), CodexPlan::plus,
         "No permission to read ~/.codex/sessions"},
        {unreadableBelow(F::other), CodexPlan::plus, "~/.codex/sessions cannot be read"},
        {looked(F::none, 3), CodexPlan::plus, "No usage lines in Codex's logs yet"},
        {unrecognised(0), CodexPlan::plus,
         "Codex's logs in ~/.codex/sessions are in a format not recognised"},
        // Some lines of an unknown shape beside readable ones are not the user's concern.
        {unrecognised(1), CodexPlan::plus,
         "Reading ~/.codex/sessions \u00B7 newest usage line at t7440"},
        {withLine(R::missingWindow), CodexPlan::freeGo,
         "Codex's logs do not show the Free / Go plan's windows"},
        {withLine(R::noLimits), CodexPlan::pro, "Codex's logs carry no usage limits"},
        {withLine(R::tooOldVersion), CodexPlan::plus,
         "Codex's logs in ~/.codex/sessions are from a Codex version too old to read; update "
         "Codex"},
        {withLine(R::planMismatch, "plus"), CodexPlan::pro,
         "Codex's logs show the Plus plan; choose it with --plan plus",
         PlanChoiceHint::commandLine},
        {withLine(R::planMismatch, "go"), CodexPlan::plus,
         "Codex's logs show the Free / Go plan; choose it as your Codex Plan above"},
        {withLine(R::unknownPlan, "self_serve_business_usage_based"), CodexPlan::plus,
         "Codex's logs show the Self serve business usage based plan; say whose windows to show "
         "with --plan freeGo, --plan plus or --plan pro",
         PlanChoiceHint::commandLine},
        {withLine(R::unknownPlan, "prolite"), CodexPlan::plus,
         "Codex's logs show the Pro Lite plan; choose the Codex Plan whose windows to show above"},
        {withLine(R::futureTimestamp), CodexPlan::plus,
         "The newest usage in Codex's logs is dated in the future"},
        {withLine(R::unreadablePercent), CodexPlan::plus,
         "Codex's logs in ~/.codex/sessions are in a format not recognised"},
        {withLine(std::nullopt), CodexPlan::plus,
         "Reading ~/.codex/sessions \u00B7 newest usage line at t7440"},
    };
    const TimeOfDayText timeOfDay = [](Date date) {
        return "t" + std::to_string(static_cast<long long>(date.timeIntervalSinceReferenceDate));
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            codexLogsStatusText(row.state, "~/.codex/sessions", row.plan, timeOfDay, row.hint),
            row.text);
    }
    // Missing: looked and found no session file at all, rather than found them unreadable.
    EXPECT_FALSE(codexLogsAreMissing(CodexLogsState{}));
    EXPECT_TRUE(codexLogsAreMissing(looked(F::none, 0)));
    EXPECT_TRUE(codexLogsAreMissing(looked(F::notFound, 0)));
    EXPECT_FALSE(codexLogsAreMissing(looked(F::permissionDenied, 0)));
    EXPECT_FALSE(codexLogsAreMissing(looked(F::none, 1)));
}

}  // namespace
}  // namespace gaugely
