#include <gtest/gtest.h>

#include <string>

#include "LowUsageNotificationSupport/CodexForkCopies.h"
#include "LowUsageNotificationSupport/CodexLogLine.h"

namespace gaugely {
namespace {

// 2025-09-25T12:34:56Z
constexpr double lineUnixTime = 1758803696;

std::string usageLine(const std::string& rateLimits,
                      const std::string& timestamp = "2025-09-25T12:34:56.789Z") {
    return R"({"timestamp":")" + timestamp +
           R"(","type":"event_msg","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":10}},"rate_limits":)" +
           rateLimits + "}}";
}

const std::string fiveHour = R"({"used_percent":12.5,"window_minutes":300,"resets_at":1758812345})";
const std::string weekly = R"({"used_percent":40,"window_minutes":10080,"resets_at":1759300000})";

CodexLogRateWindow window(double used, std::optional<int> minutes,
                          std::optional<double> resetsAtUnix) {
    return {used, minutes,
            resetsAtUnix ? std::optional<Date>(Date::fromUnixTime(*resetsAtUnix)) : std::nullopt};
}

TEST(CodexLogLine, DecodesEveryShapeCodexWroteAndRefusesTheRest) {
    using K = CodexLogLineKind;
    const Date at = Date::fromUnixTime(lineUnixTime + 0.789);
    const auto usage = [&](std::optional<CodexLogRateWindow> primary,
                           std::optional<CodexLogRateWindow> secondary,
                           std::string limitId = "codex",
                           std::optional<std::string> plan = std::nullopt, Date timestamp = {}) {
        return std::optional<CodexLogUsageLine>(
            CodexLogUsageLine{timestamp == Date{} ? at : timestamp, std::move(limitId),
                              std::move(plan), primary, secondary});
    };
    const struct {
        const char* name;
        std::string line;
        CodexLogLineKind kind;
        std::optional<CodexLogUsageLine> expected;
    } cases[] = {
        {"windows with Unix reset times",
         usageLine(R"({"primary":)" + fiveHour + R"(,"secondary":)" + weekly + "}"), K::usage,
         usage(window(12.5, 300, 1758812345), window(40, 10080, 1759300000))},
        {"relative resets (September 2025)",
         usageLine(
             R"({"primary":{"used_percent":5,"window_minutes":300,"resets_in_seconds":600},"secondary":null})"),
         K::usage, usage(window(5, 300, lineUnixTime + 0.789 + 600), std::nullopt)},
        {"reset times as RFC 3339 text (October 2025)",
         usageLine(
             R"({"primary":{"used_percent":5,"window_minutes":300,"resets_at":"2025-09-25T14:00:00Z"},"secondary":{"used_percent":9,"window_minutes":10080,"resets_at":"2025-09-28T02:00:00.5+02:00"}})"),
         K::usage, usage(window(5, 300, lineUnixTime + 5104), window(9, 10080, 1759017600.5))},
        {"absolute reset wins over a relative one",
         usageLine(
             R"({"primary":{"used_percent":5,"window_minutes":300,"resets_at":1758812345,"resets_in_seconds":1}})"),
         K::usage, usage(window(5, 300, 1758812345), std::nullopt)},
        {"credits, then the plan (late 2025)",
         usageLine(
             R"({"primary":)" + fiveHour +
             R"(,"secondary":null,"credits":{"has_credits":true,"unlimited":false,"balance":"5"},"plan_type":"plus"})"),
         K::usage, usage(window(12.5, 300, 1758812345), std::nullopt, "codex", "plus")},
        {"the account's bucket (February 2026)",
         usageLine(R"({"limit_id":"codex","limit_name":null,"primary":)" + fiveHour +
                   R"(,"secondary":)" + weekly + R"(,"credits":null,"plan_type":"pro"})"),
         K::usage,
         usage(window(12.5, 300, 1758812345), window(40, 10080, 1759300000), "codex", "pro")},
        {"another bucket",
         usageLine(
             R"({"limit_id":"codex_bengalfox","limit_name":"gpt-5.2-codex-sonic","primary":)" +
             fiveHour + R"(,"secondary":null,"credits":null,"plan_type":null})"),
         K::usage, usage(window(12.5, 300, 1758812345), std::nullopt, "codex_bengalfox")},
        {"the limit's reached type (April 2026), and a reset time null at the limit",
         usageLine(
             R"({"limit_id":"codex","limit_name":null,"primary":{"used_percent":100.0,"window_minutes":300,"resets_at":null},"secondary":null,"credits":null,"plan_type":"plus","rate_limit_reached_type":"rate_limit_reached"})"),
         K::usage, usage(window(100, 300, std::nullopt), std::nullopt, "codex", "plus")},
        {"a spend limit of its own between credits and the plan",
         usageLine(
             R"({"limit_id":"codex","limit_name":null,"primary":)" + fiveHour + R"(,"secondary":)" +
             weekly +
             R"(,"credits":null,"individual_limit":{"limit":"50","used":"12","remaining_percent":76,"resets_at":1759300000},"plan_type":"team","rate_limit_reached_type":null})"),
         K::usage,
         usage(window(12.5, 300, 1758812345), window(40, 10080, 1759300000), "codex", "team")},
        {"a window of unknown length",
         usageLine(R"({"primary":)" + fiveHour +
                   R"(,"secondary":{"used_percent":3,"window_minutes":null,"resets_at":null}})"),
         K::usage, usage(window(12.5, 300, 1758812345), window(3, std::nullopt, std::nullopt))},
        {"a window of length 0 is of unknown length",
         usageLine(R"({"primary":{"used_percent":3,"window_minutes":0,"resets_at":1758812345}})"),
         K::usage, usage(window(3, std::nullopt, 1758812345), std::nullopt)},
        {"both windows null: no plan limits",
         usageLine(R"({"primary":null,"secondary":null,"credits":null,"plan_type":null})"),
         K::usage, usage(std::nullopt, std::nullopt)},
        {"negative and above-100 shares are kept as written",
         usageLine(
             R"({"primary":{"used_percent":-1,"window_minutes":300,"resets_at":1758812345},"secondary":{"used_percent":103,"window_minutes":10080,"resets_at":1759300000}})"),
         K::usage, usage(window(-1, 300, 1758812345), window(103, 10080, 1759300000))},
        {"whole minutes written as a float",
         usageLine(
             R"({"primary":{"used_percent":1,"window_minutes":300.0,"resets_at":1758812345}})"),
         K::usage, usage(window(1, 300, 1758812345), std::nullopt)},
        {"leap day", usageLine(R"({"primary":)" + fiveHour + "}", "2024-02-29T00:00:00Z"), K::usage,
         usage(window(12.5, 300, 1758812345), std::nullopt, "codex", std::nullopt,
               Date::fromUnixTime(1709164800))},

        {"null rate limits", usageLine("null"), K::withoutRateLimits, std::nullopt},
        {"no rate limits",
         R"({"timestamp":"2025-09-25T12:34:56.789Z","type":"event_msg","payload":{"type":"token_count","info":null}})",
         K::withoutRateLimits, std::nullopt},
        {"the flat shape (September 2025)",
         usageLine(
             R"({"primary_used_percent":12.0,"weekly_used_percent":30.0,"primary_to_weekly_ratio_percent":20.0,"primary_window_minutes":300,"weekly_window_minutes":10080})"),
         K::tooOld, std::nullopt},

        {"another event",
         R"({"timestamp":"2025-09-25T12:34:56Z","type":"event_msg","payload":{"type":"agent_message","message":"token_count"}})",
         K::unrelated, std::nullopt},
        {"conversation naming token_count",
         R"({"timestamp":"2025-09-25T12:34:56Z","type":"response_item","payload":{"type":"message","content":[{"type":"input_text","text":"grep \"token_count\" rate_limits"}]}})",
         K::unrelated, std::nullopt},
        {"token_count outside an event",
         R"({"type":"response_item","payload":{"type":"token_count","rate_limits":{"primary":null}}})",
         K::unrelated, std::nullopt},
        {"broken JSON mentioning the word", R"({"text":"token_count)", K::unrelated, std::nullopt},
        {"broken JSON", "{not json", K::unrelated, std::nullopt},
        {"empty line", "", K::unrelated, std::nullopt},

        {"truncated usage line", usageLine(R"({"primary":)" + fiveHour + "}").substr(0, 120),
         K::unrecognised, std::nullopt},
        {"no timestamp",
         R"({"type":"event_msg","payload":{"type":"token_count","rate_limits":null}})",
         K::unrecognised, std::nullopt},
        {"rate limits of another type", usageLine("[1,2]"), K::unrecognised, std::nullopt},
        {"window of another type", usageLine(R"({"primary":12.5})"), K::unrecognised, std::nullopt},
        {"percentage as a string",
         usageLine(R"({"primary":{"used_percent":"12.5","window_minutes":300,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"fractional length",
         usageLine(R"({"primary":{"used_percent":1,"window_minutes":300.5,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"reset time as other text",
         usageLine(R"({"primary":{"used_percent":1,"window_minutes":300,"resets_at":"soon"}})"),
         K::unrecognised, std::nullopt},
        {"reset time beyond any calendar",
         usageLine(R"({"primary":{"used_percent":1,"window_minutes":300,"resets_at":1e300}})"),
         K::unrecognised, std::nullopt},
        {"one good and one broken window",
         usageLine(R"({"primary":)" + fiveHour + R"(,"secondary":{"used_percent":true}})"),
         K::unrecognised, std::nullopt},
    };
    for (const auto& c : cases) {
        const CodexLogLineDecoding decoded = decodeCodexLogLine(c.line);
        EXPECT_EQ(decoded.kind, c.kind) << c.name;
        EXPECT_EQ(decoded.usage, c.expected) << c.name;
        const bool timed =
            c.kind == K::usage || c.kind == K::withoutRateLimits || c.kind == K::tooOld;
        EXPECT_EQ(decoded.timestamp.has_value(), timed) << c.name;
        // The follower's cheap look must pass every line the decoder has something to say about.
        if (decoded.kind != K::unrelated) {
            EXPECT_TRUE(mayBeCodexUsageLine(c.line)) << c.name;
        }
    }
}

