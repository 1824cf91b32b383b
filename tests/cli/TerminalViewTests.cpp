#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

// Runs the tool with a terminal as its standard output, as a person at a terminal does, and
// returns everything it drew.
std::string runOnTerminal(const std::vector<std::string>& arguments,
                          const std::vector<std::pair<std::string, std::string>>& environment) {
    int master = -1;
    winsize size{};
    size.ws_col = 100;
    size.ws_row = 40;
    const pid_t child = ::forkpty(&master, nullptr, nullptr, &size);
    if (child == 0) {
        ::unsetenv("NO_COLOR");
        ::setenv("TZ", "UTC", 1);
        ::setenv("LC_ALL", "C", 1);
        for (const auto& [name, value] : environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        std::vector<char*> argv{const_cast<char*>(GAUGELY_TOOL_PATH)};
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        ::execv(GAUGELY_TOOL_PATH, argv.data());
        ::_exit(127);
    }
    std::string output;
    char buffer[4096];
    while (true) {
        const ssize_t got = ::read(master, buffer, sizeof buffer);
        if (got > 0) {
            output.append(buffer, static_cast<std::size_t>(got));
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else {
            break;  // EIO once the child has closed its side
        }
    }
    ::close(master);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output;
    return output;
}

using TerminalView = ToolTest;

bool has(const std::string& text, std::string_view piece) {
    return text.find(piece) != std::string::npos;
}

TEST_F(TerminalView, TellsTheStoryAndHonoursTheTerminalsLimits) {
    const struct {
        const char* name;
        std::vector<std::pair<std::string, std::string>> environment;
        bool verbose;
        bool redraws, colours, stages;
    } cases[] = {
        {"a capable terminal", {{"TERM", "xterm-256color"}}, false, true, true, false},
        {"--verbose adds the trace", {{"TERM", "xterm-256color"}}, true, true, true, true},
        {"NO_COLOR", {{"TERM", "xterm-256color"}, {"NO_COLOR", "1"}}, false, true, false, false},
        // An empty NO_COLOR asks for nothing.
        {"empty NO_COLOR", {{"TERM", "xterm"}, {"NO_COLOR", ""}}, false, true, true, false},
        // A terminal that cannot move its cursor gets the piped form, every line of it.
        {"TERM=dumb", {{"TERM", "dumb"}}, false, false, false, true},
    };
    for (const auto& c : cases) {
        fs::remove(path("defaults.json"));
        std::vector<std::string> arguments = {
            "simulate", "--scenario", "manual",
            "--plan",   "plus",       "--speed",
            "200",      "--defaults", path("defaults.json").string()};
        if (c.verbose) {
            arguments.push_back("--verbose");
        }
        const std::string out = runOnTerminal(arguments, c.environment);
        EXPECT_EQ(has(out, "\x1b[K"), c.redraws) << c.name;
        EXPECT_EQ(has(out, "\x1b[36m\u25B8 You click the refresh item."), c.colours) << c.name;
        EXPECT_EQ(has(out, "manual: profile control found at"), c.stages) << c.name;
        // What the user did and how the run ended always show.
        EXPECT_TRUE(has(out, "You click the refresh item.")) << c.name;
        EXPECT_TRUE(has(out, "manual: final outcome success \u2014 snapshot committed")) << c.name;
    }
}

}  // namespace
}  // namespace gaugely::tooltest
