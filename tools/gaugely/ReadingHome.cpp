#include "tools/gaugely/ReadingHome.h"

#include <filesystem>
#include <system_error>

#include "LowUsageNotificationSupport/UsageHistory.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely::tool {

std::string codexHomeIdentity(const std::string& expandedFolder) {
    std::error_code error;
    std::filesystem::path path = std::filesystem::weakly_canonical(expandedFolder, error);
    if (error) {
        path = std::filesystem::absolute(expandedFolder, error).lexically_normal();
    }
    std::string identity = path.string();
    while (identity.size() > 1 && identity.back() == '/') {
        identity.pop_back();
    }
    return identity;
}

bool forgetReadingsOfAnotherHome(Preferences& state, DocumentStore& history,
                                 const std::string& home) {
    const auto saved = state.stringValue(readingCodexHomeKey);
    const bool hasReading = state.hasObject(defaultsKey::planSpecificUsageSnapshots) ||
                            state.hasObject(defaultsKey::lastCompleteUsageSnapshot);
    if (saved ? *saved == home : !hasReading) {
        return false;
    }
    for (const std::string_view key :
         {defaultsKey::planSpecificUsageSnapshots, defaultsKey::lastCompleteUsageSnapshot,
          defaultsKey::usageSnapshotSources, defaultsKey::lowUsageNotificationState,
          defaultsKey::quotaResetNotificationState}) {
        state.remove(key);
    }
    state.remove(readingCodexHomeKey);
    // Only when there is one, so a first run makes no file.
    if (history.read().bytes) {
        (void)history.replace(encodeJson(UsageHistory{}));
    }
    return true;
}

void rememberReadingHome(Preferences& state, const std::string& home) {
    if (state.stringValue(readingCodexHomeKey) != home) {
        state.setString(readingCodexHomeKey, home);
    }
}

}  // namespace gaugely::tool
