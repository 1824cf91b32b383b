// The bash, zsh and fish completions, made from the help texts (HelpText.h): every command and
// option the help lists, the values a synopsis lists ("--plan freeGo|plus|pro"), folders for a
// DIR, files for a FILE.
#include <algorithm>

#include "tools/gaugely/HelpText.h"

namespace gaugely::tool {
namespace {

enum class ValueKind { none, free, choices, file, folder };

ValueKind valueKind(const HelpOption& option) {
    if (!option.choices.empty()) {
        return ValueKind::choices;
    }
    if (option.valueName.empty()) {
        return ValueKind::none;
    }
    if (option.valueName == "FILE") {
        return ValueKind::file;
    }
    return option.valueName == "DIR" ? ValueKind::folder : ValueKind::free;
}

std::string joined(const std::vector<std::string>& words, std::string_view separator = " ") {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : std::string(separator)) + word;
    }
    return text;
}

// What a command completes: its options, and the words its synopsis takes first.
struct CompletedCommand {
    std::string name;
    std::string summary;
    std::vector<HelpOption> options;
    std::vector<std::string> words;
};

std::vector<CompletedCommand> completedCommands(const ToolHelp& help) {
    std::vector<CompletedCommand> commands;
    for (const auto& command : help.commands) {
        commands.push_back({command.name, command.summary, helpOptions(command.help),
                            helpSubcommands(command.help, command.name)});
    }
    return commands;
}

std::vector<std::string> optionNames(const std::vector<HelpOption>& options) {
    std::vector<std::string> names;
    for (const HelpOption& option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

// A description short enough for a menu: up to the first ";" or " (".
std::string shortText(std::string_view text) {
    const std::size_t end = std::min(text.find("; "), text.find(" ("));
    return std::string(text.substr(0, end));
}

std::string singleQuoted(std::string_view text, std::string_view quote) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string(quote) : std::string(1, c);
    }
    return quoted + "'";
}

// bash: `complete -F`; the value of the option before the cursor, else the command's words.
std::string bashCase(const std::vector<HelpOption>& options, std::string_view indent) {
    std::string text;
    for (const HelpOption& option : options) {
        const std::string pattern = joined(option.names, "|");
        switch (valueKind(option)) {
            case ValueKind::none:
                break;
            case ValueKind::free:
                text += std::string(indent) + pattern + ") return ;;\n";
                break;
            case ValueKind::choices:
                text += std::string(indent) + pattern + ") COMPREPLY=($(compgen -W \"" +
                        joined(option.choices) + "\" -- \"$cur\")); return ;;\n";
                break;
            case ValueKind::file:
                text += std::string(indent) + pattern +
                        ") compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "
                        "\"$cur\")); return ;;\n";
                break;
            case ValueKind::folder:
                text += std::string(indent) + pattern +
                        ") compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- "
                        "\"$cur\")); return ;;\n";
                break;
        }
    }
    return text;
}

std::string bashScript(const ToolHelp& help) {
    const std::vector<CompletedCommand> commands = completedCommands(help);
    const std::vector<HelpOption> toolOptions = helpOptions(help.tool);
    std::vector<std::string> first;
    for (const auto& command : commands) {
        first.push_back(command.name);
    }
    const std::vector<std::string> toolNames = optionNames(toolOptions);
    first.insert(first.end(), toolNames.begin(), toolNames.end());

    std::string script =
        "# bash completion for gaugely, made by `gaugely --completion bash` from its help texts.\n"
        "_gaugely() {\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} words=\n"
        "    if ((COMP_CWORD == 1)); then\n"
        "        words=\"" +
        joined(first) +
        "\"\n"
        "    elif ((COMP_CWORD == 2)) && [[ ${COMP_WORDS[1]} == -* ]]; then\n"
        "        case $prev in\n" +
        bashCase(toolOptions, "            ") +
        "        esac\n"
        "        return\n"
        "    else\n"
        "        case ${COMP_WORDS[1]} in\n";
    for (const auto& command : commands) {
        script += "            " + command.name + ")\n                case $prev in\n" +
                  bashCase(command.options, "                    ") + "                esac\n";
        std::vector<std::string> words = optionNames(command.options);
        if (!command.words.empty()) {
            script +=
                "                ((COMP_CWORD == 2)) && words=\"" + joined(command.words) + " \"\n";
        }
        script += "                words+=\"" + joined(words) + "\" ;;\n";
    }
    script +=
        "        esac\n"
        "    fi\n"
        "    COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
        "}\n"
        "complete -F _gaugely gaugely\n";
    return script;
}

