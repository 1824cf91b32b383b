#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "CodexHome.h"
#include "LowUsageNotificationSupport/Json.h"
#include "ToolRunner.h"

// Every shape Codex has written, in a Codex home written as Codex writes it, through
// `gaugely usage --json`.

namespace gaugely::tooltest {
namespace {

// What `gaugely usage --json` shows of a window, as the table writes it: its remaining share,
// " reset" when shown as reset; "" when it is not shown. The one place that reads the output.
std::string shownWindow(const std::string& out, const std::string& window) {
    const Json reading = parseJson(out).value_or(Json::object());
    for (const Json& entry : reading.value("windows", Json::array())) {
        if (entry.value("window", "") == window) {
            const Json& remaining = entry["remaining"];
            // Every window read carries its reset time, the pro weekly one too.
            return (remaining.is_number() ? std::to_string(remaining.get<int>()) + "%" : "?") +
                   (entry.value("resetPassed", false) ? " reset" : "") +
                   (entry.value("reset", "") == "Not Found" ? " without a reset time" : "");
        }
    }
    return "";
}

constexpr long long hour = 3600;
constexpr long long day = 86'400;

struct Shape {
    const char* name;
    CodexGeneration generation;
    std::function<void(CodexHome&, long long now)> write;
    // The --plan given; none: no plan chosen.
    std::optional<std::string> plan;
    // What each window shows: "70%", "100% reset" (shown as reset); none: the logs are refused.
    std::map<std::string, std::string> windows;
    // A part of what is said on standard error.
    std::string said;
};

RateWindow fiveHour(double used, std::optional<long long> resetsAt) {
    return RateWindow{used, 300, resetsAt};
}
RateWindow weekly(double used, std::optional<long long> resetsAt) {
    return RateWindow{used, 10'080, resetsAt};
}

TokenCount counts(double at, std::optional<RateWindow> primary = std::nullopt,
                  std::optional<RateWindow> secondary = std::nullopt,
                  std::optional<std::string> plan = std::nullopt) {
    TokenCount count;
    count.at = at;
    count.primary = primary;
    count.secondary = secondary;
    count.planType = std::move(plan);
    return count;
}

// Plus at 70% and 55%, written ten minutes ago.
void plusReading(CodexHome& home, long long now, std::optional<std::string> plan = "plus") {
    const auto session = home.start(now - 900);
    home.message(session, now - 890, "token_count of the sample, in conversation");
    home.tokenCount(session, counts(now - 600.0, fiveHour(30, now + 2 * hour),
                                    weekly(45, now + 4 * day), std::move(plan)));
}

const std::map<std::string, std::string> plus70and55{{"fiveHour", "70%"}, {"weekly", "55%"}};

// One run per shape: which plan is asked for matters no more to one shape than another (the
// plan's windows and refusals are CodexLogSnapshot's, CodexLogReading's and
// CodexLogsPresentation's tables), so the plans take turns.
std::vector<Shape> shapes() {
    using G = CodexGeneration;
    const auto plain = [](CodexHome& home, long long now) { plusReading(home, now, std::nullopt); };
    const auto withPlan = [](CodexHome& home, long long now) { plusReading(home, now); };
    return {
        {"the flat shape of September 2025",
         G::flat,
         plain,
         "plus",
         {},
         "are from a Codex version too old to read; update Codex"},
        {"relative reset times", G::resetsInSeconds, plain, "plus", plus70and55, ""},
        {"reset times as RFC 3339 text", G::resetsAtText, plain, "pro", {{"weekly", "55%"}}, ""},
        {"reset times in Unix seconds", G::resetsAtUnix, plain, std::nullopt, plus70and55, ""},
        {"with credits", G::credits, plain, "plus", plus70and55, ""},
        {"with the plan", G::planType, withPlan, std::nullopt, plus70and55, ""},
        {"one line per bucket", G::buckets, withPlan, "plus", plus70and55, ""},
        {"the line at the limit has no reset time",
         G::reachedType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 1200);
             home.tokenCount(session, counts(now - 900.0, fiveHour(97, now + 2 * hour),
                                             weekly(45, now + 4 * day), "plus"));
             TokenCount atTheLimit = counts(now - 600.0, fiveHour(100, std::nullopt),
                                            weekly(46, now + 4 * day), "plus");
             atTheLimit.reachedType = "rate_limit_reached";
             home.tokenCount(session, atTheLimit);
         },
         "plus",
         {{"fiveHour", "0%"}, {"weekly", "54%"}},
         ""},
        {"no rate limits on any line",
         G::resetsAtUnix,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 1200);
             for (const double at : {now - 900.0, now - 600.0}) {
                 TokenCount count = counts(at);
                 count.withoutRateLimits = true;
                 home.tokenCount(session, count);
             }
         },
         "pro",
         {},
         "Codex's logs carry no usage limits"},
        {"a reset passed with no newer line",
         G::reachedType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 7300);
             home.tokenCount(session, counts(now - 7200.0, fiveHour(85, now - 600),
                                             weekly(45, now + 4 * day), "plus"));
         },
         std::nullopt,
         {{"fiveHour", "100% reset"}, {"weekly", "55%"}},
         ""},
        {"a monthly window",
         G::planType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 900);
             home.tokenCount(session, counts(now - 600.0, RateWindow{15, 43'200, now + 20 * day},
                                             std::nullopt, "free"));
         },
         "freeGo",
         {{"monthly", "85%"}},
         ""},
        {"a plan with no windows of ours",
         G::planType,
         [](CodexHome& home, long long now) { plusReading(home, now, "team"); },
         std::nullopt,
         {},
         "Codex's logs show the Team plan; say whose windows to show with --plan freeGo, "
         "--plan plus or --plan pro"},
    };
}

