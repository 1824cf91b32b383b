#include "tools/gaugely/Arguments.h"

#include <cmath>
#include <ostream>

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely::tool {

std::variant<std::vector<Argument>, std::string> readArguments(
    const std::vector<std::string>& arguments, std::span<const OptionShape> shapes) {
    std::vector<Argument> result;
    bool optionsEnded = false;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& word = arguments[index];
        if (optionsEnded || word.size() < 2 || word.front() != '-') {
            result.push_back({"", word});
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        if (word == "-h" || word == "--help") {
            result.push_back({"--help", std::nullopt});
            continue;
        }
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const OptionShape* shape = nullptr;
        for (const OptionShape& candidate : shapes) {
            if (candidate.name == name) {
                shape = &candidate;
            }
        }
        if (shape == nullptr) {
            return "unknown option \"" + name + "\"";
        }
        if (!shape->takesValue) {
            if (equals != std::string::npos) {
                return name + " takes no value";
            }
            result.push_back({name, std::nullopt});
            continue;
        }
        if (equals != std::string::npos) {
            result.push_back({name, word.substr(equals + 1)});
            continue;
        }
        if (index + 1 == arguments.size()) {
            return name + " needs a value";
        }
        result.push_back({name, arguments[++index]});
    }
    return result;
}

int usageError(CommandStreams streams, std::string_view command, std::string_view problem) {
    streams.err << "gaugely " << command << ": " << problem << "\n"
                << "Try 'gaugely " << command << " --help'.\n";
    return exitUsage;
}

std::optional<double> positiveNumber(std::string_view text) {
    const std::optional<double> value = text::decimalNumber(text);
    if (!value || !std::isfinite(*value) || !(*value > 0)) {
        return std::nullopt;
    }
    return value;
}

}  // namespace gaugely::tool
