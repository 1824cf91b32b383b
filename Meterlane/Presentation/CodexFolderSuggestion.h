// What to tell a user whose Codex folder held no logs. The folder wanted is the one Codex calls
// its home (`~/.codex`, or `$CODEX_HOME`), which holds `sessions/`; naming `sessions/` itself, or
// a day's folder below it, is the likeliest slip, and the name alone shows it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Reader/CodexLogSource.h"

namespace gaugely {

// Whether the state says no session logs were found there at all (rather than that they could
// not be read, or said nothing usable).
bool codexLogsAreMissing(const CodexLogsState& state);

// The Codex folder above a `sessions` folder named by mistake ("~/.codex/sessions" or
// "~/.codex/sessions/2026/11" → "~/.codex"); none for any other folder.
std::optional<std::string> codexFolderAboveSessions(std::string_view folder);

}  // namespace gaugely
