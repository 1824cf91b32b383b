#include "tools/gaugely/UserService.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "Meterlane/Posix/WholeFile.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/GaugelyUsageService.h"

namespace gaugely::tool {
namespace {

std::string replaced(std::string text, std::string_view placeholder, std::string_view value) {
    for (std::size_t at = text.find(placeholder); at != std::string::npos;
         at = text.find(placeholder, at + value.size())) {
        text.replace(at, placeholder.size(), value);
    }
    return text;
}

// This very executable, so the service runs the gaugely that installed it.
std::optional<std::filesystem::path> runningExecutable() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::nullopt : std::optional(path);
}

std::string startCommand() {
    return "systemctl --user daemon-reload && systemctl --user enable --now " +
           std::string(FileLocations::userServiceName);
}

}  // namespace

std::optional<std::string> userServiceUnavailableReason() {
#if defined(__linux__)
    return std::nullopt;
#else
    return "--install-service and --uninstall-service are not available on this system: they "
           "write a systemd user service, which only Linux has";
#endif
}

std::string systemdWord(std::string_view word) {
    std::string escaped;
    bool needsQuotes = word.empty();
    for (const char c : word) {
        if (c == '%') {
            escaped += "%%";
        } else if (c == '$') {
            escaped += "$$";
        } else if (c == '\\' || c == '"') {
            escaped += '\\';
            escaped += c;
            needsQuotes = true;
        } else {
            needsQuotes = needsQuotes || c == ' ' || c == '\t' || c == '\'' || c == ';';
            escaped += c;
        }
    }
    return needsQuotes ? "\"" + escaped + "\"" : escaped;
}

std::string userServiceUnit(std::string_view execStart,
                            const std::vector<std::string>& environment) {
    std::string lines;
    for (const std::string& assignment : environment) {
        lines += "Environment=" + systemdWord(assignment) + "\n";
    }
    return replaced(
        replaced(std::string(userServiceUnitTemplate), "@GAUGELY_SERVICE_ENVIRONMENT@", lines),
        "@GAUGELY_EXEC_START@", execStart);
}

int installUserService(const std::vector<std::string>& arguments, CommandStreams streams) {
    const auto executable = runningExecutable();
    if (!executable) {
        streams.err << "gaugely usage: cannot tell where this gaugely is (/proc/self/exe), so "
                       "the service cannot name it\n";
        return exitNoResult;
    }
    std::string execStart = systemdWord(executable->string()) + " usage --watch --notify";
    for (const std::string& argument : arguments) {
        execStart += " " + systemdWord(argument);
    }
    // A service does not start from the user's shell: it gets the folders this shell uses, so
    // it keeps its state and history where `gaugely usage` run here keeps them.
    std::vector<std::string> environment;
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "CODEX_HOME"}) {
        if (const char* value = std::getenv(name); value && *value) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    const std::filesystem::path unit = streams.files.userServiceUnit();
    const std::string suffix = std::to_string(::getpid());
    if (const auto failure =
            replaceWholeFile(unit, userServiceUnit(execStart, environment), suffix)) {
        streams.err << "gaugely usage: cannot write " << unit.string() << " (" << failure->step
                    << "): " << std::generic_category().message(failure->error) << "\n";
        return exitNoResult;
    }
    streams.out << "Wrote " << unit.string() << ": it runs " << execStart << ".\n"
                << "Start it now and at every login with:\n"
                << "  " << startCommand() << "\n"
                << "Its readings and notices: journalctl --user -u "
                << FileLocations::userServiceName << " -f\n";
    return exitSuccess;
}

int uninstallUserService(CommandStreams streams) {
    const std::filesystem::path unit = streams.files.userServiceUnit();
    std::error_code error;
    if (!std::filesystem::exists(unit, error)) {
        streams.out << "No user service at " << unit.string() << ": nothing to remove.\n";
        return exitSuccess;
    }
    // The link `systemctl --user enable` made; left behind it would point at nothing.
    const std::filesystem::path enabled =
        unit.parent_path() / "default.target.wants" / FileLocations::userServiceName;
    if (std::filesystem::is_symlink(enabled, error)) {
        std::filesystem::remove(enabled, error);
    }
    if (!std::filesystem::remove(unit, error) || error) {
        streams.err << "gaugely usage: cannot remove " << unit.string() << ": " << error.message()
                    << "\n";
        return exitNoResult;
    }
    streams.out << "Removed " << unit.string() << ".\n"
                << "If it is running, stop it with:\n"
                << "  systemctl --user stop " << FileLocations::userServiceName
                << " && systemctl --user daemon-reload\n";
    return exitSuccess;
}

}  // namespace gaugely::tool
