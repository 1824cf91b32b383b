#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/gaugely/Command.h"

namespace gaugely::tool {

// The systemd user service that keeps `gaugely usage --watch --notify` running:
// `gaugely usage --install-service` writes its unit where the file-location rule says (under
// $XDG_CONFIG_HOME/systemd/user/), `--uninstall-service` removes it; each says which
// `systemctl --user` command to run next. Linux only.

// Whether this system has systemd user services at all; when it has not, the text that says so.
[[nodiscard]] std::optional<std::string> userServiceUnavailableReason();

// A word of a unit file's command line, quoted as systemd reads it where it needs quoting
// (spaces, quotes, backslashes) and with systemd's own specifiers ("%", "$") escaped.
std::string systemdWord(std::string_view word);

// The unit for `execStart` (already quoted) with `environment` ("NAME=value" each) set for it.
std::string userServiceUnit(std::string_view execStart,
                            const std::vector<std::string>& environment);

// `arguments` go after `usage --watch --notify` on the service's command line.
int installUserService(const std::vector<std::string>& arguments, CommandStreams streams);
int uninstallUserService(CommandStreams streams);

}  // namespace gaugely::tool
