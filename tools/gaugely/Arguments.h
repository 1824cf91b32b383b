#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/gaugely/Command.h"

namespace gaugely::tool {

// The options a command knows. `-h` always means `--help`.
struct OptionShape {
    std::string_view name;  // "--plan"
    bool takesValue = false;
};

// One argument as given: an option with its value (if it takes one), or a word that is not an
// option (`name` empty, the word in `value`).
struct Argument {
    std::string name;
    std::optional<std::string> value;

    bool isPositional() const { return name.empty(); }
};

// Reads arguments the way command-line users expect: `--option value` and `--option=value` alike,
// `--` ends the options, and every later word is positional. The text is the problem, in one line,
// when the arguments are wrong.
[[nodiscard]] std::variant<std::vector<Argument>, std::string> readArguments(
    const std::vector<std::string>& arguments, std::span<const OptionShape> shapes);

// "gaugely <command>: <problem>" and the hint to its help on standard error; the usage exit status.
int usageError(CommandStreams streams, std::string_view command, std::string_view problem);

// A number above zero written in full ("2", "0.5"); none for anything else.
std::optional<double> positiveNumber(std::string_view text);

}  // namespace gaugely::tool
