#include "Meterlane/Presentation/CodexFolderSuggestion.h"

#include <vector>

namespace gaugely {

bool codexLogsAreMissing(const CodexLogsState& state) {
    const CodexLogFollowerStatus& follower = state.follower;
    if (!state.looked) {
        return false;
    }
    if (follower.folderProblem != FileProblem::none) {
        return follower.folderProblem == FileProblem::notFound;
    }
    return follower.sessionFiles == 0 && follower.unreadablePaths == 0;
}

std::optional<std::string> codexFolderAboveSessions(std::string_view folder) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= folder.size()) {
        const std::size_t end = std::min(folder.find('/', start), folder.size());
        parts.push_back(folder.substr(start, end - start));
        start = end + 1;
    }
    while (!parts.empty() && parts.back().empty() && parts.size() > 1) {
        parts.pop_back();  // trailing slashes
    }
    // Below `sessions` only Codex's day folders: YYYY, MM, DD.
    std::size_t at = parts.size();
    while (at > 0 && parts[at - 1] != "sessions") {
        const std::string_view part = parts[at - 1];
        if (part.empty() || part.size() > 4 ||
            part.find_first_not_of("0123456789") != std::string_view::npos) {
            return std::nullopt;
        }
        --at;
    }
    if (at == 0 || parts.size() - at > 3) {
        return std::nullopt;
    }
    std::string above;
    for (std::size_t i = 0; i + 1 < at; ++i) {
        above += (i == 0 ? "" : "/") + std::string(parts[i]);
    }
    if (above.empty()) {
        // "sessions" alone is under the working folder; "/sessions" under the root.
        return std::string(folder.starts_with('/') ? "/" : ".");
    }
    return above;
}

}  // namespace gaugely
