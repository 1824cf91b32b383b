#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
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

inline std::string shellQuoted(const std::string& argument) {
    std::string result = "'";
    for (const char c : argument) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

// A scratch folder per test, and runs of the built tool in a fixed time zone and locale so its
// times of day read the same everywhere.
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

    // `environment` is added to the tool's ("NAME=value …"); `workingDirectory` is where it runs.
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "",
                   const std::string& environment = "",
                   const std::optional<fs::path>& workingDirectory = std::nullopt) {
        std::string command =
            (workingDirectory ? "cd " + shellQuoted(workingDirectory->string()) + " && " : "") +
            "env TZ=UTC LC_ALL=C " + environment + " " + shellQuoted(GAUGELY_TOOL_PATH);
        for (const std::string& argument : arguments) {
            command += " " + shellQuoted(argument);
        }
        writeFile(path("stdin"), input);
        command += " <" + shellQuoted(path("stdin")) + " >" + shellQuoted(path("stdout")) + " 2>" +
                   shellQuoted(path("stderr"));
        const int raw = std::system(command.c_str());
        ToolResult result;
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        result.out = readFile(path("stdout"));
        result.err = readFile(path("stderr"));
        return result;
    }

    fs::path directory_;
};

}  // namespace gaugely::tooltest
