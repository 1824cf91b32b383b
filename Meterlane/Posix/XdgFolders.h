#pragma once

#include <filesystem>

namespace gaugely {

// The XDG base folders the tool keeps its files in: $XDG_CONFIG_HOME, else ~/.config, for
// settings; $XDG_DATA_HOME, else ~/.local/share, for data. A relative value is ignored, as the
// XDG rules say. Without HOME the fallback is relative to the working folder.
std::filesystem::path xdgConfigHome();
std::filesystem::path xdgDataHome();

}  // namespace gaugely
