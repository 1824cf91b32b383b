// `gaugely usage`: the user's real usage on Linux, from the usage lines of Codex's own session
// logs, through the app itself (the same assembly, over a POSIX host's ports: `PosixHost`). It
// never reads a menu, and keeps its state in its own files so it never mixes with the
// simulator's.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "Meterlane/Posix/PosixRunLoop.h"
#include "Meterlane/Posix/StopSignals.h"
#include "Meterlane/Presentation/StatusLinePresentation.h"
#include "Meterlane/Reader/UsageReader.h"
#include "ProductFacts.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/HostTimeFormatter.h"
#include "tools/gaugely/PosixHost.h"
#include "tools/gaugely/ReadingHome.h"
#include "tools/gaugely/StateText.h"
#include "tools/gaugely/Terminal.h"
#include "tools/gaugely/UsageNotifications.h"
#include "tools/gaugely/UsageView.h"
#include "tools/gaugely/UserService.h"

namespace gaugely::tool {
namespace {

constexpr const char* usageHelp =
    "Usage: gaugely usage [--plan freeGo|plus|pro] [--codex-home DIR] [--watch]\n"
    "                     [--json | --format TEMPLATE | --waybar] [--notify] [--defaults FILE]\n"
    "                     [--stats]\n"
    "                     [--install-service | --uninstall-service]\n"
    "\n"
    "Shows your real Codex usage, read from Codex's own session logs: the menu bar text, the\n"
    "popover and the pace at which each window is being used, as the app would show them.\n"
    "Only the usage lines of the session files are read; your conversations are never read,\n"
    "kept or shown, and Codex's menu is never touched.\n"
    "\n"
    "  --plan PLAN        your Codex plan: freeGo, plus or pro (default: the plan an earlier\n"
    "                     run saved, else the plan Codex's logs show, else plus); saved for\n"
    "                     the next run\n"
    "  --codex-home DIR   Codex's folder, the one that holds sessions/ (default: $CODEX_HOME,\n"
    "                     else ~/.codex)\n"
    "  --watch            stay live: show each new reading, with low-usage and reset\n"
    "                     notifications, until Ctrl-C\n"
    "  --json             for scripts: one JSON object a line on standard output, each with its\n"
    "                     \"type\": \"reading\" (a window's \"remaining\" is a number, null\n"
    "                     when Codex gave none, beside its \"text\"), \"notification\"\n"
    "                     (\"kind\", \"window\", \"title\", \"body\"), and with --watch\n"
    "                     \"status\" while there is no reading to show\n"
    "  --format TEMPLATE  for prompts, tmux and bars: one line, TEMPLATE with its placeholders\n"
    "                     (below) filled in; with --watch, a line each time it changes\n"
    "  --waybar           the JSON object a Waybar custom module reads: \"text\" (the menu\n"
    "                     bar text, or --format's line), \"tooltip\", \"class\" and \"alt\"\n"
    "                     (normal, low at or below a window's low-usage threshold, exhausted\n"
    "                     at 0%; stale beside it when the reading may be outdated; unavailable\n"
    "                     without one) and \"percentage\" (the lowest share); with --watch, an\n"
    "                     object each time it changes\n"
    "  --notify           show the low-usage and reset notifications on the desktop (the\n"
    "                     notification service on the session D-Bus), as the Mac app does;\n"
    "                     without one they are printed, and one line says why. Linux only\n"
    "  --defaults FILE    where this command keeps its state (default: $XDG_CONFIG_HOME/gaugely/\n"
    "                     com.vostrel.gaugely.usage.json); its usage history is kept beside\n"
    "                     FILE as FILE.history.json (default: $XDG_DATA_HOME/gaugely/\n"
    "                     com.vostrel.gaugely.usage.history.json)\n"
    "  --stats            at the end, on standard error, what reading the logs took: the bytes\n"
    "                     read, files opened, paths statted and folders listed. A run that\n"
    "                     finds nothing appended since the last one reads no bytes\n"
    "  --install-service  write the systemd user service gaugely-usage.service, which runs\n"
    "                     gaugely usage --watch --notify (with the --plan, --codex-home and\n"
    "                     --defaults given here), into $XDG_CONFIG_HOME/systemd/user/ (or\n"
    "                     ~/.config/systemd/user/), and say how to start it. Linux only\n"
    "  --uninstall-service  remove that service file again\n"
    "  -h, --help         show this help\n"
    "\n"
    "Placeholders of --format:\n"
    "  {5h} {weekly} {monthly}  the window's remaining share: 72%, or \u2014 when the reading or\n"
    "                     the plan has none\n"
    "  {5h.reset} {weekly.reset} {monthly.reset}\n"
    "                     when the window resets: 21:15, or Nov 28, 09:00 when not today\n"
    "  {5h.pace} {weekly.pace} {monthly.pace}\n"
    "                     the window's pace: runs out 20:05, lasts until reset, or nothing\n"
    "                     while there are too few readings to tell\n"
    "  {plan}             the plan: Free / Go, Plus or Pro\n"
    "  {menubar}          the menu bar text: 5h 72% \u00B7 W 40%\n"
    "  {age}              the reading's age: 0m, 4m, 2h, 3d\n"
    "  {{ }}              a brace itself\n"
    "\n"
    "Times are in your locale's clock, with the day when it is not today. A reading is only\n"
    "ever shown for the Codex folder it was read from. In --json, --format and --waybar\n"
    "modes, standard output holds nothing else: errors and notices go to standard error, and\n"
    "so do notifications beside --format and --waybar.\n"
    "\n"
    "Exit status: 0 shown; 1 no usage found in the logs, or none for this plan (it says where\n"
    "it looked and why, and --format and --waybar still print their line without a reading);\n"
    "2 bad arguments; 128 + the signal's number when --watch is stopped.\n";

struct UsageOptions {
    std::optional<CodexPlan> plan;
    std::optional<std::string> codexHome;
    std::optional<std::string> defaultsFile;
    bool watch = false;
    bool json = false;
    std::optional<std::string> format;
    bool waybar = false;
    bool notify = false;
    bool stats = false;
    bool installService = false;
    bool uninstallService = false;
    bool help = false;
};

constexpr OptionShape usageOptionShapes[] = {{"--plan", true},
                                             {"--codex-home", true},
                                             {"--defaults", true},
                                             {"--watch", false},
                                             {"--json", false},
                                             {"--format", true},
                                             {"--waybar", false},
                                             {"--notify", false},
                                             {"--stats", false},
                                             {"--install-service", false},
                                             {"--uninstall-service", false}};

std::variant<UsageOptions, std::string> usageOptions(const std::vector<std::string>& arguments) {
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
        } else if (name == "--waybar") {
            options.waybar = true;
        } else if (name == "--notify") {
            options.notify = true;
        } else if (name == "--stats") {
            options.stats = true;
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
        } else if (name == "--format") {
            options.format = argument.value;
        } else {
            options.defaultsFile = argument.value;
        }
    }
    if (options.json && (options.format || options.waybar)) {
        return std::string(options.format ? "--format" : "--waybar") +
               " and --json do not go together";
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

// Whether the reader now shows a reading of the chosen plan taken from the logs. A reading an
// earlier run saved is not passed off as current when the logs now refuse it.
bool showsLogReading(const UsageReader& reader) {
    return reader.hasExplicitPlanSelection() && reader.activeSnapshotPlan() == reader.codexPlan() &&
           reader.snapshotSource() == UsageSource::codexLogs &&
           reader.codexLogsState().newestLineAt && !reader.codexLogsState().refusal;
}

// Logs written before Codex named the plan leave it to the user: plus until they choose, as
// this command always did. (Logs that name one have chosen it already, through the reader.)
void choosePlusForLogsWithoutPlan(UsageReader& reader) {
    const CodexLogsState& state = reader.codexLogsState();
    if (!reader.hasExplicitPlanSelection() && state.newestLineAt && !state.logsPlanType) {
        reader.setCodexPlan(CodexPlan::plus);
    }
}

UsageView::Style viewStyle(const UsageOptions& options) {
    if (options.json) {
        return UsageView::Style::json;
    }
    if (options.waybar) {
        return UsageView::Style::waybar;
    }
    if (options.format) {
        return UsageView::Style::format;
    }
    return options.watch && isTerminal(STDOUT_FILENO) && terminalCanRedraw()
               ? UsageView::Style::live
               : UsageView::Style::text;
}

// The line of --stats.
std::string logStatisticsText(const UsageReader& reader) {
    const auto statistics = reader.codexLogStatistics().value_or(CodexLogFollowerStatistics{});
    return "Codex's logs: " + std::to_string(statistics.bytesRead) + " bytes read, " +
           std::to_string(statistics.opens) + " files opened, " +
           std::to_string(statistics.statuses) + " paths statted, " +
           std::to_string(statistics.lists) + " folders listed\n";
}

// How often a watched status line looks whether its age has moved on: its finest step is a
// minute.
constexpr double ageingInterval = 20;

// --install-service and --uninstall-service write or remove the unit and end there; what they
// carry into the service's command line is what the service could not find out by itself.
int runServiceOption(const UsageOptions& options, CommandStreams streams) {
    if (options.installService && options.uninstallService) {
        return usageError(streams, "usage",
                          "--install-service and --uninstall-service do not go together");
    }
    if (options.watch || options.json || options.format || options.waybar || options.notify) {
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
    auto parsed = usageOptions(arguments);
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

    std::optional<StatusLineTemplate> line;
    if (options.format) {
        auto parsed = StatusLineTemplate::parse(*options.format);
        if (auto* problem = std::get_if<std::string>(&parsed)) {
            return usageError(streams, "usage", "--format: " + *problem);
        }
        line = std::get<StatusLineTemplate>(std::move(parsed));
    }

    const std::string home = environmentValue("HOME");
    const std::string folder = codexFolder(options);
    const TimeFormatter& formatter = hostTimeFormatter();
    PosixRunLoop loop;
    UsageView view(
        streams.out, streams.err, formatter, [&loop] { return loop.now(); }, home,
        viewStyle(options), std::move(line));
    UsageNotifications notifications(
        [&](const NotificationRequest& request) { view.notification(request); },
        [&](const std::string& text) { view.notice(text); });
    if (options.notify) {
        notifications.deliverOnDesktop();
    }
    PosixHost host(loop, streams.files.resolve(StateOwner::usage, options.defaultsFile), home,
                   notifications.center());
    // Before the app restores anything.
    const std::string codexHome = codexHomeIdentity(expandedCodexFolder(folder, home));
    forgetReadingsOfAnotherHome(host.state(), host.history(), codexHome);

    // The command line's settings hold for this run. A prompt runs this at every line: it goes
    // on from where the last run stopped reading.
    host.launch(
        [&](UsageReader& reader) {
            reader.setAutomaticRefreshEnabled(false);
            if (options.plan) {
                reader.setCodexPlan(*options.plan);
            }
            reader.setCodexLogsFolder(folder);
            reader.setCodexLogsEnabled(true);
        },
        true);
    UsageReader& reader = host.reader();
    Preferences& defaults = host.state();
    choosePlusForLogsWithoutPlan(reader);
    const auto showReading = [&] {
        rememberReadingHome(defaults, codexHome);
        view.reading(reader);
    };
    if (!options.watch) {
        const bool found = showsLogReading(reader);
        if (found) {
            showReading();
        } else {
            view.nothingFound(reader);
        }
        if (options.stats) {
            streams.err << logStatisticsText(reader);
        }
        return found ? exitSuccess : exitNoResult;
    }

    StopSignals signals;
    std::optional<Date> shown;
    std::optional<CodexLogsState> shownState;
    const auto update = [&] {
        choosePlusForLogsWithoutPlan(reader);
        if (showsLogReading(reader)) {
            if (shown != reader.lastUpdated()) {
                shown = reader.lastUpdated();
                showReading();
            }
        } else if (shownState != reader.codexLogsState()) {
            shownState = reader.codexLogsState();
            view.waiting(reader);
        }
    };
    update();
    // A status line's age and staleness move on with the clock, not only with new readings.
    TaskHandle ageing;
    if (view.showsAge()) {
        ageing = loop.scheduleRepeating(ageingInterval, ageingInterval, 1,
                                        [&] { view.refresh(reader, showsLogReading(reader)); });
    }
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
    if (options.stats) {
        streams.err << logStatisticsText(reader);
    }
    return signals.signal() ? StopSignals::exitStatus(*signals.signal()) : exitSuccess;
}

}  // namespace gaugely::tool
