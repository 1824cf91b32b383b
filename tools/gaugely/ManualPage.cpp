// The manual page, gaugely.1, in mdoc: made from the help texts (HelpText.h), so it says exactly
// what `gaugely --help` and each `gaugely <command> --help` say.
#include <cctype>
#include <cstdint>
#include <cstdio>

#include "ProductFacts.h"
#include "tools/gaugely/HelpText.h"

namespace gaugely::tool {
namespace {

// UTF-8 text as roff reads it: backslashes written out, every character beyond ASCII by its
// code point, so no formatter's idea of the input encoding matters.
std::string roffText(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            out += byte == '\\' ? std::string("\\e") : std::string(1, static_cast<char>(byte));
            ++i;
            continue;
        }
        const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        uint32_t codePoint = byte & (0x7F >> length);
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k) {
            codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        char escaped[16];
        std::snprintf(escaped, sizeof escaped, "\\[u%04X]", static_cast<unsigned>(codePoint));
        out += escaped;
        i += length;
    }
    return out;
}

// Prose as text lines: one sentence a line, as mdoc asks, none read as a request.
std::string textLines(std::string_view prose) {
    std::string lines;
    std::string line;
    const auto endLine = [&] {
        if (line.starts_with('.') || line.starts_with('\'')) {
            line.insert(0, "\\&");
        }
        lines += line + "\n";
        line.clear();
    };
    for (std::size_t i = 0; i < prose.size(); ++i) {
        const bool sentenceEnds = i + 2 < prose.size() && prose[i] == '.' && prose[i + 1] == ' ' &&
                                  std::isupper(static_cast<unsigned char>(prose[i + 2]));
        line += prose[i];
        if (sentenceEnds) {
            endLine();
            ++i;
        }
    }
    if (!line.empty()) {
        endLine();
    }
    return roffText(lines);
}

// A word on a macro line that could be read as a macro's name is guarded.
std::string argument(std::string_view word) {
    std::string text = roffText(word);
    if (word.size() >= 2 && word.size() <= 3 && std::isupper(static_cast<unsigned char>(word[0])) &&
        std::islower(static_cast<unsigned char>(word[1]))) {
        text.insert(0, "\\&");
    }
    return text;
}

// One word of a synopsis or an option's term as mdoc marks it up.
std::string markedWord(std::string_view word) {
    if (word == "|") {
        return "|";
    }
    if (word.size() > 1 && word.front() == '-') {
        return "Fl " + argument(word.substr(1));
    }
    if (word.size() > 2 && word.front() == '<' && word.back() == '>') {
        return "Ar " + argument(word.substr(1, word.size() - 2));
    }
    if (word == "<") {
        return "No <";
    }
    const bool value = std::isupper(static_cast<unsigned char>(word.front())) ||
                       word.find_first_of("|.") != std::string_view::npos;
    return (value ? "Ar " : "Cm ") + argument(word);
}

std::vector<std::string> synopsisTokens(std::string_view synopsis) {
    std::vector<std::string> tokens;
    std::string word;
    const auto flush = [&] {
        if (!word.empty()) {
            tokens.push_back(word);
            word.clear();
        }
    };
    for (const char c : synopsis) {
        if (c == '[' || c == ']') {
            flush();
            tokens.emplace_back(1, c);
        } else if (c == ' ') {
            flush();
        } else {
            word += c;
        }
    }
    flush();
    return tokens;
}

// "gaugely usage [--plan freeGo|plus|pro] …" as .Nm, .Cm and one .Op per bracket.
std::string synopsisLines(std::string_view synopsis) {
    const std::vector<std::string> tokens = synopsisTokens(synopsis);
    std::string lines = ".Nm\n";
    std::string group;
    bool inGroup = false;
    for (std::size_t i = 1; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        if (token == "[") {
            inGroup = true;
            group = ".Op";
        } else if (token == "]") {
            lines += group + "\n";
            inGroup = false;
        } else if (inGroup) {
            group += " " + markedWord(token);
        } else {
            lines += "." + markedWord(token) + "\n";
        }
    }
    return lines;
}

