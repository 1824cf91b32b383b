#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "ProductFacts.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/HelpText.h"

namespace gaugely::tool {
namespace {

// Add a subcommand here, with its own file.
constexpr Command commands[] = {
    {"usage", "show your real Codex usage and pace, read from Codex's own session logs",
     runUsageCommand},
    {"simulate", "run Gaugely against a simulated Codex, live (the demo)", runSimulateCommand},
    {"state", "show what Gaugely has saved: plan, settings, readings, alert states",
     runStateCommand},
    {"parse", "read a usage snapshot from the text lines of Codex's menu", runParseCommand},
    {"appcast", "check an update feed item by item, as the updater would read it",
     runAppcastCommand},
    {"dump-tree", "record Codex's accessibility tree as a fixture set the tests replay",
     runDumpTreeCommand},
};

void printUsage(std::ostream& stream) {
    stream << "Usage: gaugely <command> [options]\n"
              "\n"
              "The demo and debugging tool of Gaugely, the menu-bar gauge of remaining Codex "
              "usage.\n"
              "\n"
              "Commands:\n";
    std::size_t width = 0;
    for (const Command& command : commands) {
        width = std::max(width, command.name.size());
    }
    for (const Command& command : commands) {
        stream << "  " << command.name << std::string(width + 2 - command.name.size(), ' ')
               << command.summary << "\n";
    }
    // The files by the rule every command follows, as they are without XDG_CONFIG_HOME and
    // XDG_DATA_HOME.
    const FileLocations usual("~/.config", "~/.local/share");
    const StateFiles usage = usual.standard(StateOwner::usage);
    const StateFiles app = usual.standard(StateOwner::app);
    const auto file = [&](const std::filesystem::path& path, std::string_view text) {
        stream << "  " << path.string() << "\n                    " << text << "\n";
    };
    stream << "\n"
              "Options:\n"
              "  -h, --help                   show this help\n"
              "  -V, --version                show the version\n"
              "  --completion bash|zsh|fish   print the shell's completions for gaugely\n"
              "  --manual-page                print the manual page (mdoc), made from these help\n"
              "                               texts\n"
              "\n"
              "Run \"gaugely <command> --help\" for a command's options.\n"
              "\n"
              "Environment:\n"
              "  CODEX_HOME       Codex's folder (default: ~/.codex)\n"
              "  XDG_CONFIG_HOME  the folder that stands for ~/.config below\n"
              "  XDG_DATA_HOME    the folder that stands for ~/.local/share below\n"
              "  DBUS_SESSION_BUS_ADDRESS\n"
              "                   the session bus gaugely usage --notify sends to (default:\n"
              "                   $XDG_RUNTIME_DIR/bus)\n"
              "  NO_COLOR         when set, no colours on a terminal\n"
              "\n"
              "Files:\n";
    file(usage.state, "gaugely usage's state: the plan, the last reading, the notification states");
    file(usage.history, "gaugely usage's history of readings, from which the pace is told");
    file(app.state, "gaugely simulate's state, kept as the app keeps its defaults");
    file(app.updaterSuite, "the updater's records");
    file(usual.userServiceUnit(), "the user service that gaugely usage --install-service writes");
    stream << "\n"
              "With --defaults FILE a command keeps its state in FILE, its history in\n"
              "FILE.history.json and the updater's records beside FILE; a standard file named\n"
              "with --defaults keeps its standard companions. \"gaugely state\" shows where yours\n"
              "are.\n";
}

void printVersion(std::ostream& stream) {
    stream << "gaugely " << product::version << " (" << product::build << ")\n";
}

// The help texts, read back for the manual page and the completions.
ToolHelp toolHelp(const FileLocations& files) {
    ToolHelp help;
    std::ostringstream text;
    printUsage(text);
    help.tool = parseHelpText(text.str());
    for (const Command& command : commands) {
        std::istringstream in;
        std::ostringstream out;
        std::ostringstream err;
        command.run({"--help"}, CommandStreams{in, out, err, files});
        help.commands.push_back(
            {std::string(command.name), std::string(command.summary), parseHelpText(out.str())});
    }
    return help;
}

// The manual page's date: $SOURCE_DATE_EPOCH's when set, so a rebuild makes the same page.
std::string manualDate() {
    std::time_t seconds = std::time(nullptr);
    if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch && *epoch) {
        seconds = static_cast<std::time_t>(std::strtoll(epoch, nullptr, 10));
    }
    std::tm date{};
    gmtime_r(&seconds, &date);
    static constexpr std::array<const char*, 12> months = {
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    return std::string(months[static_cast<std::size_t>(date.tm_mon)]) + " " +
           std::to_string(date.tm_mday) + ", " + std::to_string(date.tm_year + 1900);
}

int printCompletion(const std::vector<std::string>& arguments, const FileLocations& files) {
    std::string shell = arguments.front().starts_with("--completion=")
                            ? arguments.front().substr(std::string("--completion=").size())
                            : (arguments.size() > 1 ? arguments[1] : "");
    const std::pair<std::string_view, CompletionShell> shells[] = {{"bash", CompletionShell::bash},
                                                                   {"zsh", CompletionShell::zsh},
                                                                   {"fish", CompletionShell::fish}};
    for (const auto& [name, kind] : shells) {
        if (shell == name) {
            std::cout << completionScript(toolHelp(files), kind);
            return exitSuccess;
        }
    }
    std::cerr << "gaugely: --completion needs bash, zsh or fish"
              << (shell.empty() ? std::string() : ", not \"" + shell + "\"")
              << "\nTry 'gaugely --help'.\n";
    return exitUsage;
}

int run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        printUsage(std::cerr);
        return exitUsage;
    }
    const std::string& name = arguments.front();
    if (name == "--help" || name == "-h" || name == "help") {
        printUsage(std::cout);
        return exitSuccess;
    }
    if (name == "--version" || name == "-V") {
        printVersion(std::cout);
        return exitSuccess;
    }
    const FileLocations files = FileLocations::fromEnvironment();
    if (name == "--manual-page") {
        std::cout << manualPage(toolHelp(files), manualDate());
        return exitSuccess;
    }
    if (name == "--completion" || name.starts_with("--completion=")) {
        return printCompletion(arguments, files);
    }
    for (const Command& command : commands) {
        if (command.name == name) {
            return command.run(std::vector<std::string>(arguments.begin() + 1, arguments.end()),
                               CommandStreams{std::cin, std::cout, std::cerr, files});
        }
    }
    std::cerr << "gaugely: unknown " << (name.starts_with("-") ? "option" : "command") << " \""
              << name << "\"\nTry 'gaugely --help'.\n";
    return exitUsage;
}

}  // namespace
}  // namespace gaugely::tool

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const int status = gaugely::tool::run(std::vector<std::string>(argv + 1, argv + argc));
    std::cout.flush();
    return status;
}
