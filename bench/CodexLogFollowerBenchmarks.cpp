#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Meterlane/Posix/PosixFileSystem.h"
#include "Meterlane/Reader/CodexLogFollower.h"
#include "Meterlane/Reader/CodexLogProgress.h"

// The follower over a 200 MB session log on the real disk: what a first look reads (backwards
// to the reading near the end) and what a later look reads after about 10 KB were appended. Then
// a tree of many sessions: the first look's search past 300 newer sessions that hold only their
// metadata, and a quiet look over 2,000 session files (every one statted, nothing read). Last, what
// a run of `gaugely usage` does over that tree when nothing changed since the run before: read
// back what that run kept, list and stat the tree, and read no file.

namespace gaugely {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t logSize = 200u << 20;

const char* const usageLineText =
    R"({"timestamp":"2026-11-21T09:00:00.000Z","type":"event_msg","payload":{"type":"token_count","info":null,"rate_limits":{"primary":{"used_percent":12.0,"window_minutes":300,"resets_at":1795000000},"secondary":{"used_percent":40.0,"window_minutes":10080,"resets_at":1795500000}}}})";

// Conversation of mixed lengths: short events, messages, long tool output.
std::string conversationLine(unsigned n) {
    static const std::size_t lengths[] = {120, 480, 2000, 64, 9000, 300};
    const std::size_t length = lengths[n % 6];
    std::string text =
        R"({"timestamp":"2026-11-21T09:00:00.000Z","type":"response_item","payload":{"type":"message","content":")";
    while (text.size() < length) {
        text += "the quick brown fox jumps over the lazy dog ";
    }
    return text + "\"}}\n";
}