// zsh: one _arguments specification an option name.
std::string zshEscaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string zshSpecifications(const std::vector<HelpOption>& options, std::string_view indent) {
    std::string text;
    for (const HelpOption& option : options) {
        std::string action;
        switch (valueKind(option)) {
            case ValueKind::none:
                break;
            case ValueKind::free:
                action = ":" + zshEscaped(option.valueName) + ": ";
                break;
            case ValueKind::choices:
                action = ":" + zshEscaped(option.valueName) + ":(" + joined(option.choices) + ")";
                break;
            case ValueKind::file:
                action = ":file:_files";
                break;
            case ValueKind::folder:
                action = ":folder:_files -/";
                break;
        }
        for (const std::string& name : option.names) {
            text += std::string(indent) +
                    singleQuoted(name + "[" + zshEscaped(shortText(option.text)) + "]" + action,
                                 "'\\''") +
                    " \\\n";
        }
    }
    return text;
}

std::string zshScript(const ToolHelp& help) {
    const std::vector<CompletedCommand> commands = completedCommands(help);
    const std::vector<HelpOption> toolOptions = helpOptions(help.tool);
    std::string script =
        "#compdef gaugely\n"
        "# zsh completion for gaugely, made by `gaugely --completion zsh` from its help texts.\n"
        "_gaugely() {\n"
        "    local -a commands\n"
        "    commands=(\n";
    for (const auto& command : commands) {
        script += "        " + singleQuoted(command.name + ":" + command.summary, "'\\''") + "\n";
    }
    script +=
        "    )\n"
        "    if ((CURRENT == 2)) && [[ $words[2] != -* ]]; then\n"
        "        _describe -t commands 'gaugely command' commands\n"
        "        return\n"
        "    fi\n"
        "    local command=$words[2]\n"
        "    if [[ $command == -* ]]; then\n"
        "        _arguments \\\n" +
        zshSpecifications(toolOptions, "            ") +
        "            && return\n"
        "        return 1\n"
        "    fi\n"
        "    shift words\n"
        "    ((CURRENT--))\n"
        "    case $command in\n";
    for (const auto& command : commands) {
        script += "        " + command.name + ")\n            _arguments \\\n" +
                  zshSpecifications(command.options, "                ");
        if (!command.words.empty()) {
            script += "                '1:word:(" + joined(command.words) + ")' \\\n";
        }
        script += "                && return ;;\n";
    }
    script +=
        "    esac\n"
        "    return 1\n"
        "}\n"
        "_gaugely \"$@\"\n";
    return script;
}

// fish: one `complete` line an option, each limited to its command.
std::string fishOption(const HelpOption& option, std::string_view condition) {
    std::string line = "complete -c gaugely -n " + std::string(condition);
    for (const std::string& name : option.names) {
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    switch (valueKind(option)) {
        case ValueKind::none:
            break;
        case ValueKind::free:
            line += " -x";
            break;
        case ValueKind::choices:
            line += " -x -a " + singleQuoted(joined(option.choices), "\\'");
            break;
        case ValueKind::file:
            line += " -r -F";
            break;
        case ValueKind::folder:
            line += " -x -a '(__fish_complete_directories)'";
            break;
    }
    return line + " -d " + singleQuoted(shortText(option.text), "\\'") + "\n";
}

std::string fishScript(const ToolHelp& help) {
    std::string script =
        "# fish completion for gaugely, made by `gaugely --completion fish` from its help texts.\n"
        "complete -c gaugely -f\n";
    for (const auto& command : completedCommands(help)) {
        script += "complete -c gaugely -n __fish_use_subcommand -a " + command.name + " -d " +
                  singleQuoted(command.summary, "\\'") + "\n";
    }
    for (const HelpOption& option : helpOptions(help.tool)) {
        script += fishOption(option, "__fish_use_subcommand");
    }
    for (const auto& command : completedCommands(help)) {
        const std::string condition = "'__fish_seen_subcommand_from " + command.name + "'";
        for (const std::string& word : command.words) {
            script += "complete -c gaugely -n " + condition + " -a " + word + "\n";
        }
        for (const HelpOption& option : command.options) {
            script += fishOption(option, condition);
        }
    }
    return script;
}

}  // namespace

std::string completionScript(const ToolHelp& help, CompletionShell shell) {
    switch (shell) {
        case CompletionShell::bash:
            return bashScript(help);
        case CompletionShell::zsh:
            return zshScript(help);
        case CompletionShell::fish:
            return fishScript(help);
    }
    return {};
}

}  // namespace gaugely::tool
