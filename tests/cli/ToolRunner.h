#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace gaugely::tooltest {

namespace fs = std::filesystem;

struct ToolResult {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void writeFile(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline bool contains(std::string_view text, std::string_view piece) {
    return text.find(piece) != std::string_view::npos;
}

inline std::string shellQuoted(const std::string& argument) {
    std::string result = "'";
    for (const char c : argument) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

// A shell command line running `tool` in a fixed time zone and locale, so its times of day read
// the same everywhere; `environment` is added ("NAME=value …").
inline std::string toolCommand(const std::string& tool, const std::vector<std::string>& arguments,
                               const std::string& environment) {
    std::string command = "env TZ=UTC LC_ALL=C " + environment + " " + shellQuoted(tool);
    for (const std::string& argument : arguments) {
        command += " " + shellQuoted(argument);
    }
    return command;
}

// A usage line as Codex appends it at 14:`minute` (after a line the writer may have left
// unfinished): the 5-hour window `used` percent, resetting at `resetsAt` (in an hour unless
// given), the weekly window 61% a day after.
inline std::string appendedUsageLine(int minute, int used, long long resetsAt = 0) {
    resetsAt = resetsAt != 0 ? resetsAt : std::time(nullptr) + 3600;
    return "\n{\"timestamp\":\"2026-11-21T14:" + std::to_string(minute) +
           ":00Z\",\"type\":\"event_msg\",\"payload\":{\"type\":\"token_count\",\"rate_limits\":{"
           "\"primary\":{\"used_percent\":" +
           std::to_string(used) +
           ",\"window_minutes\":300,\"resets_at\":" + std::to_string(resetsAt) +
           "},\"secondary\":{\"used_percent\":61,\"window_minutes\":10080,\"resets_at\":" +
           std::to_string(resetsAt + 86'400) + "}}}}\n";
}

// The tool running in the background, its output in `folder`'s files, for the tests that watch
// it live: they wait for what they expect (up to a generous limit; nothing is timed) and stop it
// as a user or a service manager would. Killed at the end whatever happened on the way.
class BackgroundTool {
  public:
    BackgroundTool(fs::path folder, const std::string& tool,
                   const std::vector<std::string>& arguments, const std::string& environment = "")
        : folder_(std::move(folder)) {
        const std::string command = "echo $$ > " + shellQuoted((folder_ / "pid").string()) +
                                    "; exec " + toolCommand(tool, arguments, environment) + " >" +
                                    shellQuoted((folder_ / "out").string()) + " 2>" +
                                    shellQuoted((folder_ / "err").string());
        started_ = std::system(("sh -c " + shellQuoted(command) + " &").c_str()) == 0;
    }
    ~BackgroundTool() {
        if (const pid_t pid = this->pid(); pid > 0) {
            ::kill(pid, SIGKILL);
        }
    }

    bool started() const { return started_; }
    std::string out() const { return readFile(folder_ / "out"); }
    std::string err() const { return readFile(folder_ / "err"); }

    // Whether `text` shows on standard output or error.
    bool waitFor(const std::string& text) const {
        for (int i = 0; i < 400; ++i) {
            if ((out() + err()).find(text) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

    // Sends `signal`; whether the tool ended within five seconds.
    bool stop(int signal) {
        const pid_t pid = this->pid();
        if (pid <= 0) {
            return false;
        }
        ::kill(pid, signal);
        for (int i = 0; i < 100 && ::kill(pid, 0) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        const bool ended = ::kill(pid, 0) != 0;
        if (ended) {
            fs::remove(folder_ / "pid");
        }
        return ended;
    }

  private:
    pid_t pid() const {
        const std::string pid = readFile(folder_ / "pid");
        return pid.empty() ? -1 : std::stoi(pid);
    }

    fs::path folder_;
    bool started_ = false;
};

// A scratch folder per test, and runs of the built tool.
class ToolTest : public ::testing::Test {
  protected:
    void SetUp() override {
        directory_ = fs::temp_directory_path() /
                     ("gaugely-tool-" + std::to_string(::getpid()) + "-" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }

    fs::path path(const std::string& name) const { return directory_ / name; }

    // The sample Codex home of a Plus user copied to "codex"; its session file, to append to.
    fs::path copyOfThePlusSample() const {
        fs::remove_all(path("codex"));
        fs::copy(fs::path(GAUGELY_SOURCE_PATH) / "tests/fixtures/codex-logs/plus", path("codex"),
                 fs::copy_options::recursive);
        return path("codex/sessions/2026/11/21/rollout-2026-11-21T13-40-00-0199b311-sample.jsonl");
    }

    // `environment` is added to the tool's ("NAME=value …"); `workingDirectory` is where it runs.
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "",
                   const std::string& environment = "",
                   const std::optional<fs::path>& workingDirectory = std::nullopt) {
        return shell(
            (workingDirectory ? "cd " + shellQuoted(workingDirectory->string()) + " && " : "") +
                toolCommand(GAUGELY_TOOL_PATH, arguments, environment),
            input);
    }

    // A shell command run as the tool is, `input` on its standard input.
    ToolResult shell(const std::string& command, const std::string& input = "") {
        writeFile(path("stdin"), input);
        const int raw =
            std::system(("(" + command + ") <" + shellQuoted(path("stdin")) + " >" +
                         shellQuoted(path("stdout")) + " 2>" + shellQuoted(path("stderr")))
                            .c_str());
        return ToolResult{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(path("stdout")),
                          readFile(path("stderr"))};
    }

    fs::path directory_;
};

}  // namespace gaugely::tooltest