// Written once per run, removed at exit.
class LargeLog {
  public:
    LargeLog() {
        std::string pattern = (fs::temp_directory_path() / "gaugely-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        root_ = pattern;
        file_ = root_ / "sessions" / "2026" / "11" / "21" / "rollout-bench.jsonl";
        fs::create_directories(file_.parent_path());
        std::ofstream out(file_, std::ios::binary);
        std::size_t written = 0;
        unsigned n = 0;
        // The reading sits about 50 KB before the end, with conversation after it.
        while (written < logSize - (50u << 10)) {
            const std::string line = conversationLine(n++);
            out << line;
            written += line.size();
        }
        out << usageLineText << '\n';
        while (written < logSize) {
            const std::string line = conversationLine(n++);
            out << line;
            written += line.size();
        }
    }
    ~LargeLog() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    std::string home() const { return root_.string(); }
    const fs::path& file() const { return file_; }

  private:
    fs::path root_;
    fs::path file_;
};

// Every usage line settles the readings, as a whole line of the account's bucket does.
CodexLogFollower::LineVerdict settleOnEveryLine(std::string_view, std::optional<Date>) {
    return {true, Date{}};
}

LargeLog& largeLog() {
    static LargeLog log;
    return log;
}

void appendAbout10KB(const fs::path& file) {
    std::ofstream out(file, std::ios::binary | std::ios::app);
    std::size_t written = 0;
    for (unsigned n = 0; written < 10000; ++n) {
        const std::string line = conversationLine(n % 4 == 3 ? 0 : n);
        out << line;
        written += line.size();
    }
    out << usageLineText << '\n';
}

void codexLogFirstLook(benchmark::State& state) {
    LargeLog& log = largeLog();
    PosixFileSystem files;
    CodexLogFollowerStatistics last;
    for (auto _ : state) {
        CodexLogFollower follower(files, log.home(), settleOnEveryLine);
        follower.look();
        last = follower.statistics();
    }
    state.counters["bytesRead"] = static_cast<double>(last.bytesRead);
    state.counters["largestBuffer"] = static_cast<double>(last.largestBuffer);
    state.counters["fileBytes"] = static_cast<double>(fs::file_size(log.file()));
}
BENCHMARK(codexLogFirstLook)->Unit(benchmark::kMicrosecond);

void codexLogLookAfterAppend(benchmark::State& state) {
    LargeLog& log = largeLog();
    PosixFileSystem files;
    CodexLogFollower follower(files, log.home(), settleOnEveryLine);
    follower.look();
    uint64_t bytesRead = 0;
    uint64_t accepted = follower.status().acceptedLines;
    for (auto _ : state) {
        state.PauseTiming();
        appendAbout10KB(log.file());
        const uint64_t before = follower.statistics().bytesRead;
        state.ResumeTiming();
        follower.look();
        bytesRead = follower.statistics().bytesRead - before;
    }
    state.counters["bytesRead"] = static_cast<double>(bytesRead);
    state.counters["largestBuffer"] = static_cast<double>(follower.statistics().largestBuffer);
    state.counters["readingsPerLook"] =
        static_cast<double>(follower.status().acceptedLines - accepted) /
        static_cast<double>(state.iterations());
}
// A fixed count keeps the file from growing by gigabytes on a fast disk.
BENCHMARK(codexLogLookAfterAppend)->Unit(benchmark::kMicrosecond)->Iterations(2000);

// 2,000 sessions over 40 days, the reading in the oldest-but-300; each file starts with a
// session_meta of about 16 KB, as Codex's carries its instructions.
class ManySessions {
  public:
    ManySessions() {
        std::string pattern = (fs::temp_directory_path() / "gaugely-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        root_ = pattern;
        const std::string instructions(16u << 10, 'i');
        for (int n = 0; n < 2000; ++n) {
            // Fifty a day from October 1st.
            const int day = n / 50;
            const int month = day < 31 ? 10 : 11;
            const int date = day < 31 ? day + 1 : day - 30;
            char name[8];
            std::snprintf(name, sizeof name, "%02d", date);
            const fs::path folder =
                root_ / "sessions" / "2026" / std::to_string(month) / std::string(name);
            fs::create_directories(folder);
            const fs::path file = folder / ("rollout-" + std::to_string(100000 + n) + ".jsonl");
            std::ofstream out(file, std::ios::binary);
            out << R"({"timestamp":"2026-11-21T09:00:00.000Z","type":"session_meta","payload":{"id":")"
                << n << R"(","timestamp":"2026-11-21T09:00:00.000Z","base_instructions":{"text":")"
                << instructions << "\"}}}\n";
            if (n == 1699) {
                out << usageLineText << '\n';
            }
            out.close();
            // Modified in the order written, a second apart.
            fs::last_write_time(file,
                                fs::file_time_type::clock::now() - std::chrono::seconds(2000 - n));
        }
    }
    ~ManySessions() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    std::string home() const { return root_.string(); }

  private:
    fs::path root_;
};

ManySessions& manySessions() {
    static ManySessions sessions;
    return sessions;
}

// The reading is settled as of its own time: any file modified later may still matter.
CodexLogFollower::LineVerdict settleAtItsTime(std::string_view, std::optional<Date>) {
    return {true, Date{}};
}

void codexLogSearchPastEmptySessions(benchmark::State& state) {
    ManySessions& sessions = manySessions();
    PosixFileSystem files;
    CodexLogFollowerStatistics last;
    CodexLogFollowerStatus status;
    for (auto _ : state) {
        CodexLogFollower follower(files, sessions.home(), settleAtItsTime);
        follower.look();
        last = follower.statistics();
        status = follower.status();
    }
    state.counters["bytesRead"] = static_cast<double>(last.bytesRead);
    state.counters["searchedFiles"] = static_cast<double>(last.searchedFiles);
    state.counters["readings"] = static_cast<double>(status.acceptedLines);
}
BENCHMARK(codexLogSearchPastEmptySessions)->Unit(benchmark::kMillisecond);

void codexLogQuietLook(benchmark::State& state) {
    ManySessions& sessions = manySessions();
    PosixFileSystem files;
    CodexLogFollower follower(files, sessions.home(), settleOnEveryLine);
    follower.look();
    CodexLogFollowerStatistics before = follower.statistics();
    for (auto _ : state) {
        before = follower.statistics();
        follower.look();
    }
    const CodexLogFollowerStatistics after = follower.statistics();
    state.counters["statuses"] = static_cast<double>(after.statuses - before.statuses);
    state.counters["bytesRead"] = static_cast<double>(after.bytesRead - before.bytesRead);
}
BENCHMARK(codexLogQuietLook)->Unit(benchmark::kMicrosecond);

void codexLogResumedLook(benchmark::State& state) {
    ManySessions& sessions = manySessions();
    PosixFileSystem files;
    CodexLogFollower first(files, sessions.home(), settleOnEveryLine);
    first.look();
    CodexLogProgress kept;
    kept.codexFolder = sessions.home();
    kept.source.follower = first.memory();
    const std::string record = kept.encoded();
    CodexLogFollowerStatistics last;
    for (auto _ : state) {
        const auto progress = CodexLogProgress::decode(record);
        CodexLogFollower follower(files, sessions.home(), settleOnEveryLine);
        follower.resume(progress->source.follower, [] { std::abort(); });
        follower.look();
        last = follower.statistics();
    }
    state.counters["recordBytes"] = static_cast<double>(record.size());
    state.counters["statuses"] = static_cast<double>(last.statuses);
    state.counters["bytesRead"] = static_cast<double>(last.bytesRead);
}
BENCHMARK(codexLogResumedLook)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace gaugely
