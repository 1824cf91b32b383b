#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "LogWorld.h"
#include "LowUsageNotificationSupport/CodexLogSnapshot.h"
#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Reader/CodexLogSource.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "cli/CodexHome.h"

// Shuffled interleavings of what Codex writes: the account's lines and other buckets', sessions
// resumed in old files, forks copying their parents' lines, a window of unknown length, a reset
// time null at the limit, resets passing. Read the whole way (files, follower, source, readings),
// what is shown of a window is never a figure no line of the account's bucket gave in the
// window's current period (but for the 100% of a window whose reset has passed), and never more
// than the newest such line left.

namespace gaugely::logs {
namespace {

constexpr double fiveHours = 5 * 3600;
constexpr double aWeek = 7 * 86'400;

struct Written {
    double used = 0;
    Date resetsAt;
    Date at;
};

// One window's truth: the periods it has had, each with every figure the account's lines gave.
struct WindowTruth {
    Date resetsAt;
    double used = 0;
    std::map<Date, std::set<int>> remainingByPeriod;
    std::optional<Written> newest;
};

class Codex {
  public:
    Codex(LogWorld& world, VirtualTime& time, uint32_t seed)
        : world_(world), time_(time), random_(seed) {
        fiveHour_.resetsAt = time_.now().addingTimeInterval(fiveHours);
        weekly_.resetsAt = time_.now().addingTimeInterval(aWeek);
    }

    const WindowTruth& fiveHour() const { return fiveHour_; }
    const WindowTruth& weekly() const { return weekly_; }

    void step() {
        time_.advance(pick(1, 40) * 60.0 + pick(0, 999) / 1000.0);
        rollOver(fiveHour_, fiveHours);
        rollOver(weekly_, aWeek);
        const int what = pick(0, 9);
        if (sessions_.empty() || what == 0) {
            start(std::nullopt);
        } else if (what == 1) {
            fork();
        } else if (what <= 7) {
            accountLine(sessions_[static_cast<std::size_t>(pick(0, sessions_.size() - 1))]);
        }
        // Otherwise time passes with nothing written.
    }

  private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
    int pick(int low, std::size_t high) { return pick(low, static_cast<int>(high)); }

    std::string stamp(Date at) const { return tooltest::utcStamp(at.unixTime()); }

    void rollOver(WindowTruth& window, double length) {
        if (window.resetsAt <= time_.now()) {
            window.resetsAt = time_.now().addingTimeInterval(length);
            window.used = 0;
        }
    }

