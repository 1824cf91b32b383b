#include <gtest/gtest.h>

#include "Meterlane/Presentation/CodexLogsPresentation.h"

namespace gaugely {
namespace {

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
}

}  // namespace
}  // namespace gaugely
