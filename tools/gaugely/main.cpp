#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "ProductFacts.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"

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
    stream << "\n"
              "Options:\n"
              "  -h, --help     show this help\n"
              "  -V, --version  show the version\n"
              "\n"
              "Run \"gaugely <command> --help\" for a command's options.\n";
}

void printVersion(std::ostream& stream) {
    stream << "gaugely " << product::version << " (" << product::build << ")\n";
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