TEST(CodexLogLine, ReadsRfc3339TimesAndNothingLikeThem) {
    const struct {
        const char* text;
        std::optional<double> unixTime;
    } cases[] = {
        {"2025-09-25T12:34:56.789Z", lineUnixTime + 0.789},
        {"2025-09-25T12:34:56.123456789Z", lineUnixTime + 0.123456789},
        {"2025-09-25T14:34:56+02:00", lineUnixTime},
        {"2025-09-25T07:04:56-05:30", lineUnixTime},
        {"2025-09-25T12:34:56z", lineUnixTime},
        {"2025-09-25T12:34:56.1234567890Z", std::nullopt},
        {"2025-09-25T12:34:56", std::nullopt},
        {"2025-09-25T12:34:56+0200", std::nullopt},
        {"2025-09-25T12:34:56+24:00", std::nullopt},
        {"2025-09-25 12:34:56Z", std::nullopt},
        {"2025-9-25T12:34:56Z", std::nullopt},
        {"2025-02-30T12:34:56Z", std::nullopt},
        {"2025-09-25T24:00:00Z", std::nullopt},
        {"2025-09-25T12:34:56Zjunk", std::nullopt},
        {"+025-09-25T12:34:56Z", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) {
        const std::optional<Date> date = rfc3339Date(c.text);
        ASSERT_EQ(date.has_value(), c.unixTime.has_value()) << c.text;
        if (date) {
            EXPECT_NEAR(date->unixTime(), *c.unixTime, 1e-6) << c.text;
        }
    }
    EXPECT_EQ(codexLogLineTimestamp(R"({"timestamp":"2025-09-25T12:34:56Z","type":"x"})"),
              Date::fromUnixTime(lineUnixTime));
    EXPECT_EQ(codexLogLineTimestamp(R"({"type":"x","timestamp":"2025-09-25T12:34:56Z"})"),
              std::nullopt);
}

std::string metaLine(const std::string& at, const std::string& id,
                     const std::string& forkedFrom = "") {
    return R"({"timestamp":")" + at + R"(","type":"session_meta","payload":{"id":")" + id + "\"" +
           (forkedFrom.empty() ? "" : R"(,"forked_from_id":")" + forkedFrom + "\"") +
           R"(,"timestamp":")" + at +
           R"(","cwd":"/p","originator":"codex_cli_rs","cli_version":"0.1","base_instructions":{"text":"You are Codex"}}})";
}

