// `gaugely usage`: the user's real usage on Linux, from the usage lines of Codex's own session
// logs, through the same reader, notifications and popover as the app. It never reads a menu,
// and keeps its state in its own files so it never mixes with the simulator's.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Posix/FilePreferences.h"
#include "Meterlane/Posix/PosixFileSystem.h"
#include "Meterlane/Posix/PosixRunLoop.h"
#include "Meterlane/Posix/StopSignals.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/MemoryLog.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "ProductFacts.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/HostTimeFormatter.h"
#include "tools/gaugely/StateText.h"
#include "tools/gaugely/Terminal.h"
#include "tools/gaugely/UsageNotifications.h"
#include "tools/gaugely/UsageView.h"
#include "tools/gaugely/UserService.h"

namespace gaugely::tool {
namespace {

constexpr const char* usageHelp =
    "Usage: gaugely usage [--plan freeGo|plus|pro] [--codex-home DIR] [--watch] [--json]\n"
    "                     [--notify] [--defaults FILE] [--install-service | --uninstall-service]\n"
    "\n"
    "Shows your real Codex usage, read from Codex's own session logs: the menu bar text, the\n"
    "popover and the pace at which each window is being used, as the app would show them.\n"
    "Only the usage lines of the session files are read; your conversations are never read,\n"
    "kept or shown, and Codex's menu is never touched.\n"
    "\n"
    "  --plan PLAN        your Codex plan: freeGo, plus or pro (default: the plan an earlier\n"
    "                     run saved, else plus); saved for the next run\n"
    "  --codex-home DIR   Codex's folder (default: $CODEX_HOME, else ~/.codex)\n"
    "  --watch            stay live: show each new reading, with low-usage and reset\n"
    "                     notifications, until Ctrl-C\n"
    "  --json             one JSON object a reading, on one line, for scripts and status bars\n"
    "  --notify           show the low-usage and reset notifications on the desktop (the\n"
    "                     notification service on the session D-Bus), as the Mac app does;\n"
    "                     without one they are printed, and one line says why. Linux only\n"
    "  --defaults FILE    where this command keeps its state (default: $XDG_CONFIG_HOME/gaugely/\n"
    "                     com.vostrel.gaugely.usage.json); its usage history is kept beside\n"
    "                     FILE as FILE.history.json (default: $XDG_DATA_HOME/gaugely/\n"
    "                     com.vostrel.gaugely.usage.history.json)\n"
    "  --install-service  write the systemd user service gaugely-usage.service, which runs\n"
    "                     gaugely usage --watch --notify (with the --plan, --codex-home and\n"
    "                     --defaults given here), into $XDG_CONFIG_HOME/systemd/user/ (or\n"
    "                     ~/.config/systemd/user/), and say how to start it. Linux only\n"
    "  --uninstall-service  remove that service file again\n"
    "  -h, --help         show this help\n"
    "\n"
    "Exit status: 0 shown; 1 no usage found in the logs (it says where it looked and why);\n"
    "2 bad arguments; 128 + the signal's number when --watch is stopped.\n";

struct UsageOptions {
    std::optional<CodexPlan> plan;
    std::optional<std::string> codexHome;
    std::optional<std::string> defaultsFile;
    bool watch = false;
    bool json = false;
    bool notify = false;
    bool installService = false;
    bool uninstallService = false;
    bool help = false;
};

constexpr OptionShape usageOptionShapes[] = {{"--plan", true},
                                             {"--codex-home", true},
                                             {"--defaults", true},
                                             {"--watch", false},
                                             {"--json", false},
                                             {"--notify", false},
                                             {"--install-service", false},
                                             {"--uninstall-service", false}};

std::variant<UsageOptions, std::string> parseOptions(const std::vector<std::string>& arguments) {
    auto read = readArguments(arguments, usageOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return *problem;
    }
    UsageOptions options;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        if (argument.isPositional()) {
            return "unexpected argument \"" + *argument.value + "\"";
        }
        const std::string& name = argument.name;
        if (name == "--help") {
            options.help = true;
        } else if (name == "--watch") {
            options.watch = true;
        } else if (name == "--json") {
            options.json = true;
        } else if (name == "--notify") {
            options.notify = true;
        } else if (name == "--install-service") {
            options.installService = true;
        } else if (name == "--uninstall-service") {
            options.uninstallService = true;
        } else if (argument.value->empty()) {
            return name + " needs a value";
        } else if (name == "--plan") {
            options.plan = fromRawValue<CodexPlan>(*argument.value);
            if (!options.plan) {
                return "unknown plan \"" + *argument.value + "\" (freeGo, plus or pro)";
            }
        } else if (name == "--codex-home") {
            options.codexHome = argument.value;
        } else {
            options.defaultsFile = argument.value;
        }
    }
    return options;
}

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// Codex's folder as the user named it; "~" is left for the reader to expand.
std::string codexFolder(const UsageOptions& options) {
    if (options.codexHome) {
        return *options.codexHome;
    }
    const std::string fromEnvironment = environmentValue("CODEX_HOME");
    return fromEnvironment.empty() ? std::string(defaultCodexFolder) : fromEnvironment;
}

// Whether the reader now shows a reading of the chosen plan taken from the logs.
bool showsLogReading(const UsageReader& reader) {
    return reader.activeSnapshotPlan() == reader.codexPlan() &&
           reader.snapshotSource() == UsageSource::codexLogs;
}

// --install-service and --uninstall-service write or remove the unit and end there; what they
// carry into the service's command line is what the service could not find out by itself.
int runServiceOption(const UsageOptions& options, CommandStreams streams) {
    if (options.installService && options.uninstallService) {
        return usageError(streams, "usage",
                          "--install-service and --uninstall-service do not go together");
    }
    if (options.watch || options.json || options.notify) {
        return usageError(streams, "usage",
                          "the service always runs --watch --notify; give --install-service only "
                          "--plan, --codex-home and --defaults");
    }
    if (const auto reason = userServiceUnavailableReason()) {
        return usageError(streams, "usage", *reason);
    }
    if (options.uninstallService) {
        return uninstallUserService(streams);
    }
    std::vector<std::string> arguments;
    const auto absolute = [](const std::string& path) {
        // "~" is for the reader to expand, as it does for the command line.
        return path.starts_with("~") ? path
                                     : std::filesystem::absolute(path).lexically_normal().string();
    };
    if (options.plan) {
        arguments.insert(arguments.end(), {"--plan", std::string(rawValue(*options.plan))});
    }
    if (options.codexHome) {
        arguments.insert(arguments.end(), {"--codex-home", absolute(*options.codexHome)});
    }
    if (options.defaultsFile) {
        arguments.insert(arguments.end(), {"--defaults", absolute(*options.defaultsFile)});
    }
    return installUserService(arguments, streams);
}

}  // namespace

int runUsageCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto parsed = parseOptions(arguments);
    if (auto* problem = std::get_if<std::string>(&parsed)) {
        return usageError(streams, "usage", *problem);
    }
    const UsageOptions& options = std::get<UsageOptions>(parsed);
    if (options.help) {
        streams.out << usageHelp;
        return exitSuccess;
    }
    if (options.installService || options.uninstallService) {
        return runServiceOption(options, streams);
    }
    if (options.notify) {
        if (const auto reason = UsageNotifications::desktopUnavailableReason()) {
            return usageError(streams, "usage", *reason);
        }
    }

    const StateFiles stateFiles = streams.files.resolve(StateOwner::usage, options.defaultsFile);
    FilePreferences defaults(stateFiles.state);
    FileDocumentStore history(stateFiles.history);
    PosixRunLoop loop;
    PosixFileSystem files(&loop);
    MemoryLog log;
    // Codex is never running here as far as the reader knows, and nothing is ever typed: no
    // menu is read and no input is watched.
    SimulatedAccessibility accessibility;
    FakeWorkspace workspace(loop);
    VirtualTime inputClock;
    FakeInput input(inputClock);
    const std::string home = environmentValue("HOME");
    const TimeFormatter& formatter = hostTimeFormatter();
    UsageView view(streams.out, streams.err, formatter, home,
                   options.json ? UsageView::Style::json
                   : options.watch && isTerminal(STDOUT_FILENO) && terminalCanRedraw()
                       ? UsageView::Style::live
                       : UsageView::Style::text);
    UsageNotifications notifications([&](const std::string& line) { view.event(line); },
                                     [&](const std::string& line) { view.notice(line); });
    if (options.notify) {
        notifications.deliverOnDesktop();
    }
    UsageReader reader(ReaderEnvironment{
        accessibility, input, workspace, loop, loop, log, defaults, notifications.center(), {}});
    reader.setAutomaticRefreshEnabled(false);
    if (options.plan) {
        reader.setCodexPlan(*options.plan);
    } else if (!reader.hasExplicitPlanSelection()) {
        reader.setCodexPlan(CodexPlan::plus);
    }
    reader.setCodexLogsFolder(codexFolder(options));
    reader.setCodexLogsEnabled(true);

    reader.attachCodexLogs(CodexLogEnvironment{files, history, formatter, home});
    if (!options.watch) {
        // A reading saved by an earlier run is not shown when the logs are gone now.
        if (!showsLogReading(reader) || !reader.codexLogsState().newestLineAt) {
            view.nothingFound(reader);
            return exitNoResult;
        }
        view.reading(reader);
        return exitSuccess;
    }

    StopSignals signals;
    std::optional<Date> shown;
    std::optional<CodexLogsState> shownState;
    const auto update = [&] {
        if (showsLogReading(reader)) {
            if (shown != reader.lastUpdated()) {
                shown = reader.lastUpdated();
                view.reading(reader);
            }
        } else if (shownState != reader.codexLogsState()) {
            shownState = reader.codexLogsState();
            view.waiting(reader);
        }
    };
    update();
    // A reading is published in steps; the view draws once they are all done.
    TaskHandle pendingUpdate;
    const auto observer = reader.addObserver([&] {
        if (!pendingUpdate) {
            pendingUpdate = loop.async([&] {
                pendingUpdate.cancel();
                update();
            });
        }
    });
    loop.run(&signals);
    reader.removeObserver(observer);
    view.close();
    return signals.signal() ? StopSignals::exitStatus(*signals.signal()) : exitSuccess;
}

}  // namespace gaugely::tool