std::string termMacros(std::string_view term, std::string_view heading) {
    if (heading == "Commands") {
        return "Cm " + argument(term);
    }
    if (heading == "Files") {
        return "Pa " + argument(term);
    }
    if (heading == "Environment") {
        return "Ev " + argument(term);
    }
    std::string macros;
    std::size_t start = 0;
    while (start < term.size()) {
        const std::size_t end = std::min(term.find(' ', start), term.size());
        std::string_view word = term.substr(start, end - start);
        std::string separator;
        if (word.ends_with(',')) {
            word.remove_suffix(1);
            separator = " ,";
        }
        if (!word.empty()) {
            macros += (macros.empty() ? "" : " ") + markedWord(word) + separator;
        }
        start = end + 1;
    }
    return macros;
}

// The blocks of one section; the first needs no paragraph break.
std::string blocksText(const std::vector<HelpBlock>& blocks) {
    std::string text;
    bool first = true;
    for (const HelpBlock& block : blocks) {
        // A list keeps its own space above it; its heading, if it shows one, is prose.
        const bool showsHeading =
            !block.heading.empty() && block.heading != "Files" && block.heading != "Environment";
        if (!first && (!block.isList() || showsHeading)) {
            text += ".Pp\n";
        }
        first = false;
        if (!block.isList()) {
            text += textLines(block.prose);
            continue;
        }
        if (showsHeading) {
            text += textLines(block.heading + ":");
        }
        text += ".Bl -tag -width Ds\n";
        for (const HelpEntry& entry : block.entries) {
            text += ".It " + termMacros(entry.term, block.heading) + "\n" + textLines(entry.text);
        }
        text += ".El\n";
    }
    return text;
}

}  // namespace

std::string manualPage(const ToolHelp& help, std::string_view date) {
    // The tool's first paragraph names it; its lists of files and of the environment make
    // sections of their own, with the prose that follows each (the files come last).
    std::string summary;
    std::vector<HelpBlock> description;
    std::vector<HelpBlock> environment;
    std::vector<HelpBlock> files;
    std::vector<HelpBlock>* section = &description;
    for (const HelpBlock& block : help.tool.blocks) {
        if (summary.empty() && !block.isList()) {
            summary = block.prose;
            continue;
        }
        if (block.isList()) {
            section = block.heading == "Environment" ? &environment
                      : block.heading == "Files"     ? &files
                                                     : &description;
        }
        section->push_back(block);
    }
    if (!summary.empty()) {
        summary[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(summary[0])));
        if (summary.ends_with('.')) {
            summary.pop_back();
        }
    }

    std::string page =
        ".\\\" Made by `gaugely --manual-page` from the tool's own help texts: edit those,\n"
        ".\\\" not this file.\n";
    page += ".Dd " + std::string(date) + "\n.Dt GAUGELY 1\n.Os " + std::string(product::name) +
            " " + std::string(product::version) + "\n";
    page += ".Sh NAME\n.Nm gaugely\n.Nd " + roffText(summary) + "\n";
    page += ".Sh SYNOPSIS\n";
    for (const std::string& synopsis : help.tool.synopses) {
        page += synopsisLines(synopsis);
    }
    for (const auto& command : help.commands) {
        for (const std::string& synopsis : command.help.synopses) {
            page += synopsisLines(synopsis);
        }
    }
    page += ".Sh DESCRIPTION\n" + blocksText(description);
    for (const auto& command : help.commands) {
        page += ".Ss gaugely " + command.name + "\n" + blocksText(command.help.blocks);
    }
    if (!environment.empty()) {
        page += ".Sh ENVIRONMENT\n" + blocksText(environment);
    }
    if (!files.empty()) {
        page += ".Sh FILES\n" + blocksText(files);
    }
    page += ".Sh SEE ALSO\n.Xr journalctl 1 ,\n.Xr systemctl 1\n";
    return page;
}

}  // namespace gaugely::tool
