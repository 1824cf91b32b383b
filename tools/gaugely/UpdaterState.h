#pragma once

#include <filesystem>
#include <ostream>
#include <string>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely::tool {

// The updater keeps its records in a defaults suite of its own; on Linux that is a file beside
// the reader's: com.vostrel.gaugely.updater.json in the same folder.
std::filesystem::path updaterSuiteFile(const std::filesystem::path& readerFile);

// `gaugely state`'s update section: the update notice and the pending-update receipt as the
// updater would read them from that file. Only reads.
void printUpdaterState(std::ostream& out, const std::filesystem::path& readerFile);
Json updaterStateJson(const std::filesystem::path& readerFile);

}  // namespace gaugely::tool
