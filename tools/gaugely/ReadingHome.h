#pragma once

#include <string>
#include <string_view>

#include "Meterlane/Platform/DocumentStore.h"
#include "Meterlane/Platform/Preferences.h"

namespace gaugely::tool {

// `gaugely usage` reads one Codex folder a run, while its state outlives the run. So the folder
// its saved reading came from is kept beside it, and before the reader starts, a reading saved
// from another folder (or by a version that kept none) is forgotten, with the notification states
// measured against it and the usage history: nothing of one Codex home is ever shown, compared or
// paced as another's. The settings (plan, thresholds) stay.
inline constexpr std::string_view readingCodexHomeKey = "usage-reading-codex-home-v1";

// The folder as compared: absolute and normal, with symbolic links followed as far as it exists.
std::string codexHomeIdentity(const std::string& expandedFolder);

// Forgets what the state holds of another home than `home` (an identity); true when it did.
bool forgetReadingsOfAnotherHome(Preferences& state, DocumentStore& history,
                                 const std::string& home);

// The shown reading came from `home`.
void rememberReadingHome(Preferences& state, const std::string& home);

}  // namespace gaugely::tool
