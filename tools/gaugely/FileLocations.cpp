#include "tools/gaugely/FileLocations.h"

#include <system_error>

#include "LowUsageNotificationSupport/MenuBarBrandingPolicy.h"
#include "Meterlane/Posix/XdgFolders.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"

namespace gaugely::tool {
namespace {

std::string domain(StateOwner owner) {
    const std::string app(MenuBarBrandingPolicy::productionBundleIdentifier);
    return owner == StateOwner::app ? app : app + ".usage";
}

std::filesystem::path updaterSuiteBeside(const std::filesystem::path& stateFile) {
    return stateFile.parent_path() /
           (std::string(ProductionUpdaterRuntime::defaultsSuiteName) + ".json");
}

// Two spellings of one file (relative, through a link) compare equal.
std::filesystem::path comparable(const std::filesystem::path& file) {
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, error);
    return error ? file.lexically_normal() : resolved;
}

}  // namespace

FileLocations FileLocations::fromEnvironment() {
    return FileLocations(xdgConfigHome(), xdgDataHome());
}

FileLocations::FileLocations(std::filesystem::path configHome, std::filesystem::path dataHome)
    : configHome_(std::move(configHome)), dataHome_(std::move(dataHome)) {}

StateFiles FileLocations::standard(StateOwner owner) const {
    const std::filesystem::path state = configHome_ / "gaugely" / (domain(owner) + ".json");
    return StateFiles{state, dataHome_ / "gaugely" / (domain(owner) + ".history.json"),
                      updaterSuiteBeside(state)};
}

std::optional<StateOwner> FileLocations::standardOwner(const std::filesystem::path& file) const {
    const std::filesystem::path named = comparable(file);
    for (const StateOwner owner : {StateOwner::app, StateOwner::usage}) {
        if (comparable(standard(owner).state) == named) {
            return owner;
        }
    }
    return std::nullopt;
}

StateFiles FileLocations::forStateFile(const std::filesystem::path& file) const {
    if (const auto owner = standardOwner(file)) {
        StateFiles files = standard(*owner);
        files.state = file;
        return files;
    }
    return StateFiles{file, file.string() + ".history.json", updaterSuiteBeside(file)};
}

StateFiles FileLocations::resolve(StateOwner owner,
                                  const std::optional<std::string>& defaultsFile) const {
    return defaultsFile ? forStateFile(*defaultsFile) : standard(owner);
}

std::filesystem::path FileLocations::userServiceUnit() const {
    return configHome_ / "systemd" / "user" / userServiceName;
}

}  // namespace gaugely::tool
