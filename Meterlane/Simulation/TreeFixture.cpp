// Reading trees written as indented text (see SimulatedTree::fromFixture).

#include <cctype>
#include <charconv>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Simulation/SimulatedTree.h"

namespace gaugely {

namespace {

struct Token {
    std::string key;
    std::string value;
    bool quoted = false;
};

// Splits one line's attributes into key=value tokens; quoted values may hold blanks.
bool tokenize(std::string_view text, std::vector<Token>& tokens, std::string& error) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        Token token;
        while (i < text.size() && text[i] != '=' && text[i] != ' ') {
            token.key += text[i++];
        }
        if (i >= text.size() || text[i] != '=' || token.key.empty()) {
            error = "expected key=value, got '" + token.key + "'";
            return false;
        }
        ++i;
        if (i < text.size() && text[i] == '"') {
            token.quoted = true;
            ++i;
            bool closed = false;
            while (i < text.size()) {
                const char c = text[i++];
                if (c == '"') {
                    closed = true;
                    break;
                }
                if (c == '\\' && i < text.size()) {
                    const char escaped = text[i++];
                    token.value += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
                } else {
                    token.value += c;
                }
            }
            if (!closed) {
                error = "unterminated quoted value of '" + token.key + "'";
                return false;
            }
        } else {
            while (i < text.size() && text[i] != ' ') {
                token.value += text[i++];
            }
        }
        tokens.push_back(std::move(token));
    }
    return true;
}

std::optional<int32_t> integer(std::string_view text) {
    int32_t value = 0;
    const auto* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::vector<std::string> commaSeparated(std::string_view text) {
    std::vector<std::string> parts;
    if (text.empty()) {
        return parts;
    }
    std::size_t start = 0;
    while (true) {
        const auto comma = text.find(',', start);
        parts.emplace_back(text.substr(start, comma - start));
        if (comma == std::string_view::npos) {
            return parts;
        }
        start = comma + 1;
    }
}

std::optional<std::vector<double>> numbers(std::string_view text, std::size_t count) {
    std::vector<double> values;
    for (const auto& part : commaSeparated(text)) {
        const auto value = text::decimalNumber(part);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    if (values.size() != count) {
        return std::nullopt;
    }
    return values;
}

// `title` is AXTitle, `roleDescription` AXRoleDescription; names starting with AX are kept.
std::string attributeName(std::string_view key) {
    if (key.substr(0, 2) == "AX") {
        return std::string(key);
    }
    std::string name = "AX";
    name += static_cast<char>(std::toupper(static_cast<unsigned char>(key[0])));
    name += key.substr(1);
    return name;
}

bool apply(SimulatedTree& tree, NodeId node, const Token& token, std::string& error) {
    constexpr std::string_view errorSuffix = "-error";
    const std::string_view key = token.key;
    if (key.size() > errorSuffix.size() && key.ends_with(errorSuffix)) {
        const auto base = key.substr(0, key.size() - errorSuffix.size());
        const auto code = integer(token.value);
        if (!code) {
            error = "'" + token.key + "' needs an integer error code";
            return false;
        }
        if (base == "actions") {
            tree.setActionsError(node, *code);
        } else if (base == "frame") {
            tree.setError(node, ax::position, *code);
            tree.setError(node, ax::size, *code);
        } else {
            tree.setError(node, attributeName(base), *code);
        }
        return true;
    }
    if (key == "frame") {
        const auto values = numbers(token.value, 4);
        if (!values) {
            error = "frame needs x,y,width,height";
            return false;
        }
        tree.setFrame(node, Rect{{(*values)[0], (*values)[1]}, {(*values)[2], (*values)[3]}});
        return true;
    }
    if (key == "actions") {
        tree.setActions(node, commaSeparated(token.value));
        return true;
    }
    const std::string name = attributeName(key);
    if (name == ax::role || name == ax::children || name == ax::parent) {
        error = "'" + token.key + "' follows from the structure";
        return false;
    }
    if (name == ax::position || name == ax::size) {
        const auto values = numbers(token.value, 2);
        if (!values) {
            error = "'" + token.key + "' needs two numbers";
            return false;
        }
        if (name == ax::position) {
            tree.set(node, name, Point{(*values)[0], (*values)[1]});
        } else {
            tree.set(node, name, Size{(*values)[0], (*values)[1]});
        }
        return true;
    }
    if (token.quoted) {
        tree.set(node, name, token.value);
    } else if (token.value == "true" || token.value == "false") {
        tree.set(node, name, token.value == "true");
    } else if (const auto value = text::decimalNumber(token.value)) {
        tree.set(node, name, *value);
    } else {
        tree.set(node, name, token.value);
    }
    return true;
}

}  // namespace

std::optional<SimulatedTree> SimulatedTree::fromFixture(std::string_view text, std::string* error) {
    std::optional<SimulatedTree> tree;
    std::vector<NodeId> path;      // the open element at each depth
    std::vector<NodeId> declared;  // in declaration order, for @N
    std::string why;
    int lineNumber = 0;

    auto fail = [&]() -> std::optional<SimulatedTree> {
        if (error) {
            *error = "line " + std::to_string(lineNumber) + ": " + why;
        }
        return std::nullopt;
    };

    std::size_t start = 0;
    while (start <= text.size()) {
        const auto newline = text.find('\n', start);
        std::string_view line = text.substr(start, newline - start);
        start = newline == std::string_view::npos ? text.size() + 1 : newline + 1;
        ++lineNumber;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }

        const auto indent = line.find_first_not_of(' ');
        if (indent == std::string_view::npos || line[indent] == '#') {
            continue;
        }
        if (line[indent] == '\t') {
            why = "indent with spaces, not tabs";
            return fail();
        }
        if (indent % 2 != 0) {
            why = "indentation must be a multiple of two spaces";
            return fail();
        }
        const std::size_t depth = indent / 2;
        if (!tree ? depth != 0 : (depth == 0 || depth > path.size())) {
            why = !tree        ? "the first element must not be indented"
                  : depth == 0 ? "only one root element is allowed"
                               : "indented deeper than the line above allows";
            return fail();
        }
        path.resize(depth);
        const std::string_view content = line.substr(indent);

        if (content.front() == '@') {
            const auto target = integer(content.substr(1));
            if (!target || *target < 1 || static_cast<std::size_t>(*target) > declared.size()) {
                why = "'" + std::string(content) + "' names no element declared so far";
                return fail();
            }
            tree->link(path.back(), declared[static_cast<std::size_t>(*target) - 1]);
            continue;
        }

        const auto roleEnd = content.find(' ');
        const auto role = content.substr(0, roleEnd);
        if (role.find('=') != std::string_view::npos) {
            why = "a line starts with the element's role";
            return fail();
        }
        std::vector<Token> tokens;
        if (roleEnd != std::string_view::npos &&
            !tokenize(content.substr(roleEnd + 1), tokens, why)) {
            return fail();
        }

        NodeId node = 0;
        if (!tree) {
            tree.emplace(role);
            node = tree->root();
        } else {
            node = tree->add(path.back(), role);
        }
        for (const auto& token : tokens) {
            if (!apply(*tree, node, token, why)) {
                return fail();
            }
        }
        path.push_back(node);
        declared.push_back(node);
    }
    if (!tree) {
        why = "no elements";
        return fail();
    }
    return tree;
}

}  // namespace gaugely