    std::string meta(const std::string& id, const std::optional<std::string>& parent, Date at) {
        return R"({"timestamp":")" + stamp(at) + R"(","type":"session_meta","payload":{"id":")" +
               id + "\"" + (parent ? R"(,"forked_from_id":")" + *parent + "\"" : "") +
               R"(,"timestamp":")" + stamp(at) +
               R"(","cwd":"/p","originator":"codex_cli_rs","cli_version":"0.120.0","source":"cli","model_provider":"openai"}})";
    }

    static std::string window(double used, std::optional<int> minutes, std::optional<Date> reset) {
        return R"({"used_percent":)" + Json(used).dump() + R"(,"window_minutes":)" +
               (minutes ? std::to_string(*minutes) : "null") + R"(,"resets_at":)" +
               (reset ? std::to_string(static_cast<long long>(reset->unixTime())) : "null") + "}";
    }

    std::string line(Date at, const std::string& bucket, const std::string& primary,
                     const std::string& secondary) {
        return R"({"timestamp":")" + stamp(at) +
               R"(","type":"event_msg","payload":{"type":"token_count","info":null,"rate_limits":{"limit_id":")" +
               bucket + R"(","limit_name":null,"primary":)" + primary + R"(,"secondary":)" +
               secondary +
               R"(,"credits":null,"plan_type":"plus","rate_limit_reached_type":null}}})";
    }

    void write(const std::string& path, const std::string& text) {
        lines_[path].push_back(text);
        world_.files.append(path, text + "\n", time_.now());
    }

    void start(const std::optional<std::string>& parent) {
        const std::string id = tooltest::uuid7(time_.now().unixTime(), ++count_);
        const std::string path = day + "/rollout-" + std::to_string(count_) + "-" + id + ".jsonl";
        sessions_.push_back(path);
        write(path, meta(id, parent, time_.now()));
    }

    // The account's line, sometimes with a window Codex left unnamed or a reset time null at
    // the limit, then often another bucket's with figures of its own.
    void accountLine(const std::string& path) {
        const Date now = time_.now();
        fiveHour_.used = std::min(100.0, fiveHour_.used + pick(0, 30) + pick(0, 9) / 10.0);
        weekly_.used = std::min(100.0, weekly_.used + pick(0, 8) + pick(0, 9) / 10.0);
        const bool unnamedWeekly = pick(0, 9) == 0;
        const bool nullReset = fiveHour_.used >= 100 && pick(0, 1) == 0;
        write(path, line(now, "codex",
                         window(fiveHour_.used, 300,
                                nullReset ? std::nullopt : std::optional<Date>(fiveHour_.resetsAt)),
                         unnamedWeekly ? window(weekly_.used, std::nullopt, std::nullopt)
                                       : window(weekly_.used, 10'080, weekly_.resetsAt)));
        note(fiveHour_, now);
        if (!unnamedWeekly) {
            note(weekly_, now);
        }
        if (pick(0, 1) == 0) {
            const Date side = now.addingTimeInterval(0.001);
            write(path, line(side, "codex_bengalfox",
                             window(pick(0, 100), 300, now.addingTimeInterval(pick(1, 18000))),
                             pick(0, 1) == 0 ? "null"
                                             : window(pick(0, 100), 10'080,
                                                      now.addingTimeInterval(pick(1, 600000)))));
        }
    }

    static void note(WindowTruth& window, Date at) {
        window.newest = Written{window.used, window.resetsAt, at};
        window.remainingByPeriod[window.resetsAt].insert(*codexLogRemainingPercent(window.used));
    }

    // A fork of a session, copying a prefix of its lines at once, each stamped anew.
    void fork() {
        const std::string parent =
            sessions_[static_cast<std::size_t>(pick(0, sessions_.size() - 1))];
        const std::vector<std::string> copied = lines_[parent];
        const auto parentId = decodeCodexSessionMeta(copied.front());
        start(parentId ? std::optional<std::string>(parentId->id) : std::nullopt);
        const std::string path = sessions_.back();
        const std::size_t count = static_cast<std::size_t>(pick(1, copied.size()));
        std::string text;
        Date at = time_.now();
        for (std::size_t i = 0; i < count; ++i) {
            Json restamped = Json::parse(copied[i]);
            at = at.addingTimeInterval(0.001);
            restamped["timestamp"] = stamp(at);
            lines_[path].push_back(restamped.dump());
            text += restamped.dump() + "\n";
        }
        world_.files.append(path, text, time_.now());
    }

    LogWorld& world_;
    VirtualTime& time_;
    std::mt19937 random_;
    WindowTruth fiveHour_;
    WindowTruth weekly_;
    std::vector<std::string> sessions_;
    std::map<std::string, std::vector<std::string>> lines_;
    uint64_t count_ = 0;
};

TEST(CodexLogProperty, WhatIsShownIsNeverAFigureTheAccountDidNotGiveNorMoreThanItsNewest) {
    uint64_t copied = 0;
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        VirtualTime time;
        LogWorld world;
        CodexLogReadings readings;
        CodexLogSource source(world.files, time, home,
                              [&](const CodexLogLineDecoding& decoding) -> std::optional<Date> {
                                  if (decoding.usage) {
                                      readings.take(*decoding.usage);
                                  }
                                  return readings.settled() ? readings.newestLineAt()
                                                            : std::nullopt;
                              },
                              {});
        Codex codex(world, time, seed);
        source.start();
        for (int step = 0; step < 80; ++step) {
            codex.step();
            // Long enough for the watcher's look after the change.
            time.advance(1);
            const Date now = time.now();
            const auto result = codexLogSnapshot(CodexPlan::plus, readings, now,
                                                 [](Date, std::string_view) { return "t"; });
            for (const auto& [window, truth] : {std::pair{QuotaWindow::fiveHour, &codex.fiveHour()},
                                                std::pair{QuotaWindow::weekly, &codex.weekly()}}) {
                const std::string context = "seed " + std::to_string(seed) + ", step " +
                                            std::to_string(step) + ", " +
                                            std::string(rawValue(window));
                if (!truth->newest) {
                    continue;
                }
                ASSERT_TRUE(result.reading) << context;
                const std::optional<int> shown =
                    percentageValue(result.reading->snapshot.percentage(window));
                ASSERT_TRUE(shown) << context;
                const Written& newest = *truth->newest;
                if (result.reading->passedResets.contains(window)) {
                    EXPECT_EQ(*shown, 100) << context;
                    EXPECT_LE(newest.resetsAt, now) << context << ": shown as reset too soon";
                    continue;
                }
                const auto period = truth->remainingByPeriod.find(newest.resetsAt);
                ASSERT_NE(period, truth->remainingByPeriod.end()) << context;
                EXPECT_TRUE(period->second.contains(*shown))
                    << context << ": " << *shown << "% was given by no line of the period";
                EXPECT_LE(*shown, *codexLogRemainingPercent(newest.used)) << context;
            }
        }
        copied += source.state().copiedLines;
    }
    EXPECT_GT(copied, 0u) << "no fork copied a usage line";
}

}  // namespace
}  // namespace gaugely::logs
