#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <regex>

#include "CodexHome.h"
#include "ToolRunner.h"

// A run that goes on from where the last one stopped reading must show exactly what a run
// reading the logs afresh shows, with the same state otherwise. Each step changes the Codex
// folder (or the state), then both kinds of run are made and compared.
namespace gaugely::tooltest::progress_tests {
namespace {

constexpr long long hour = 3600;
constexpr long long day = 86'400;
constexpr std::string_view progressKey = "codex-logs-progress-v1";

// What a run read of Codex's logs: bytes, and files opened.
struct Statistics {
    uint64_t bytesRead = 0;
    uint64_t opens = 0;
};

std::optional<Statistics> statisticsIn(const std::string& err) {
    static const std::regex line(R"(Codex's logs: (\d+) bytes read, (\d+) files opened)");
    std::smatch match;
    if (!std::regex_search(err, match, line)) {
        return std::nullopt;
    }
    return Statistics{std::stoull(match[1]), std::stoull(match[2])};
}

std::string withoutStatistics(const std::string& err) {
    return std::regex_replace(err, std::regex("Codex's logs: [^\n]*\n"), "");
}

// A token count of both windows, as Codex writes one: `fiveHour` and `weekly` used.
TokenCount usedAt(double at, double fiveHour, double weekly, long long now) {
    TokenCount count;
    count.at = at;
    count.primary = RateWindow{fiveHour, 300, now + 2 * hour};
    count.secondary = RateWindow{weekly, 10'080, now + 4 * day};
    count.planType = "plus";
    return count;
}

// What a warm run may read.
enum class Reads {
    nothing,
    // The bytes appended since the last run, or written in new files, no more.
    appended,
    // Anything: what it remembered no longer holds.
    afresh,
};

// Public, for the table's steps.
class UsageProgress : public ToolTest {
  public:
    using ToolTest::path;

    void SetUp() override {
        ToolTest::SetUp();
        now = std::time(nullptr);
        writer.emplace(path("codex"), CodexGeneration::reachedType);
        // Two days of sessions, each much larger than what a reading takes.
        older = writer->start(now - 2 * day);
        writer->message(*older, now - 2 * day + 10, std::string(300'000, 'o'));
        writer->tokenCount(*older, usedAt(now - 2 * day + 20, 10, 20, now));
        newest = writer->start(now - day);
        writer->tokenCount(*newest, usedAt(now - day + 10, 30, 40, now));
        writer->message(*newest, now - day + 20, std::string(300'000, 'n'));
    }

    ToolResult usage(const std::string& state, const fs::path& home) {
        return run({"usage", "--json", "--stats", "--codex-home", home.string(), "--defaults",
                    path(state).string()});
    }

    // The warm state with its progress taken out: what a run reading afresh starts from.
    void copyWithoutProgress() {
        Json state = Json::parse(readFile(path("warm.json")));
        state.erase(std::string(progressKey));
        writeFile(path("cold.json"), state.dump());
        fs::copy_file(path("warm.json.history.json"), path("cold.json.history.json"),
                      fs::copy_options::overwrite_existing);
    }

    void setProgress(const Json& value) {
        Json state = Json::parse(readFile(path("warm.json")));
        state[std::string(progressKey)] = value;
        writeFile(path("warm.json"), state.dump());
    }

    uint64_t homeBytes() const {
        uint64_t total = 0;
        for (const auto& entry : fs::recursive_directory_iterator(path("codex"))) {
            total += entry.is_regular_file() ? entry.file_size() : 0;
        }
        return total;
    }

    std::string tokenLine(double at, double fiveHour) const {
        return writer->tokenCountLine(usedAt(at, fiveHour, 41, now));
    }

    long long now = 0;
    std::optional<CodexHome> writer;
    std::optional<CodexHome::Session> older;
    std::optional<CodexHome::Session> newest;
};

TEST_F(UsageProgress, AWarmRunShowsWhatAFreshReadShowsAndReadsOnlyWhatIsNew) {
    // Each step changes what the step before it left; a step that does not go on starts over
    // from the two days of sessions.
    const auto nothing = [](UsageProgress&) {};
    const struct {
        const char* name;
        Reads reads;
        std::function<void(UsageProgress&)> change;
        bool goesOn = false;
    } steps[] = {
        {"a reading appended to the newest session", Reads::appended,
         [](UsageProgress& t) {
             t.writer->tokenCount(*t.newest, usedAt(t.now - 60, 55, 60, t.now));
         }},
        {"then nothing", Reads::nothing, nothing, true},
        {"a line's start written", Reads::appended,
         [](UsageProgress& t) {
             std::ofstream(t.newest->file, std::ios::app)
                 << t.tokenLine(t.now - 40, 77).substr(0, 90);
         }},
        {"then its rest", Reads::appended,
         [](UsageProgress& t) {
             std::ofstream(t.newest->file, std::ios::app) << t.tokenLine(t.now - 40, 77).substr(90);
         },
         true},
        {"then nothing", Reads::nothing, nothing, true},
        {"a new session in a new day's folder", Reads::appended,
         [](UsageProgress& t) {
             const auto session = t.writer->start(t.now - 120);
             t.writer->tokenCount(session, usedAt(t.now - 100, 81, 82, t.now));
         }},
        {"a new session holding an older reading than the newest", Reads::appended,
         [](UsageProgress& t) {
             const auto session = t.writer->start(t.now - day + 5);
             t.writer->tokenCount(session, usedAt(t.now - day + 6, 5, 6, t.now));
         }},
        {"the newest session cut short", Reads::afresh,
         [](UsageProgress& t) { fs::resize_file(t.newest->file, 1000); }},
        {"the newest session replaced by another file", Reads::afresh,
         [](UsageProgress& t) {
             const fs::path other = t.path("replacement.jsonl");
             writeFile(other, t.tokenLine(t.now - 3000, 12));
             fs::rename(other, t.newest->file);
         }},
        {"the newest session written over in place, its size unchanged", Reads::afresh,
         [](UsageProgress& t) {
             std::string text = readFile(t.newest->file);
             const std::size_t at = text.find("\"used_percent\":30.0");
             ASSERT_NE(at, std::string::npos);
             text.replace(at, 19, "\"used_percent\":35.0");
             std::ofstream(t.newest->file, std::ios::binary | std::ios::in) << text;
             const timespec times[2] = {{t.now - 5, 0}, {t.now - 5, 0}};
             ::utimensat(AT_FDCWD, t.newest->file.c_str(), times, 0);
         }},
        {"the newest session removed", Reads::afresh,
         [](UsageProgress& t) { fs::remove(t.newest->file); }},
        {"a saved record that does not read", Reads::afresh,
         [](UsageProgress& t) {
             t.setProgress(Json{{"type", "data"}, {"value", "e30="}});  // "{}"
         }},
        {"then nothing", Reads::nothing, nothing, true},
        {"the record of another Codex folder read in between", Reads::afresh,
         [](UsageProgress& t) {
             fs::create_directories(t.path("other"));
             fs::copy(t.path("codex"), t.path("other"), fs::copy_options::recursive);
             ASSERT_EQ(t.usage("warm.json", t.path("other")).status, 0);
         }},
    };
    std::string context;
    for (const auto& step : steps) {
        if (!step.goesOn) {
            TearDown();
            SetUp();
            ASSERT_EQ(usage("warm.json", path("codex")).status, 0) << step.name;
            context.clear();
        }
        context += std::string(context.empty() ? "" : ", ") + step.name;
        const uint64_t before = homeBytes();
        step.change(*this);
        const uint64_t after = homeBytes();
        copyWithoutProgress();
        const ToolResult warm = usage("warm.json", path("codex"));
        const ToolResult cold = usage("cold.json", path("codex"));
        EXPECT_EQ(warm.status, cold.status) << context << "\n" << warm.err << cold.err;
        EXPECT_EQ(warm.out, cold.out) << context;
        EXPECT_EQ(withoutStatistics(warm.err), withoutStatistics(cold.err)) << context;

        const auto read = statisticsIn(warm.err);
        ASSERT_TRUE(read) << context << "\n" << warm.err;
        switch (step.reads) {
            case Reads::nothing:
                EXPECT_EQ(read->bytesRead, 0u) << context;
                EXPECT_EQ(read->opens, 0u) << context;
                break;
            case Reads::appended:
                // A line cut at the last run's end is read again from its start, and a new file
                // is searched: its head (for a fork's copies) and back from its end.
                EXPECT_LE(read->bytesRead, 2 * (after - before) + 4096) << context;
                break;
            case Reads::afresh:
                EXPECT_GT(read->bytesRead, 0u) << context;
                break;
        }
    }
}

}  // namespace
}  // namespace gaugely::tooltest::progress_tests
