#if defined(__APPLE__)
#include <util.h>
#else
#include <pty.h>
#endif
#include <sys/wait.h>
#include <unistd.h>

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "ToolRunner.h"

namespace gaugely::tooltest {
namespace {

using TerminalView = ToolTest;

// What a terminal of a given size shows after the bytes a program wrote to it, for the tests
// that watch a live view: printable text with the terminal's automatic wrap at the margin,
// carriage return and line feed, scrolling off the top, and the cursor movement and erasures
// the tool uses (CSI F, J, K; colours are ignored). Rows that scroll off are kept, so the
// whole session can be read back.
class TerminalScreen {
  public:
    TerminalScreen(std::size_t columns, std::size_t rows)
        : columns_(columns), rows_(rows), screen_(rows, Row(columns)) {}

    void write(std::string_view bytes) {
        for (std::size_t i = 0; i < bytes.size();) {
            const char c = bytes[i];
            if (c == '\x1b' && i + 1 < bytes.size() && bytes[i + 1] == '[') {
                std::size_t end = i + 2;
                while (end < bytes.size() && !(bytes[end] >= 0x40 && bytes[end] <= 0x7E)) {
                    ++end;
                }
                if (end < bytes.size()) {
                    control(bytes.substr(i + 2, end - i - 2), bytes[end]);
                }
                i = end + 1;
            } else if (c == '\r') {
                column_ = 0;
                pendingWrap_ = false;
                ++i;
            } else if (c == '\n') {
                lineFeed(false);
                ++i;
            } else if (static_cast<unsigned char>(c) < 0x20) {
                ++i;
            } else {
                std::size_t length = 1;
                while (i + length < bytes.size() &&
                       (static_cast<unsigned char>(bytes[i + length]) & 0xC0) == 0x80) {
                    ++length;
                }
                put(std::string(bytes.substr(i, length)));
                i += length;
            }
        }
    }

    // Every line shown so far, scrolled off or on the screen, a wrapped line joined again, without
    // trailing blanks; the empty rows at the foot of the screen left out.
    std::vector<std::string> lines() const {
        std::vector<Row> all = history_;
        all.insert(all.end(), screen_.begin(), screen_.end());
        while (!all.empty() && text(all.back()).empty()) {
            all.pop_back();
        }
        std::vector<std::string> joined;
        for (const Row& row : all) {
            if (row.continues && !joined.empty()) {
                joined.back() += text(row);
            } else {
                joined.push_back(text(row));
            }
        }
        return joined;
    }

  private:
    struct Row {
        explicit Row(std::size_t columns) : cells(columns, " ") {}
        std::vector<std::string> cells;
        bool continues = false;  // the terminal wrapped the row above into this one
    };

    static std::string text(const Row& row) {
        std::string line;
        for (const std::string& cell : row.cells) {
            line += cell;
        }
        return line.substr(0, line.find_last_not_of(' ') + 1);
    }

    void put(std::string cell) {
        if (pendingWrap_) {
            column_ = 0;
            lineFeed(true);
        }
        screen_[row_].cells[column_] = std::move(cell);
        if (column_ + 1 == columns_) {
            pendingWrap_ = true;
        } else {
            ++column_;
        }
    }

    void lineFeed(bool wrapped) {
        pendingWrap_ = false;
        if (row_ + 1 < rows_) {
            ++row_;
        } else {
            history_.push_back(screen_.front());
            screen_.erase(screen_.begin());
            screen_.emplace_back(columns_);
        }
        screen_[row_].continues = wrapped;
    }

    void control(std::string_view parameters, char final) {
        // A count of 0 moves as 1 does, as on a terminal.
        const std::size_t count = std::max<std::size_t>(
            parameters.empty() || parameters.front() == '?' ? 1
                                                            : std::stoul(std::string(parameters)),
            1);
        pendingWrap_ = false;
        Row& row = screen_[row_];
        switch (final) {
            case 'F':
                row_ -= std::min(row_, count);
                column_ = 0;
                break;
            case 'K':
                std::fill(row.cells.begin() + static_cast<long>(column_), row.cells.end(), " ");
                break;
            case 'J':
                std::fill(row.cells.begin() + static_cast<long>(column_), row.cells.end(), " ");
                for (std::size_t below = row_ + 1; below < rows_; ++below) {
                    screen_[below] = Row(columns_);
                }
                break;
            default:
                break;  // colours and the rest change no text
        }
    }

    std::size_t columns_;
    std::size_t rows_;
    std::vector<Row> screen_;
    std::vector<Row> history_;
    std::size_t row_ = 0;
    std::size_t column_ = 0;
    bool pendingWrap_ = false;
};

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
        const auto count = [&](std::string_view piece) {
            return std::ranges::count_if(lines,
                                         [&](const auto& line) { return contains(line, piece); });
        };
        EXPECT_EQ(count("Codex Usage Low: 5h usage remaining: 15%"), 1) << columns;
        EXPECT_EQ(count("Plus \u00B7 Reading "), 1) << columns;
        EXPECT_EQ(count(" \u25D4 5h 14% \u00B7 W 39%"), 1) << columns;
        EXPECT_EQ(count("72%"), 0) << columns << ":\n" << session.output();
    }
}

}  // namespace
}  // namespace gaugely::tooltest
