#include <unistd.h>

#include <cmath>
#include <csignal>
#include <iostream>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Posix/FilePreferences.h"
#include "Meterlane/Posix/StopSignals.h"
#include "Meterlane/Reader/RefreshTrace.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"
#include "Meterlane/Simulation/SimulationClockDriver.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/HostTimeFormatter.h"
#include "tools/gaugely/RefreshStatistics.h"
#include "tools/gaugely/Scenario.h"
#include "tools/gaugely/SimulatedMac.h"
#include "tools/gaugely/SimulationView.h"
#include "tools/gaugely/StateText.h"
#include "tools/gaugely/Terminal.h"
#include "tools/gaugely/UpdaterLog.h"

namespace gaugely::tool {
namespace {

constexpr const char* simulateHelp =
    "Usage: gaugely simulate [--scenario NAME] [--plan freeGo|plus|pro] [--speed N | --virtual]\n"
    "                        [--defaults FILE] [--duration SECONDS] [--stats] [--verbose]\n"
    "                        [--ax-latency MS] [--refreshes N]\n"
    "\n"
    "Runs the Gaugely app, built as on a Mac (its reader, scheduler, notifications and updater),\n"
    "against a simulated Codex and shows what the Mac would: the menu bar label and refresh item,\n"
    "the popover, the countdown, each notification as it is posted, and the refresh trace. On a\n"
    "terminal the view is redrawn in place; piped, or with --virtual, every event is one line\n"
    "stamped with the simulated time since the start (\"[+00:12.400]\"). Settings, readings and\n"
    "alert states are kept in a defaults file, so the next run starts from where this one\n"
    "ended, as the app does.\n"
    "\n"
    "  --scenario NAME     what happens (default: demo); \"--scenario list\" lists them\n"
    "  --plan PLAN         your Codex plan: freeGo, plus or pro. Needed when the defaults file\n"
    "                      has no plan yet; on a terminal you are asked instead. A plan that\n"
    "                      differs from the stored one is chosen at the start, as in Settings\n"
    "  --speed N           N simulated seconds per real second (default 1)\n"
    "  --virtual           no waiting at all: the run ends as soon as the work is done and\n"
    "                      prints the same lines every time (fixed start 2026-11-21 09:00:00\n"
    "                      UTC, counted notification identifiers)\n"
    "  --defaults FILE     the defaults file (default: $XDG_CONFIG_HOME/gaugely/\n"
    "                      com.vostrel.gaugely.json, or ~/.config/gaugely/ without it)\n"
    "  --duration SECONDS  simulated seconds to run instead of the scenario's own length\n"
    "  --stats             at the end, for each refresh: the accessibility round trips, the\n"
    "                      engine's CPU time, the time spent in round trips, how long the main\n"
    "                      thread was blocked in all and in its longest single block, the time\n"
    "                      from the request to the end, and how long Codex's profile menu\n"
    "                      stayed open (with the round trips made meanwhile)\n"
    "  --ax-latency MS     every accessibility round trip takes MS milliseconds of simulated\n"
    "                      time, as a busy Codex does, on the reader's accessibility worker\n"
    "                      (default 0)\n"
    "  --refreshes N       with the manual scenario: N refreshes, each 5 s after the previous\n"
    "                      one ended (default 1)\n"
    "  --verbose           also the trace's debug lines (refresh timing)\n"
    "  -h, --help          show this help\n"
    "\n"
    "Ctrl-C stops the run; what it has saved so far is kept.\n"
    "Exit status: 0 the scenario ran; 2 bad arguments or no plan to use; 128 + the signal's\n"
    "number when stopped by a signal (130 for Ctrl-C).\n";

struct SimulateOptions {
    std::string scenario = "demo";
    std::optional<CodexPlan> plan;
    std::optional<double> speed = 1.0;
    std::optional<std::string> defaultsFile;
    std::optional<double> duration;
    double axLatencyMilliseconds = 0;
    int refreshes = 1;
    bool stats = false;
    bool verbose = false;
    bool help = false;
};

constexpr OptionShape simulateOptionShapes[] = {
    {"--scenario", true},   {"--plan", true},      {"--speed", true},    {"--defaults", true},
    {"--duration", true},   {"--stats", false},    {"--verbose", false}, {"--virtual", false},
    {"--ax-latency", true}, {"--refreshes", true},
};

std::variant<SimulateOptions, std::string> simulateOptions(
    const std::vector<std::string>& arguments) {
    auto read = readArguments(arguments, simulateOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return *problem;
    }
    SimulateOptions options;
    bool sawSpeed = false;
    bool sawVirtual = false;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        const std::string& name = argument.name;
        const std::string value = argument.value.value_or("");
        if (argument.isPositional()) {
            return "unexpected argument \"" + value + "\"";
        } else if (name == "--help") {
            options.help = true;
        } else if (name == "--stats") {
            options.stats = true;
        } else if (name == "--verbose") {
            options.verbose = true;
        } else if (name == "--virtual") {
            sawVirtual = true;
        } else if (name == "--scenario") {
            options.scenario = value;
        } else if (name == "--plan") {
            options.plan = fromRawValue<CodexPlan>(value);
            if (!options.plan) {
                return "unknown plan \"" + value + "\" (freeGo, plus or pro)";
            }
        } else if (name == "--speed") {
            options.speed = positiveNumber(value);
            sawSpeed = true;
            if (!options.speed) {
                return "--speed needs a number above 0, not \"" + value + "\"";
            }
        } else if (name == "--defaults") {
            if (value.empty()) {
                return std::string("--defaults needs a file name");
            }
            options.defaultsFile = value;
        } else if (name == "--ax-latency") {
            const auto latency = value == "0" ? std::optional<double>(0) : positiveNumber(value);
            if (!latency) {
                return "--ax-latency needs a number of milliseconds of 0 or more, not \"" + value +
                       "\"";
            }
            options.axLatencyMilliseconds = *latency;
        } else if (name == "--refreshes") {
            const auto count = positiveNumber(value);
            if (!count || *count != static_cast<double>(static_cast<int>(*count)) ||
                *count > 1000) {
                return "--refreshes needs a whole number from 1 to 1000, not \"" + value + "\"";
            }
            options.refreshes = static_cast<int>(*count);
        } else {
            options.duration = positiveNumber(value);
            if (!options.duration) {
                return "--duration needs a number of seconds above 0, not \"" + value + "\"";
            }
        }
    }
    if (sawSpeed && sawVirtual) {
        return std::string("--speed and --virtual do not go together");
    }
    if (sawVirtual) {
        options.speed.reset();
    }
    if (options.refreshes > 1 && options.scenario != "manual") {
        return std::string("--refreshes goes with --scenario manual");
    }
    return options;
}

void listScenarios(std::ostream& out) {
    out << "Scenarios (gaugely simulate --scenario NAME):\n";
    for (const Scenario& scenario : scenarios()) {
        out << "  " << paddedToWidth(scenario.name, 19) << scenario.summary << "\n";
    }
}

// Asks on the terminal, as the app's first-run plan chooser does; none at the end of input.
std::optional<CodexPlan> askForPlan(CommandStreams streams) {
    streams.out << "Choose your Codex plan (Gaugely reads the usage windows your plan has):\n";
    int number = 1;
    for (const CodexPlan plan : allCases<CodexPlan>()) {
        streams.out << "  " << number++ << "  " << title(plan) << "\n";
    }
    std::string answer;
    while (true) {
        streams.out << "Plan [1-3]: " << std::flush;
        if (!std::getline(streams.in, answer)) {
            streams.out << "\n";
            return std::nullopt;
        }
        answer = text::trimmed(answer);
        number = 1;
        for (const CodexPlan plan : allCases<CodexPlan>()) {
            if (answer == std::to_string(number++) || answer == rawValue(plan) ||
                text::equalsIgnoringCase(answer, title(plan))) {
                return plan;
            }
        }
        streams.out << "Please answer 1, 2 or 3.\n";
    }
}

std::string footerText(double elapsed, const SimulateOptions& options,
                       const std::optional<int>& countdown) {
    // Whole seconds: "+00:12".
    const std::string stamp = elapsedStamp(elapsed);
    std::string text = stamp.substr(0, stamp.size() - 4) + " \u00B7 " + options.scenario;
    if (options.speed && *options.speed != 1.0) {
        char speed[32];
        std::snprintf(speed, sizeof speed, " at %g\u00D7", *options.speed);
        text += speed;
    }
    if (countdown) {
        text += " \u00B7 countdown " + std::to_string(*countdown);
    }
    return text + " \u00B7 Ctrl-C stops";
}

// Piped, every line a user of the log would see (the golden files hold them); on a terminal the
// story: the scheduler's lines and how each run ended, with the trace's stages left to --verbose.
bool showsWithoutVerbose(const LogEntry& entry, bool live) {
    if (entry.level == LogLevel::debug) {
        return false;
    }
    return !live || entry.category != refreshLogCategory || isRunOutcomeLine(entry.line);
}

}  // namespace

int runSimulateCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto parsed = simulateOptions(arguments);
    if (auto* problem = std::get_if<std::string>(&parsed)) {
        return usageError(streams, "simulate", *problem);
    }
    const SimulateOptions& options = std::get<SimulateOptions>(parsed);
    if (options.help) {
        streams.out << simulateHelp;
        return exitSuccess;
    }
    if (options.scenario == "list") {
        listScenarios(streams.out);
        return exitSuccess;
    }
    const Scenario* scenario = findScenario(options.scenario);
    if (scenario == nullptr) {
        return usageError(streams, "simulate",
                          "unknown scenario \"" + options.scenario +
                              "\" (\"gaugely simulate --scenario list\" lists them)");
    }

    const StateFiles files = streams.files.resolve(StateOwner::app, options.defaultsFile);
    const std::string file = files.state.string();
    const auto warn = [&](const std::string& message) {
        streams.err << "gaugely: " << message << "\n";
    };
    FilePreferences defaults(file, warn);
    const StoredReaderState stored = StoredReaderState::read(defaults);

    if (scenario->startsWithoutPlan && stored.plan.value) {
        streams.err << "gaugely simulate: the first-run scenario starts before a plan is chosen, "
                       "but "
                    << file << " already has one (" << rawValue(*stored.plan.value)
                    << "); pass --defaults with a new file\n";
        return exitUsage;
    }
    std::optional<CodexPlan> plan = options.plan ? options.plan : stored.plan.value;
    if (!plan) {
        if (isTerminal(STDIN_FILENO) && &streams.in == &std::cin) {
            plan = askForPlan(streams);
        }
        if (!plan) {
            streams.err << "gaugely simulate: no plan is chosen yet in " << file
                        << "; pass --plan freeGo, --plan plus or --plan pro\n";
            return exitUsage;
        }
    }

    const bool instant = !options.speed;
    // A terminal that cannot move its cursor gets the piped form, one line an event.
    const bool live =
        !instant && &streams.out == &std::cout && isTerminal(STDOUT_FILENO) && terminalCanRedraw();
    const Date start = instant ? VirtualTime::defaultStart : currentDate();
    SimulatedMac world(
        start, *plan, defaults,
        [&](std::string_view) -> std::unique_ptr<Preferences> {
            return std::make_unique<FilePreferences>(files.updaterSuite, warn);
        },
        instant);
    const double origin = world.time.monotonicSeconds();
    const auto elapsed = [&] { return world.time.monotonicSeconds() - origin; };
    SimulationView view(streams.out,
                        live ? SimulationView::Style::live : SimulationView::Style::lines, elapsed,
                        live ? static_cast<std::size_t>(terminalColumns(STDOUT_FILENO, 80)) : 80,
                        live && colourWanted());

    view.say("gaugely simulate \u2014 scenario " + std::string(scenario->name) + ": " +
             std::string(scenario->summary));
    std::string pace;
    if (instant) {
        pace = "in virtual time";
    } else if (*options.speed == 1.0) {
        pace = "in real time";
    } else {
        char speed[48];
        std::snprintf(speed, sizeof speed, "at %g\u00D7 speed", *options.speed);
        pace = speed;
    }
    view.say("Plan " + std::string(title(*plan)) + ", " + pace + " from " +
             localDateTimeText(start) + ".");
    view.say(restoredStateLine(stored, file, start));

    world.log.setEcho([&](const LogEntry& entry) {
        if (options.verbose || showsWithoutVerbose(entry, live)) {
            view.logEntry(entry);
        }
    });
    if (options.axLatencyMilliseconds > 0) {
        world.codex.setRoundTripCost(&world.time, options.axLatencyMilliseconds / 1000.0);
    }
    if (scenario->startsWithoutPlan) {
        // A first run has no Accessibility permission yet either.
        world.codex.trusted = false;
    }
    std::optional<UpdaterLog> updaterLog;
    if (scenario->publishesUpdate) {
        world.publishRelease();
        updaterLog.emplace(world);
    }
    RefreshStatistics statistics(world.codex, origin);
    world.didLaunch = [&](AppAssembly& app) {
        statistics.follow(app.reader());
        app.reader().addObserver([&] { statistics.readerChanged(elapsed()); });
        // A refresh that was overdue at launch starts inside the reader's construction.
        statistics.readerChanged(elapsed());
        if (updaterLog) {
            updaterLog->launched(app);
        }
    };
    world.launch();

    ScenarioScript script(
        world, *plan, [&](std::string_view text) { view.note(text); },
        [&](const AlertRequest& request) { view.alert(request); });
    if (!scenario->startsWithoutPlan &&
        (!world.reader().hasExplicitPlanSelection() || world.reader().codexPlan() != *plan)) {
        script.choosePlan(0);
    }
    scenario->write(script);
    if (options.refreshes > 1) {
        script.repeatRefreshes(options.refreshes, 5);
    }

    std::size_t notificationsShown = 0;
    const auto showScreen = [&] {
        const auto& requests = world.notifications.requests();
        for (; notificationsShown < requests.size(); ++notificationsShown) {
            view.notification(requests[notificationsShown]);
        }
        const GaugelyScreen screen = captureScreen(world.app());
        view.show(screen, footerText(elapsed(), options, screen.countdown));
    };
    showScreen();

    StopSignals signals;
    SimulationClockDriver driver(
        world.time, options.speed,
        RealTimeSource{monotonicSeconds, [&](double seconds) { signals.sleep(seconds); },
                       [&] { return signals.stopRequested(); }, processCPUSeconds});
    driver.setAfterEachItem([&](const WorkItemReport& report) {
        statistics.itemRan(report);
        showScreen();
    });
    // On a terminal the panel's clock moves on every second, even when nothing else happens.
    TaskHandle clock;
    if (live) {
        clock = world.time.scheduleRepeating(1, 1, 0, [] {});
    }

    SimulationClockDriver::Ending ending = SimulationClockDriver::Ending::timeLimit;
    if (options.duration) {
        ending = driver.run(*options.duration);
    } else if (options.refreshes > 1) {
        // Repeated refreshes end when they end: the script's length is known only then.
        ending = driver.run(24 * 3600, [&] { return script.isOver(); });
    } else {
        // The script's end is on the story's clock, which stands still while Codex answers.
        while (ending == SimulationClockDriver::Ending::timeLimit && !script.isOver()) {
            ending = driver.run(script.duration() - script.storyTime());
        }
    }
    // A refresh still running at the end, or a click waiting for one, is allowed to finish; at
    // 10 ms a round trip that may take a few minutes.
    if (ending != SimulationClockDriver::Ending::stopped && script.hasRunsUnderWay()) {
        ending = driver.run(3600, [&] { return !script.hasRunsUnderWay(); });
    }
    clock.cancel();
    defaults.synchronize();
    showScreen();
    view.close();

    const std::string at = elapsedStamp(elapsed());
    if (const auto signal = signals.signal()) {
        view.say(std::string("Stopped at ") + at + " by " +
                 (*signal == SIGINT ? "Ctrl-C" : "a signal") + "; what was saved is kept in " +
                 file + ".");
    } else {
        view.say("Scenario " + std::string(scenario->name) + " ended at " + at +
                 "; state saved in " + file + ".");
    }
    if (options.stats) {
        statistics.print(streams.out);
    }
    streams.out.flush();
    if (const auto signal = signals.signal()) {
        return StopSignals::exitStatus(*signal);
    }
    return exitSuccess;
}

}  // namespace gaugely::tool
