#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace gaugely::tool {

// Exit statuses shared by every subcommand.
inline constexpr int exitSuccess = 0;
inline constexpr int exitNoResult = 1;  // the input was read but gave nothing
inline constexpr int exitUsage = 2;     // bad arguments

class FileLocations;

// Where a subcommand reads and writes: its streams (the tests hand in string streams) and the
// places of the files it keeps.
struct CommandStreams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    const FileLocations& files;
};

// One subcommand: `gaugely <name> <arguments...>`. `run` gets the arguments after the name and
// handles its own --help.
struct Command {
    std::string_view name;
    std::string_view summary;
    int (*run)(const std::vector<std::string>& arguments, CommandStreams streams);
};

// Subcommands, each in its own file; main.cpp lists them.
int runParseCommand(const std::vector<std::string>& arguments, CommandStreams streams);
int runSimulateCommand(const std::vector<std::string>& arguments, CommandStreams streams);
int runStateCommand(const std::vector<std::string>& arguments, CommandStreams streams);
int runAppcastCommand(const std::vector<std::string>& arguments, CommandStreams streams);
int runUsageCommand(const std::vector<std::string>& arguments, CommandStreams streams);
int runDumpTreeCommand(const std::vector<std::string>& arguments, CommandStreams streams);

}  // namespace gaugely::tool