std::string eventLine(const std::string& at) {
    return R"({"timestamp":")" + at +
           R"(","type":"event_msg","payload":{"type":"agent_message","message":"hi"}})";
}

TEST(CodexForkCopies, ACopyRunsFromTheParentsMetaToTheEndOfItsBurst) {
    const std::string t0 = "2026-03-01T10:00:00.000Z";
    const struct {
        const char* name;
        std::vector<std::string> head;
        std::optional<std::string> copiesUntil;
        bool finishedEarly;
    } cases[] = {
        {"a session of its own",
         {metaLine(t0, "b"), eventLine("2026-03-01T10:00:00.100Z")},
         std::nullopt,
         true},
        {"a fork naming its parent, its copies ending at a pause",
         {metaLine(t0, "b", "a"), metaLine("2026-03-01T10:00:00.010Z", "a"),
          eventLine("2026-03-01T10:00:00.400Z"), eventLine("2026-03-01T10:00:01.300Z"),
          eventLine("2026-03-01T10:00:09.000Z"), eventLine("2026-03-01T10:00:09.100Z")},
         "2026-03-01T10:00:01.300Z",
         true},
        {"a fork by an older Codex: another session's meta second",
         {metaLine(t0, "b"), metaLine("2026-03-01T10:00:03.000Z", "a"),
          eventLine("2026-03-01T10:00:03.001Z"), eventLine("2026-03-01T10:01:00.000Z")},
         "2026-03-01T10:00:03.001Z",
         true},
        {"a fork of a fork copies both metas",
         {metaLine(t0, "c", "b"), metaLine("2026-03-01T10:00:00.001Z", "b", "a"),
          metaLine("2026-03-01T10:00:00.002Z", "a"), eventLine("2026-03-01T10:00:00.003Z")},
         "2026-03-01T10:00:00.003Z",
         false},
        {"lines without a time neither end nor extend it",
         {metaLine(t0, "b", "a"), metaLine("2026-03-01T10:00:00.010Z", "a"), "{not codex",
          eventLine("2026-03-01T10:00:00.020Z")},
         "2026-03-01T10:00:00.020Z",
         false},
        {"a line too long to hold counts as a line",
         {metaLine(t0, "b"), "", metaLine("2026-03-01T10:00:00.010Z", "a")},
         std::nullopt,
         true},
        {"no session meta first", {eventLine(t0), metaLine(t0, "a")}, std::nullopt, true},
    };
    for (const auto& c : cases) {
        CodexForkCopies copies;
        for (const auto& line : c.head) {
            copies.take(line);
        }
        EXPECT_EQ(copies.done(), c.finishedEarly) << c.name;
        copies.finish();
        EXPECT_EQ(copies.copiesUntil(),
                  c.copiesUntil ? rfc3339Date(*c.copiesUntil) : std::optional<Date>())
            << c.name;
    }
    EXPECT_EQ(decodeCodexSessionMeta(metaLine(t0, "b", "a")), (CodexSessionMeta{"b", "a"}));
}

}  // namespace
}  // namespace gaugely
