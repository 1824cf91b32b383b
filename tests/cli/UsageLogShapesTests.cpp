#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "CodexHome.h"
#include "LowUsageNotificationSupport/Json.h"
#include "ToolRunner.h"

// Every shape Codex has written, in a Codex home written as Codex writes it, through
// `gaugely usage --json` for every plan (and for no plan chosen).

namespace gaugely::tooltest {
namespace {

// What `gaugely usage --json` shows of a window: its remaining share (none for "Not Found"),
// its reset text, whether it is shown as reset. The one place that reads the output's shape.
struct ShownWindow {
    std::optional<int> remaining;
    std::string reset;
    bool resetPassed = false;
};

std::optional<ShownWindow> shownWindow(const std::string& out, const std::string& window) {
    std::istringstream lines(out);
    std::optional<ShownWindow> shown;
    for (std::string line; std::getline(lines, line);) {
        const std::optional<Json> json = parseJson(line);
        if (!json || !json->is_object() || !json->contains("windows") ||
            (json->contains("type") && (*json)["type"] != "reading")) {
            continue;
        }
        for (const Json& entry : (*json)["windows"]) {
            if (entry.value("window", "") != window) {
                continue;
            }
            ShownWindow found;
            const Json& remaining = entry["remaining"];
            if (remaining.is_number()) {
                found.remaining = remaining.get<int>();
            } else if (remaining.is_string() && remaining.get<std::string>() != "Not Found") {
                found.remaining = std::stoi(remaining.get<std::string>());
            }
            found.reset = entry.value("reset", "");
            found.resetPassed = entry.value("resetPassed", false);
            shown = found;
        }
    }
    return shown;
}

constexpr long long hour = 3600;
constexpr long long day = 86'400;

struct Expected {
    // The --plan given; none: no plan chosen.
    std::optional<std::string> plan;
    int status = 0;
    // What each window of the plan shows: "70%", "100% reset" (shown as reset).
    std::map<std::string, std::string> windows;
    // A part of what is said on standard error.
    std::string said;
};

struct Shape {
    const char* name;
    CodexGeneration generation;
    std::function<void(CodexHome&, long long now)> write;
    std::vector<Expected> expected;
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

TokenCount inBucket(TokenCount count, std::string limitId,
                    std::optional<std::string> limitName = std::nullopt) {
    count.limitId = std::move(limitId);
    count.limitName = std::move(limitName);
    return count;
}

TokenCount atTheLimit(TokenCount count) {
    count.reachedType = "rate_limit_reached";
    return count;
}

TokenCount withoutRateLimits(double at) {
    TokenCount count;
    count.at = at;
    count.withoutRateLimits = true;
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
const std::map<std::string, std::string> pro55{{"weekly", "55%"}};

// Plus and pro read the two windows; Free / Go has none of its own.
std::vector<Expected> readsPlusWindows() {
    return {{"plus", 0, plus70and55, ""},
            {"pro", 0, pro55, ""},
            {"freeGo", 1, {}, "Codex's logs do not show the Free / Go plan's windows"},
            {std::nullopt, 0, plus70and55, ""}};
}

const std::string plusMismatch = "Codex's logs show the Plus plan; choose it with --plan plus";

// Logs that name the Plus plan: read for plus, and for no plan chosen; the other plans are told
// which plan the logs show.
std::vector<Expected> forPlusLogs(const std::map<std::string, std::string>& windows) {
    return {{"plus", 0, windows, ""},
            {"pro", 1, {}, plusMismatch},
            {"freeGo", 1, {}, plusMismatch},
            {std::nullopt, 0, windows, ""}};
}

std::vector<Expected> refusedByEveryPlan(const std::string& said) {
    return {{"plus", 1, {}, said},
            {"pro", 1, {}, said},
            {"freeGo", 1, {}, said},
            {std::nullopt, 1, {}, said}};
}

std::vector<Shape> shapes() {
    using G = CodexGeneration;
    const auto plain = [](CodexHome& home, long long now) { plusReading(home, now, std::nullopt); };
    const auto withPlan = [](CodexHome& home, long long now) { plusReading(home, now); };
    return {
        {"the flat shape of September 2025", G::flat, plain,
         refusedByEveryPlan("are from a Codex version too old to read; update Codex")},
        {"relative reset times", G::resetsInSeconds, plain, readsPlusWindows()},
        {"reset times as RFC 3339 text", G::resetsAtText, plain, readsPlusWindows()},
        {"reset times in Unix seconds", G::resetsAtUnix, plain, readsPlusWindows()},
        {"with credits", G::credits, plain, readsPlusWindows()},
        {"with the plan", G::planType, withPlan, forPlusLogs(plus70and55)},
        {"one line per bucket, the account's first", G::buckets,
         [&](CodexHome& home, long long now) {
             plusReading(home, now);
             const auto session = home.start(now - 300);
             home.tokenCount(session, counts(now - 200.0, fiveHour(30, now + 2 * hour),
                                             weekly(45, now + 4 * day), "plus"));
             home.tokenCount(session, inBucket(counts(now - 199.999, fiveHour(88, now + 3 * hour),
                                                      weekly(65, now + 5 * day)),
                                               "codex_bengalfox", "gpt-5.2-codex-sonic"));
         },
         forPlusLogs(plus70and55)},
        {"the line at the limit has no reset time", G::reachedType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 1200);
             home.tokenCount(session, counts(now - 900.0, fiveHour(97, now + 2 * hour),
                                             weekly(45, now + 4 * day), "plus"));
             home.tokenCount(session, atTheLimit(counts(now - 600.0, fiveHour(100, std::nullopt),
                                                        weekly(46, now + 4 * day), "plus")));
         },
         forPlusLogs({{"fiveHour", "0%"}, {"weekly", "54%"}})},
        {"no plan limits (an API key)", G::buckets,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 1200);
             home.tokenCount(session, counts(now - 600.0, std::nullopt, std::nullopt));
         },
         refusedByEveryPlan("Codex's logs carry no usage limits")},
        {"no rate limits on any line", G::resetsAtUnix,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 1200);
             home.tokenCount(session, withoutRateLimits(now - 900.0));
             home.tokenCount(session, withoutRateLimits(now - 600.0));
         },
         refusedByEveryPlan("Codex's logs carry no usage limits")},
        {"a fork's copies of older figures", G::buckets,
         [](CodexHome& home, long long now) {
             const auto parent = home.start(now - 2400);
             home.tokenCount(parent, counts(now - 1800.0, fiveHour(30, now + 2 * hour),
                                            weekly(45, now + 4 * day), "plus"));
             home.tokenCount(parent, counts(now - 1200.0, fiveHour(60, now + 2 * hour),
                                            weekly(50, now + 4 * day), "plus"));
             home.fork(parent, now - 600.0, 2);
         },
         forPlusLogs({{"fiveHour", "40%"}, {"weekly", "50%"}})},
        {"a reset passed with no newer line", G::reachedType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 7300);
             home.tokenCount(session, counts(now - 7200.0, fiveHour(85, now - 600),
                                             weekly(45, now + 4 * day), "plus"));
         },
         forPlusLogs({{"fiveHour", "100% reset"}, {"weekly", "55%"}})},
        {"a monthly window",
         G::planType,
         [](CodexHome& home, long long now) {
             const auto session = home.start(now - 900);
             home.tokenCount(session, counts(now - 600.0, RateWindow{15, 43'200, now + 20 * day},
                                             std::nullopt, "free"));
         },
         {{"freeGo", 0, {{"monthly", "85%"}}, ""},
          {"plus", 1, {}, "Codex's logs show the Free / Go plan; choose it with --plan freeGo"},
          {"pro", 1, {}, "Codex's logs show the Free / Go plan; choose it with --plan freeGo"},
          {std::nullopt, 0, {{"monthly", "85%"}}, ""}}},
        {"a plan with no windows of ours",
         G::planType,
         [](CodexHome& home, long long now) { plusReading(home, now, "team"); },
         {{std::nullopt,
           1,
           {},
           "Codex's logs show the Team plan; say whose windows to show with --plan freeGo, "
           "--plan plus or --plan pro"},
          {"plus", 0, plus70and55, ""},
          {"pro", 0, pro55, ""},
          {"freeGo", 1, {}, "Codex's logs do not show the Free / Go plan's windows"}}},
        {"a session resumed in its first day's file", G::reachedType,
         [](CodexHome& home, long long now) {
             const auto old = home.start(now - 2 * day);
             home.tokenCount(old,
                             counts(now - 2.0 * day + 60, fiveHour(30, now - 2 * day + 3 * hour),
                                    weekly(20, now + 4 * day), "plus"));
             const auto today = home.start(now - 1800);
             home.tokenCount(today, counts(now - 1200.0, fiveHour(10, now + 2 * hour),
                                           weekly(40, now + 4 * day), "plus"));
             home.tokenCount(old, counts(now - 300.0, fiveHour(50, now + 2 * hour),
                                         weekly(48, now + 4 * day), "plus"));
         },
         forPlusLogs({{"fiveHour", "50%"}, {"weekly", "52%"}})},
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

TEST_F(UsageLogShapes, EveryShapeCodexWritesIsReadForEveryPlan) {
    const long long now = std::time(nullptr);
    const std::vector<Shape> all = shapes();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Shape& shape = all[i];
        const fs::path home = path("home-" + std::to_string(i));
        fs::remove_all(home);
        CodexHome writer(home, shape.generation);
        shape.write(writer, now);
        for (const Expected& expected : shape.expected) {
            const std::string context =
                std::string(shape.name) + ", --plan " + expected.plan.value_or("(none)");
            const ToolResult result = usage(home, expected.plan);
            EXPECT_EQ(result.status, expected.status) << context << "\n" << result.err;
            if (!expected.said.empty()) {
                EXPECT_NE(result.err.find(expected.said), std::string::npos) << context << "\n"
                                                                             << result.err;
            }
            if (expected.status != 0) {
                EXPECT_EQ(result.out, "") << context;
                continue;
            }
            for (const auto& [window, shows] : expected.windows) {
                const std::optional<ShownWindow> shown = shownWindow(result.out, window);
                ASSERT_TRUE(shown) << context << ": " << window << "\n" << result.out;
                const bool reset = shows.ends_with(" reset");
                EXPECT_EQ(shown->remaining, std::stoi(shows)) << context << ": " << window;
                EXPECT_EQ(shown->resetPassed, reset) << context << ": " << window;
                // Every window read carries its reset time, the pro weekly one too.
                EXPECT_NE(shown->reset, "Not Found") << context << ": " << window;
            }
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
