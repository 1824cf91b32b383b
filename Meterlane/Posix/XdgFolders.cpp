#include "Meterlane/Posix/XdgFolders.h"

#include <cstdlib>

namespace gaugely {
namespace {

std::filesystem::path baseFolder(const char* variable, const std::filesystem::path& underHome) {
    if (const char* value = std::getenv(variable); value && value[0] == '/') {
        return value;
    }
    if (const char* home = std::getenv("HOME"); home && home[0] != '\0') {
        return std::filesystem::path(home) / underHome;
    }
    return underHome;
}

}  // namespace

std::filesystem::path xdgConfigHome() {
    return baseFolder("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path xdgDataHome() {
    return baseFolder("XDG_DATA_HOME", std::filesystem::path(".local") / "share");
}

}  // namespace gaugely
