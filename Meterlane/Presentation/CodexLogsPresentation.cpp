#include "Meterlane/Presentation/CodexLogsPresentation.h"

namespace gaugely {

namespace {

std::string trimmedTrailingSlashes(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return std::string(path);
}

// A folder that could not be used; one line per kind, so "nothing there" and "not allowed"
// read differently.
std::string folderProblemText(FileProblem problem, const std::string& folder) {
    switch (problem) {
        case FileProblem::none:
        case FileProblem::notFound:
            return "No Codex logs in " + folder;
        case FileProblem::permissionDenied:
            return "No permission to read " + folder;
        case FileProblem::symbolicLinkLoop:
        case FileProblem::notADirectory:
        case FileProblem::other:
            break;
    }
    return folder + " cannot be read";
}

std::string notRecognisedText(const std::string& folder) {
    return "Codex's logs in " + folder + " are in a format not recognised";
}

// The plan the logs show, and how to choose it.
std::string logsPlanText(const std::optional<std::string>& planType, PlanChoiceHint hint) {
    const std::optional<CodexPlan> plan =
        planType ? codexPlanForLogPlanType(*planType) : std::nullopt;
    if (plan) {
        const std::string shown = "Codex's logs show the " + std::string(title(*plan)) + " plan";
        return hint == PlanChoiceHint::commandLine
                   ? shown + "; choose it with --plan " + std::string(rawValue(*plan))
                   : shown + "; choose it as your Codex Plan above";
    }
    const std::string shown =
        "Codex's logs show the " + logPlanTypeTitle(planType.value_or("unknown")) + " plan";
    return hint == PlanChoiceHint::commandLine
               ? shown + "; say whose windows to show with --plan freeGo, --plan plus or --plan pro"
               : shown + "; choose the Codex Plan whose windows to show above";
}

}  // namespace

std::string abbreviatedCodexFolder(std::string_view folder, std::string_view homeFolder) {
    const std::string home = trimmedTrailingSlashes(homeFolder);
    // A home of "/" would turn every absolute path into one under "~".
    if (home.size() <= 1 || !folder.starts_with(home)) {
        return std::string(folder);
    }
    const std::string_view rest = folder.substr(home.size());
    if (rest.empty() || rest == "/") {
        return "~";
    }
    if (rest.front() != '/') {
        // "/Users/ann2" is not under "/Users/ann".
        return std::string(folder);
    }
    return "~" + trimmedTrailingSlashes(rest);
}

std::string codexSessionsFolder(std::string_view shownCodexFolder) {
    std::string folder = trimmedTrailingSlashes(shownCodexFolder);
    if (folder != "/") {
        folder += '/';
    }
    return folder + "sessions";
}

std::string codexLogsStatusText(const CodexLogsState& state, std::string_view shownSessionsFolder,
                                CodexPlan plan, const TimeOfDayText& timeOfDay,
                                PlanChoiceHint hint) {
    const std::string folder(shownSessionsFolder);
    const CodexLogFollowerStatus& follower = state.follower;
    if (!state.looked) {
        return "Looking in " + folder + "\u2026";
    }
    if (follower.folderProblem != FileProblem::none) {
        return folderProblemText(follower.folderProblem, folder);
    }
    if (follower.sessionFiles == 0) {
        // With nothing found, a folder below that could not be read is the likelier reason.
        return folderProblemText(
            follower.unreadablePaths > 0 ? follower.lastPathProblem : FileProblem::notFound,
            folder);
    }
    if (state.unrecognisedLines > 0 && follower.acceptedLines == 0) {
        return notRecognisedText(folder);
    }
    if (!state.newestLineAt) {
        return "No usage lines in Codex's logs yet";
    }
    if (state.refusal) {
        switch (*state.refusal) {
            case CodexLogRefusal::missingWindow:
                return "Codex's logs do not show the " + std::string(title(plan)) +
                       " plan's windows";
            case CodexLogRefusal::futureTimestamp:
                return "The newest usage in Codex's logs is dated in the future";
            case CodexLogRefusal::unreadablePercent:
                return notRecognisedText(folder);
            case CodexLogRefusal::noLimits:
                return "Codex's logs carry no usage limits";
            case CodexLogRefusal::tooOldVersion:
                return "Codex's logs in " + folder +
                       " are from a Codex version too old to read; update Codex";
            case CodexLogRefusal::planMismatch:
            case CodexLogRefusal::unknownPlan:
                return logsPlanText(state.logsPlanType, hint);
        }
    }
    return "Reading " + folder + " \u00B7 newest usage line at " + timeOfDay(*state.newestLineAt);
}

}  // namespace gaugely
