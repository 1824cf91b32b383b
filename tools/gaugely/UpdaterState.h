#pragma once

#include <filesystem>
#include <ostream>
#include <string>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely::tool {

// `gaugely state`'s update section: the update notice and the pending-update receipt as the
// updater would read them from its defaults suite (see FileLocations.h for where that is). Only
// reads.
void printUpdaterState(std::ostream& out, const std::filesystem::path& suiteFile);
Json updaterStateJson(const std::filesystem::path& suiteFile);

}  // namespace gaugely::tool