class UsageLogShapes : public ToolTest {
  protected:
    ToolResult usage(const fs::path& home, const std::optional<std::string>& plan) {
        fs::remove(path("usage.json"));
        fs::remove(path("usage.json.history.json"));
        std::vector<std::string> arguments{"usage",        "--json",
                                           "--codex-home", home.string(),
                                           "--defaults",   path("usage.json").string()};
        if (plan) {
            arguments.insert(arguments.end(), {"--plan", *plan});
        }
        return run(arguments);
    }
};

TEST_F(UsageLogShapes, EveryShapeCodexWritesIsRead) {
    const long long now = std::time(nullptr);
    const std::vector<Shape> all = shapes();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Shape& shape = all[i];
        const fs::path home = path("home-" + std::to_string(i));
        CodexHome writer(home, shape.generation);
        shape.write(writer, now);
        const ToolResult result = usage(home, shape.plan);
        EXPECT_EQ(result.status, shape.windows.empty() ? 1 : 0) << shape.name << "\n" << result.err;
        EXPECT_NE(result.err.find(shape.said), std::string::npos) << shape.name << "\n"
                                                                  << result.err;
        for (const auto& [window, shows] : shape.windows) {
            EXPECT_EQ(shownWindow(result.out, window), shows) << shape.name << ": " << window;
        }
        if (shape.windows.empty()) {
            EXPECT_EQ(result.out, "") << shape.name;
        }
    }
}

// A reading an earlier run saved stays saved, and is not shown, once the logs refuse.
TEST_F(UsageLogShapes, ARefusedReadingLeavesTheSavedOneUnshown) {
    const long long now = std::time(nullptr);
    const fs::path home = path("home");
    CodexHome writer(home, CodexGeneration::buckets);
    plusReading(writer, now);
    ASSERT_EQ(usage(home, "plus").status, 0);
    const std::string saved = readFile(path("usage.json"));

    const auto session = writer.start(now - 100);
    writer.tokenCount(session, counts(now - 60.0, std::nullopt, std::nullopt));
    const ToolResult result = run({"usage", "--json", "--codex-home", home.string(), "--defaults",
                                   path("usage.json").string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("Codex's logs carry no usage limits"), std::string::npos)
        << result.err;
    const auto savedReadings = [](const std::string& file) {
        return parseJson(file).value_or(Json())["plan-specific-usage-snapshots-v1"];
    };
    EXPECT_FALSE(savedReadings(saved).is_null());
    EXPECT_EQ(savedReadings(readFile(path("usage.json"))), savedReadings(saved))
        << "the earlier reading is still saved";
}

}  // namespace
}  // namespace gaugely::tooltest
