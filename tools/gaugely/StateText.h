#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/Date.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "Meterlane/Reader/StoredReaderState.h"

namespace gaugely::tool {

// "2026-11-21 10:00:03 CET": a date and time in the local time zone.
std::string localDateTimeText(Date date);

// "5h 72% (reset 3:45 PM) · Weekly 40% (reset Sep 12)": the windows the plan shows.
std::string snapshotText(const UsageSnapshot& snapshot, CodexPlan plan);

// One line on what a launch finds in the store, for `gaugely simulate`: "Nothing saved in FILE
// yet: starting fresh." or "Restored from FILE: plan Plus; ...".
std::string restoredStateLine(const StoredReaderState& state, std::string_view file, Date now);

// Where the usage history of a defaults file is kept: beside a file the user named, as
// FILE.history.json; for a file in the standard folder, as <name>.history.json in
// $XDG_DATA_HOME/gaugely/ (or ~/.local/share/gaugely/), the place for data rather than settings.
std::filesystem::path usageHistoryFile(const std::filesystem::path& defaultsFile,
                                       bool isStandardFile);

}  // namespace gaugely::tool
