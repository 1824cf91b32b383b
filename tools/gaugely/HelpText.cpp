#include "tools/gaugely/HelpText.h"

#include <algorithm>
#include <cctype>

namespace gaugely::tool {
namespace {

std::size_t indentation(std::string_view line) {
    const std::size_t first = line.find_first_not_of(' ');
    return first == std::string_view::npos ? line.size() : first;
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

// Lines joined as one: a line broken after a "/" broke a path, which goes on unbroken.
void appendWords(std::string& text, std::string_view more) {
    const std::string words = trimmed(more);
    if (words.empty()) {
        return;
    }
    if (!text.empty() && !text.ends_with('/')) {
        text += ' ';
    }
    text += words;
}

std::vector<std::string> splitWords(std::string_view text, char separator) {
    std::vector<std::string> words;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        if (end > start) {
            words.emplace_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return words;
}

HelpBlock listBlock(const std::vector<std::string_view>& lines, std::string heading) {
    HelpBlock block;
    block.heading = std::move(heading);
    for (const std::string_view line : lines) {
        if (indentation(line) == 2 || block.entries.empty()) {
            // A term ends where two spaces part it from its text.
            const std::string_view rest = line.substr(indentation(line));
            const std::size_t gap = rest.find("  ");
            HelpEntry entry;
            entry.term = trimmed(rest.substr(0, gap));
            if (gap != std::string_view::npos) {
                appendWords(entry.text, rest.substr(gap));
            }
            block.entries.push_back(std::move(entry));
        } else {
            appendWords(block.entries.back().text, line);
        }
    }
    return block;
}

void addBlocks(HelpText& help, const std::vector<std::string_view>& lines) {
    if (lines.empty()) {
        return;
    }
    const std::string_view first = lines.front();
    const bool headed = indentation(first) == 0 && first.ends_with(':') && lines.size() > 1;
    const auto body = std::vector<std::string_view>(lines.begin() + (headed ? 1 : 0), lines.end());
    const bool list = std::all_of(body.begin(), body.end(),
                                  [](std::string_view line) { return indentation(line) >= 2; });
    if (list) {
        help.blocks.push_back(
            listBlock(body, headed ? std::string(first.substr(0, first.size() - 1)) : ""));
        return;
    }
    HelpBlock paragraph;
    for (const std::string_view line : lines) {
        if (line.starts_with("Exit status:") && !paragraph.prose.empty()) {
            help.blocks.push_back(std::move(paragraph));
            paragraph = HelpBlock{};
        }
        appendWords(paragraph.prose, line);
    }
    help.blocks.push_back(std::move(paragraph));
}

bool isOptionWord(std::string_view word) {
    return word.size() > 1 && word.front() == '-' && word != "--";
}

}  // namespace

HelpText parseHelpText(std::string_view text) {
    HelpText help;
    std::vector<std::string_view> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    std::size_t index = 0;
    while (index < lines.size() && lines[index].starts_with("Usage: ")) {
        std::string synopsis = trimmed(lines[index].substr(7));
        for (++index; index < lines.size() && indentation(lines[index]) > 0 &&
                      !trimmed(lines[index]).empty();
             ++index) {
            appendWords(synopsis, lines[index]);
        }
        help.synopses.push_back(std::move(synopsis));
    }
    std::vector<std::string_view> block;
    for (; index < lines.size(); ++index) {
        if (trimmed(lines[index]).empty()) {
            addBlocks(help, block);
            block.clear();
        } else {
            block.push_back(lines[index]);
        }
    }
    addBlocks(help, block);
    return help;
}

std::vector<HelpOption> helpOptions(const HelpText& help) {
    // The values a synopsis lists for an option: "--plan freeGo|plus|pro".
    std::vector<std::pair<std::string, std::vector<std::string>>> synopsisChoices;
    for (const std::string& synopsis : help.synopses) {
        std::string cleaned = synopsis;
        std::replace(cleaned.begin(), cleaned.end(), '[', ' ');
        std::replace(cleaned.begin(), cleaned.end(), ']', ' ');
        const std::vector<std::string> words = splitWords(cleaned, ' ');
        for (std::size_t i = 0; i + 1 < words.size(); ++i) {
            if (isOptionWord(words[i]) && words[i + 1].find('|') != std::string::npos) {
                synopsisChoices.emplace_back(words[i], splitWords(words[i + 1], '|'));
            }
        }
    }
    std::vector<HelpOption> options;
    for (const HelpBlock& block : help.blocks) {
        for (const HelpEntry& entry : block.entries) {
            if (!isOptionWord(entry.term)) {
                continue;
            }
            HelpOption option;
            for (const std::string& alternative : splitWords(entry.term, ',')) {
                const std::vector<std::string> words = splitWords(alternative, ' ');
                option.names.push_back(words.front());
                if (words.size() > 1) {
                    option.valueName = words[1];
                }
            }
            if (option.valueName.find('|') != std::string::npos) {
                option.choices = splitWords(option.valueName, '|');
            }
            for (const auto& [name, choices] : synopsisChoices) {
                if (name == option.names.back() && option.choices.size() < choices.size()) {
                    option.choices = choices;
                }
            }
            option.text = entry.text;
            const auto same = std::find_if(options.begin(), options.end(), [&](const auto& known) {
                return known.names == option.names;
            });
            if (same == options.end()) {
                options.push_back(std::move(option));
            } else {
                for (const std::string& choice : option.choices) {
                    if (std::find(same->choices.begin(), same->choices.end(), choice) ==
                        same->choices.end()) {
                        same->choices.push_back(choice);
                    }
                }
            }
        }
    }
    return options;
}

std::vector<std::string> helpSubcommands(const HelpText& help, std::string_view command) {
    std::vector<std::string> words;
    for (const std::string& synopsis : help.synopses) {
        const std::vector<std::string> parts = splitWords(synopsis, ' ');
        // "gaugely <command> …": the words after the command, up to the first that is not a
        // plain lower-case word.
        for (std::size_t i = 2; i < parts.size() && parts[1] == command; ++i) {
            const std::string& word = parts[i];
            if (word.empty() || !std::islower(static_cast<unsigned char>(word.front())) ||
                word.find_first_of("[<|.") != std::string::npos) {
                break;
            }
            words.push_back(word);
        }
    }
    return words;
}

}  // namespace gaugely::tool
