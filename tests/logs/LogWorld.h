#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Reader/CodexLogFollower.h"
#include "Meterlane/Simulation/FakeFileSystem.h"

namespace gaugely::logs {

inline const std::string home = "/home/ada/.codex";
inline const std::string day = home + "/sessions/2026/11/21";

// A usage line of a session log; `n` tells one from another.
inline std::string usageLine(int n) {
    return R"({"timestamp":"2026-11-21T09:00:00Z","type":"event_msg","payload":{"type":"token_count","n":)" +
           std::to_string(n) + "}}\n";
}

// A line of conversation, `bytes` long with its newline.
inline std::string conversation(std::size_t bytes) {
    const std::string head = R"({"type":"response_item","payload":{"text":")";
    const std::string foot = "\"}}\n";
    return head + std::string(bytes - head.size() - foot.size(), 'a') + foot;
}

inline std::string conversationOf(std::size_t total) {
    std::string text;
    while (text.size() + 2048 <= total) {
        text += conversation(1024);
    }
    return text;
}

inline Date at(double seconds) {
    return Date{816944400.0 + seconds};
}

// A fake tree, a follower over it, and the lines it handed over.
struct LogWorld {
    explicit LogWorld(CodexLogFollowerLimits limits = {})
        : follower(
              files, home,
              [this](std::string_view line, std::optional<Date>) {
                  lines.emplace_back(line);
                  return CodexLogFollower::LineVerdict{
                      accepts, accepts ? settledAsOf : std::optional<Date>()};
              },
              limits) {}

    FakeFileSystem files;
    std::vector<std::string> lines;
    // Whether each line is taken; a taken line settles the readings as of `settledAsOf` (by
    // default after every file's time, so no other file is searched).
    bool accepts = true;
    std::optional<Date> settledAsOf = at(1e6);
    CodexLogFollower follower;

    // The lines handed over since the last call, as the `n` of each usage line (-1 otherwise).
    std::vector<int> taken() {
        std::vector<int> numbers;
        for (const auto& line : lines) {
            const auto at = line.find("\"n\":");
            numbers.push_back(at == std::string::npos ? -1 : std::stoi(line.substr(at + 4)));
        }
        lines.clear();
        return numbers;
    }
};

}  // namespace gaugely::logs
