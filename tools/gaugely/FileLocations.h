#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace gaugely::tool {

// Whose state a file holds: the simulator keeps the app's own defaults; `gaugely usage` keeps a
// domain of its own, so the user's real readings never mix with the simulator's.
enum class StateOwner { app, usage };

// The files that go together: the defaults (plan, settings, readings, notification states), the
// usage history the pace is read from, and the updater's own defaults suite.
struct StateFiles {
    std::filesystem::path state;
    std::filesystem::path history;
    std::filesystem::path updaterSuite;

    bool operator==(const StateFiles&) const = default;
};

// Where the tool keeps each file, by one rule that `usage`, `simulate` and `state` all follow:
//
//   settings-like files in $XDG_CONFIG_HOME/gaugely/ (else ~/.config/gaugely/),
//   the usage history in $XDG_DATA_HOME/gaugely/ (else ~/.local/share/gaugely/),
//   and with `--defaults FILE`: FILE, FILE.history.json and the updater's suite beside FILE,
//   unless FILE is one of the standard files, which keeps its standard companions.
//
// The folders are read once, when the object is made; the commands are handed it.
class FileLocations {
  public:
    static constexpr std::string_view userServiceName = "gaugely-usage.service";

    // From $XDG_CONFIG_HOME and $XDG_DATA_HOME, or their defaults under $HOME.
    static FileLocations fromEnvironment();
    FileLocations(std::filesystem::path configHome, std::filesystem::path dataHome);

    // The owner's files in the standard folders.
    StateFiles standard(StateOwner owner) const;
    // The files that go with a state file the user named.
    StateFiles forStateFile(const std::filesystem::path& file) const;
    // `--defaults FILE` when it was given, else the owner's standard files.
    StateFiles resolve(StateOwner owner, const std::optional<std::string>& defaultsFile) const;
    // Whose standard state file `file` is, if it is one (compared after resolving links).
    std::optional<StateOwner> standardOwner(const std::filesystem::path& file) const;

    // The systemd user unit `gaugely usage --install-service` writes: in
    // $XDG_CONFIG_HOME/systemd/user/, where systemd looks first for a user's own units.
    std::filesystem::path userServiceUnit() const;

  private:
    std::filesystem::path configHome_;
    std::filesystem::path dataHome_;
};

}  // namespace gaugely::tool
