#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/Text.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "LowUsageNotificationSupport/UsageSnapshot.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/Terminal.h"

namespace gaugely::tool {
namespace {

constexpr const char* parseHelp =
    "Usage: gaugely parse --plan freeGo|plus|pro [--legacy FILE] [--json] < lines.txt\n"
    "\n"
    "Reads the text of Codex's menu from standard input, one element per line in reading order\n"
    "(an empty line is an element too), and prints the usage snapshot Gaugely takes from it.\n"
    "\n"
    "  --plan freeGo|plus   the lines are the expanded \"Usage remaining\" menu\n"
    "  --plan pro           the lines are the profile menu's item titles\n"
    "  --legacy FILE        pro only: the older menu layout's lines, read when no title\n"
    "                       carries the weekly percentage\n"
    "  --json               one JSON object: {\"plan\":…,\"complete\":…,\"snapshot\":{…}}\n"
    "  -h, --help           show this help\n"
    "\n"
    "Prints the snapshot as JSON on one line, then \"complete\" or \"incomplete\" for the plan.\n"
    "Exit status: 0 a snapshot was read; 1 nothing could be read (the reason is on standard\n"
    "error); 2 bad arguments.\n";

constexpr OptionShape parseOptionShapes[] = {
    {"--plan", true},
    {"--legacy", true},
    {"--json", false},
};

std::string readAll(std::istream& in) {
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct ParseOptions {
    std::optional<CodexPlan> plan;
    std::optional<std::string> legacyPath;
    bool json = false;
    bool help = false;
};

// Parses the arguments; the text is the problem when they are wrong.
std::variant<ParseOptions, std::string> parseCommandOptions(
    const std::vector<std::string>& arguments) {
    auto read = readArguments(arguments, parseOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return *problem;
    }
    ParseOptions options;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        if (argument.isPositional()) {
            return "unexpected argument \"" + *argument.value + "\"";
        }
        if (argument.name == "--help") {
            options.help = true;
        } else if (argument.name == "--json") {
            options.json = true;
        } else if (argument.name == "--plan") {
            options.plan = fromRawValue<CodexPlan>(*argument.value);
            if (!options.plan) {
                return "unknown plan \"" + *argument.value + "\" (freeGo, plus or pro)";
            }
        } else {
            options.legacyPath = argument.value;
        }
    }
    if (options.help) {
        return options;
    }
    if (!options.plan) {
        return std::string("--plan is required");
    }
    if (options.legacyPath && *options.plan != CodexPlan::pro) {
        return std::string("--legacy is for --plan pro only");
    }
    return options;
}

}  // namespace

int runParseCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto parsed = parseCommandOptions(arguments);
    if (auto* problem = std::get_if<std::string>(&parsed)) {
        return usageError(streams, "parse", *problem);
    }
    const ParseOptions& options = std::get<ParseOptions>(parsed);
    if (options.help) {
        streams.out << parseHelp;
        return exitSuccess;
    }

    std::vector<std::string> legacyLines;
    if (options.legacyPath) {
        errno = 0;
        std::ifstream file(*options.legacyPath, std::ios::binary);
        if (!file) {
            streams.err << "gaugely parse: cannot read " << *options.legacyPath << ": "
                        << (errno != 0 ? std::strerror(errno) : "not readable") << "\n";
            return exitUsage;
        }
        legacyLines = text::splitLines(readAll(file));
    }
    if (&streams.in == &std::cin && isTerminal(STDIN_FILENO)) {
        // Someone typing would otherwise face a silent wait.
        streams.err << "gaugely parse: reading the menu's lines from the terminal, one element a "
                       "line; end with Ctrl-D\n";
    }
    const std::vector<std::string> lines = text::splitLines(readAll(streams.in));

    const CodexPlan plan = *options.plan;
    std::optional<UsageSnapshot> snapshot;
    std::string reason;
    if (plan == CodexPlan::pro) {
        if (const auto values =
                ProProfileUsageMenuParser::parse(lines, [&] { return legacyLines; })) {
            snapshot.emplace();
            snapshot->weekly = values->percentage;
        }
        reason = "no unambiguous supported usage value";
    } else {
        snapshot = usageSnapshotFromUsageRemainingMenu(plan, lines);
        if (lines.empty()) {
            reason = "no menu text on standard input";
        } else if (plan == CodexPlan::freeGo) {
            reason = "no \"Monthly\" line followed by a percentage and a reset date";
        } else {
            reason = "no \"5h\" line followed by a \"Weekly\" line";
        }
    }
    if (!snapshot) {
        streams.err << "gaugely parse: " << reason << "\n";
        return exitNoResult;
    }
    const QuotaSchema schema = PlanQuotaConfiguration::configuration(plan).schema;
    const bool complete = isCompleteUsageSnapshot(*snapshot, schema);
    if (options.json) {
        Json object;
        object["plan"] = rawValue(plan);
        object["complete"] = complete;
        object["snapshot"] = snapshot->toJson();
        streams.out << serializeJson(object) << "\n";
    } else {
        streams.out << encodeJson(*snapshot) << "\n"
                    << (complete ? "complete" : "incomplete") << "\n";
    }
    return exitSuccess;
}

}  // namespace gaugely::tool
