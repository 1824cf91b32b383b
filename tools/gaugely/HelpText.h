#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace gaugely::tool {

// The help texts the tool prints, read back into their parts, so the manual page and the shell
// completions are made from the very texts `--help` shows and can never disagree with them.
//
// The form every help text keeps: "Usage: " lines (continued by indented lines) first; then
// blocks separated by empty lines. A block whose lines are indented by two spaces is a list of
// entries ("  --plan PLAN        text", the text continued by lines indented further, or
// starting on the next line when the term is long), optionally under a heading line ending in
// ":" ("Options:"); any other block is prose, and a line starting "Exit status:" begins a
// paragraph of its own.

struct HelpEntry {
    std::string term;  // "--plan PLAN", "-h, --help", "usage"
    std::string text;  // its description, on one line
};

struct HelpBlock {
    std::string heading;  // "Options"; empty for none
    std::string prose;    // a paragraph on one line, when the block is not a list
    std::vector<HelpEntry> entries;

    bool isList() const { return !entries.empty(); }
};

struct HelpText {
    std::vector<std::string> synopses;  // each "Usage:" line without "Usage: ", on one line
    std::vector<HelpBlock> blocks;
};

HelpText parseHelpText(std::string_view text);

// One option of a command as its help gives it: its names, the word for its value ("PLAN",
// "FILE", "DIR"; empty for a switch) and, where the synopsis or the term lists them, the values it
// takes ("freeGo|plus|pro").
struct HelpOption {
    std::vector<std::string> names;  // "-h", "--help"
    std::string valueName;
    std::vector<std::string> choices;
    std::string text;
};

// The options in the help's lists, each once (a later entry for the same option, as `parse`
// has for two plans, only adds its values), with choices taken from the synopses.
std::vector<HelpOption> helpOptions(const HelpText& help);

// The words a synopsis takes after the command that are neither options nor values
// ("check" in "gaugely appcast check FILE").
std::vector<std::string> helpSubcommands(const HelpText& help, std::string_view command);

// The help of the whole tool and of each command, for the documents.
struct ToolHelp {
    HelpText tool;
    struct CommandHelp {
        std::string name;
        std::string summary;
        HelpText help;
    };
    std::vector<CommandHelp> commands;
};

// The manual page in mdoc. `date` is its date line's text ("November 23, 2026").
std::string manualPage(const ToolHelp& help, std::string_view date);

enum class CompletionShell { bash, zsh, fish };
std::string completionScript(const ToolHelp& help, CompletionShell shell);

}  // namespace gaugely::tool
