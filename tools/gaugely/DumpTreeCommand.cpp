// gaugely dump-tree: records Codex's accessibility tree as a fixture set (menu closed, open,
// expanded) that the tests replay. On a Mac it records the running Codex while the user opens
// and expands the menu between captures; elsewhere it records the simulated Codex, which opens
// and expands its own menu (that is how the shipped sets are made).
#include <chrono>
#include <iostream>
#include <thread>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Reader/CodexElementSearch.h"
#include "Meterlane/Simulation/SimulatedCodex.h"
#include "Meterlane/Simulation/TreeRecording.h"
#include "tools/gaugely/Arguments.h"

#if defined(__APPLE__)
#include "Meterlane/macOS/MacAccessibility.h"
#include "Meterlane/macOS/MacWorkspace.h"
#endif

namespace gaugely::tool {
namespace {

constexpr const char* dumpTreeHelp =
    "Usage: gaugely dump-tree [--output DIR] [--after SECONDS] [--keep-text]\n"
    "                         [--plan freeGo|plus|pro] [--elements N]\n"
    "\n"
    "Records Codex's accessibility tree three times, as the fixture set the tests replay:\n"
    "closed.txt (profile menu closed), open.txt (menu open) and expanded.txt (\"Usage\n"
    "remaining\" expanded). On a Mac it records the running Codex: after the first capture, open\n"
    "Codex's profile menu; after the second, select \"Usage remaining\" and press Return. "
    "Terminal\n"
    "(or the app running this) needs Accessibility permission in System Settings › Privacy &\n"
    "Security › Accessibility. Without macOS it records the simulated Codex instead.\n"
    "\n"
    "Every title, value, description and help text that is not one of the labels Gaugely looks\n"
    "for or a usage value (percentages, reset times) is written as \"(redacted)\", menus\n"
    "included: the profile menu shows your e-mail address and name.\n"
    "\n"
    "  --output DIR        where the three files go (default: codex-tree)\n"
    "  --after SECONDS     time to open or expand the menu before each capture (default 5)\n"
    "  --keep-text         keep every text as it is (the files then hold private text)\n"
    "  --plan PLAN         without macOS: the simulated Codex's plan (default plus)\n"
    "  --elements N        without macOS: the simulated window's web content (default 2000)\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit status: 0 the set was written; 1 nothing to record or the files cannot be written;\n"
    "2 bad arguments.\n";

constexpr OptionShape dumpTreeOptionShapes[] = {
    {"--output", true}, {"--after", true},    {"--keep-text", false},
    {"--plan", true},   {"--elements", true},
};

struct DumpTreeOptions {
    std::string output = "codex-tree";
    double after = 5;
    bool keepText = false;
    CodexPlan plan = CodexPlan::plus;
    std::size_t elements = 2000;
    bool help = false;
};

std::variant<DumpTreeOptions, std::string> dumpTreeOptions(
    const std::vector<std::string>& arguments) {
    auto read = readArguments(arguments, dumpTreeOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return *problem;
    }
    DumpTreeOptions options;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        const std::string value = argument.value.value_or("");
        if (argument.isPositional()) {
            return "unexpected argument \"" + value + "\"";
        } else if (argument.name == "--help") {
            options.help = true;
        } else if (argument.name == "--keep-text") {
            options.keepText = true;
        } else if (argument.name == "--output") {
            if (value.empty()) {
                return std::string("--output needs a folder");
            }
            options.output = value;
        } else if (argument.name == "--after") {
            const auto seconds = value == "0" ? std::optional<double>(0) : positiveNumber(value);
            if (!seconds) {
                return "--after needs a number of seconds, not \"" + value + "\"";
            }
            options.after = *seconds;
        } else if (argument.name == "--plan") {
            const auto plan = fromRawValue<CodexPlan>(value);
            if (!plan) {
                return "unknown plan \"" + value + "\" (freeGo, plus or pro)";
            }
            options.plan = *plan;
        } else {
            const auto count = positiveNumber(value);
            if (!count || *count != static_cast<double>(static_cast<std::size_t>(*count))) {
                return "--elements needs a whole number above 0, not \"" + value + "\"";
            }
            options.elements = static_cast<std::size_t>(*count);
        }
    }
    return options;
}

// Records one capture and says how big it was.
std::string capture(Accessibility& accessibility, const AXElement& application,
                    const DumpTreeOptions& options, std::string_view name, std::ostream& out) {
    TreeRecordingOptions recording;
    recording.keepText = options.keepText;
    const TreeRecording tree = recordTree(accessibility, application, recording);
    out << name << ": " << tree.elements << " elements"
        << (tree.capped ? " (stopped at the cap; the rest is not recorded)" : "") << "\n";
    if (tree.elements > static_cast<std::size_t>(CodexElementSearch::applicationBudget)) {
        out << "warning: more than " << CodexElementSearch::applicationBudget
            << " elements: every refresh of this window would end uncertain\n";
    }
    return tree.tree.toFixture();
}

}  // namespace

int runDumpTreeCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto parsed = dumpTreeOptions(arguments);
    if (auto* problem = std::get_if<std::string>(&parsed)) {
        return usageError(streams, "dump-tree", *problem);
    }
    const DumpTreeOptions& options = std::get<DumpTreeOptions>(parsed);
    if (options.help) {
        streams.out << dumpTreeHelp;
        return exitSuccess;
    }
    CodexFixtureSet set;
#if defined(__APPLE__)
    MacAccessibility accessibility;
    MacWorkspace workspace;
    if (!accessibility.isProcessTrusted(true)) {
        streams.err << "gaugely dump-tree: this terminal has no Accessibility permission; allow it "
                       "in System Settings › Privacy & Security › Accessibility, then run again\n";
        return exitNoResult;
    }
    CodexElementSearch search(accessibility, workspace);
    const auto codex = search.findCodexApplication();
    if (!codex) {
        streams.err << "gaugely dump-tree: Codex is not running\n";
        return exitNoResult;
    }
    // Making the application element also asks Codex for its full tree, as the reader does.
    const AXElement application = accessibility.applicationElement(codex->processIdentifier);
    const auto wait = [&](std::string_view what) {
        streams.out << what << " The next capture is in " << options.after << " s.\n";
        streams.out.flush();
        std::this_thread::sleep_for(std::chrono::duration<double>(options.after));
    };
    set.closed = capture(accessibility, application, options, "closed", streams.out);
    wait("Now open Codex's profile menu.");
    set.open = capture(accessibility, application, options, "open", streams.out);
    wait("Now select \"Usage remaining\" and press Return.");
    set.expanded = capture(accessibility, application, options, "expanded", streams.out);
#else
    streams.out << "No macOS here: recording the simulated Codex (plan " << rawValue(options.plan)
                << ").\n";
    VirtualTime time;
    FakeWorkspace workspace{time};
    FakeInput input{time};
    CodexTreeShape shape;
    shape.webContentElements = options.elements;
    SimulatedCodex codex(time, workspace, input, options.plan, shape);
    const AXElement application = codex.applicationElement(codex.pid());
    set.closed = capture(codex, application, options, "closed", streams.out);
    codex.openMenuAsUser(false);
    set.open = capture(codex, application, options, "open", streams.out);
    codex.openMenuAsUser(true);
    set.expanded = capture(codex, application, options, "expanded", streams.out);
#endif
    std::string error;
    if (!set.write(options.output, &error)) {
        streams.err << "gaugely dump-tree: " << error << "\n";
        return exitNoResult;
    }
    streams.out << "Wrote closed.txt, open.txt and expanded.txt in " << options.output << ".\n";
    return exitSuccess;
}

}  // namespace gaugely::tool
