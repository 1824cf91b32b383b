#if defined(__APPLE__)
#include <util.h>
#else
#include <pty.h>
#endif
#include <sys/wait.h>
#include <unistd.h>

#include <poll.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "TerminalScreen.h"
#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

using TerminalView = ToolTest;

// The tool on a terminal of its own while the test goes on: the test waits for what it expects
// to be drawn (up to a generous limit; it never times anything), acts, and reads the rest.
class TerminalSession {
  public:
    TerminalSession(const std::vector<std::string>& arguments, unsigned short columns,
                    const std::vector<std::pair<std::string, std::string>>& environment = {
                        {"TERM", "xterm-256color"}}) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 30;
        child_ = ::forkpty(&master_, nullptr, nullptr, &size);
        if (child_ == 0) {
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
    }
    ~TerminalSession() {
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
        ::close(master_);
    }

    bool waitFor(std::string_view text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (output_.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline || !readSome(100)) {
                return output_.find(text) != std::string::npos;
            }
        }
        return true;
    }

    // Reads all the tool draws until it ends (after `signal`, if one is given); its exit status.
    int finish(int signal = 0) {
        if (signal != 0) {
            ::kill(child_, signal);
        }
        while (readSome(20'000)) {
        }
        int status = 0;
        ::waitpid(child_, &status, 0);
        child_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& output() const { return output_; }

  private:
    // False once the tool has closed its side.
    bool readSome(int milliseconds) {
        pollfd descriptor{master_, POLLIN, 0};
        if (::poll(&descriptor, 1, milliseconds) <= 0) {
            return descriptor.revents == 0;
        }
        char buffer[4096];
        const ssize_t got = ::read(master_, buffer, sizeof buffer);
        if (got <= 0) {
            return got < 0 && errno == EINTR;
        }
        output_.append(buffer, static_cast<std::size_t>(got));
        return true;
    }

    int master_ = -1;
    pid_t child_ = -1;
    std::string output_;
};

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
        TerminalSession session(arguments, 100, c.environment);
        EXPECT_EQ(session.finish(), 0) << c.name << session.output();
        const std::string& out = session.output();
        EXPECT_EQ(contains(out, "\x1b[K"), c.redraws) << c.name;
        EXPECT_EQ(contains(out, "\x1b[36m\u25B8 You click the refresh item."), c.colours) << c.name;
        EXPECT_EQ(contains(out, "manual: profile control found at"), c.stages) << c.name;
        // What the user did and how the run ended always show.
        EXPECT_TRUE(contains(out, "You click the refresh item.")) << c.name;
        EXPECT_TRUE(contains(out, "manual: final outcome success \u2014 snapshot committed"))
            << c.name;
    }
}

std::size_t occurrences(const std::vector<std::string>& lines, std::string_view piece) {
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(),
                      [&](const auto& line) { return line.find(piece) != std::string::npos; }));
}

// `gaugely usage --watch` on a terminal: a notification scrolls above the live reading and stays
// there through later redraws, on a narrow terminal (where the long lines would wrap) and a wide
// one alike.
TEST_F(TerminalView, UsageWatchKeepsNotificationsAboveTheLiveReading) {
    for (const unsigned short columns : {80, 200}) {
        fs::remove(path("usage.json"));
        const fs::path log = copyOfThePlusSample();
        TerminalSession session({"usage", "--watch", "--codex-home", path("codex").string(),
                                 "--defaults", path("usage.json").string()},
                                columns);
        ASSERT_TRUE(session.waitFor("5h 72%")) << columns << session.output();
        std::ofstream(log, std::ios::app) << appendedUsageLine(10, 85);
        ASSERT_TRUE(session.waitFor("5h usage remaining: 15%")) << columns;
        ASSERT_TRUE(session.waitFor("5h 15%")) << columns;
        std::ofstream(log, std::ios::app) << appendedUsageLine(11, 86);
        ASSERT_TRUE(session.waitFor("5h 14%")) << columns;
        EXPECT_EQ(session.finish(SIGINT), 130) << columns;

        TerminalScreen screen(columns, 30);
        screen.write(session.output());
        const std::vector<std::string> lines = screen.lines();
        std::string shown;
        for (const std::string& line : lines) {
            shown += line + "\n";
        }
        EXPECT_EQ(occurrences(lines, "Codex Usage Low: 5h usage remaining: 15%"), 1u)
            << columns << ":\n"
            << shown;
        EXPECT_EQ(occurrences(lines, "Plus \u00B7 Reading "), 1u) << columns << ":\n" << shown;
        EXPECT_EQ(occurrences(lines, " \u25D4 5h 14% \u00B7 W 39%"), 1u) << columns << ":\n"
                                                                         << shown;
        EXPECT_EQ(occurrences(lines, "72%"), 0u) << columns << ":\n" << shown;
    }
}

}  // namespace
}  // namespace gaugely::tooltest
