#pragma once

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

}  // namespace gaugely::tool
