#include <gtest/gtest.h>

#include <string>

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

CodexLogRateWindow window(double used, int minutes, double resetsAtUnix) {
    return {used, minutes, Date::fromUnixTime(resetsAtUnix)};
}

TEST(CodexLogLine, DecodesOnlyTheShapesItKnows) {
    using K = CodexLogLineKind;
    const Date at = Date::fromUnixTime(lineUnixTime + 0.789);
    const auto usage = [&](std::optional<CodexLogRateWindow> primary,
                           std::optional<CodexLogRateWindow> secondary, Date timestamp) {
        return std::optional<CodexLogUsageLine>(CodexLogUsageLine{timestamp, primary, secondary});
    };
    const struct {
        const char* name;
        std::string line;
        CodexLogLineKind kind;
        std::optional<CodexLogUsageLine> expected;
    } cases[] = {
        {"current format",
         usageLine(R"({"primary":)" + fiveHour + R"(,"secondary":)" + weekly + "}"), K::usage,
         usage(window(12.5, 300, 1758812345), window(40, 10080, 1759300000), at)},
        {"older relative resets",
         usageLine(
             R"({"primary":{"used_percent":5,"window_minutes":300,"resets_in_seconds":600},"secondary":null})"),
         K::usage, usage(window(5, 300, lineUnixTime + 0.789 + 600), std::nullopt, at)},
        {"absolute reset wins over a relative one",
         usageLine(
             R"({"primary":{"used_percent":5,"window_minutes":300,"resets_at":1758812345,"resets_in_seconds":1}})"),
         K::usage, usage(window(5, 300, 1758812345), std::nullopt, at)},
        {"absent primary", usageLine(R"({"secondary":)" + weekly + "}"), K::usage,
         usage(std::nullopt, window(40, 10080, 1759300000), at)},
        {"newer fields are ignored",
         usageLine(
             R"({"primary":)" + fiveHour +
             R"(,"secondary":null,"credits":{"balance":"5","unlimited":false},"plan_type":"plus"})"),
         K::usage, usage(window(12.5, 300, 1758812345), std::nullopt, at)},
        {"negative and above-100 shares are kept as written",
         usageLine(
             R"({"primary":{"used_percent":-1,"window_minutes":300,"resets_at":1758812345},"secondary":{"used_percent":103,"window_minutes":10080,"resets_at":1759300000}})"),
         K::usage, usage(window(-1, 300, 1758812345), window(103, 10080, 1759300000), at)},
        {"whole minutes written as a float",
         usageLine(
             R"({"primary":{"used_percent":1,"window_minutes":300.0,"resets_at":1758812345}})"),
         K::usage, usage(window(1, 300, 1758812345), std::nullopt, at)},
        {"timestamp without a fraction",
         usageLine(R"({"primary":)" + fiveHour + "}", "2025-09-25T12:34:56Z"), K::usage,
         usage(window(12.5, 300, 1758812345), std::nullopt, Date::fromUnixTime(lineUnixTime))},
        {"timestamp with a zero offset",
         usageLine(R"({"primary":)" + fiveHour + "}", "2025-09-25T12:34:56.5+00:00"), K::usage,
         usage(window(12.5, 300, 1758812345), std::nullopt,
               Date::fromUnixTime(lineUnixTime + 0.5))},
        {"leap day", usageLine(R"({"primary":)" + fiveHour + "}", "2024-02-29T00:00:00Z"), K::usage,
         usage(window(12.5, 300, 1758812345), std::nullopt, Date::fromUnixTime(1709164800))},

        {"no rate limits", R"({"type":"event_msg","payload":{"type":"token_count","info":null}})",
         K::unrelated, std::nullopt},
        {"null rate limits", usageLine("null"), K::unrelated, std::nullopt},
        {"another event",
         R"({"timestamp":"2025-09-25T12:34:56Z","type":"event_msg","payload":{"type":"agent_message","message":"token_count"}})",
         K::unrelated, std::nullopt},
        {"conversation naming token_count",
         R"({"timestamp":"2025-09-25T12:34:56Z","type":"response_item","payload":{"type":"message","content":[{"type":"input_text","text":"grep \"token_count\" rate_limits"}]}})",
         K::unrelated, std::nullopt},
        {"token_count outside an event",
         R"({"type":"response_item","payload":{"type":"token_count","rate_limits":{"primary":null}}})",
         K::unrelated, std::nullopt},
        {"no mention at all", R"({"type":"session_meta","payload":{}})", K::unrelated,
         std::nullopt},
        {"broken JSON mentioning the word", R"({"text":"token_count)", K::unrelated, std::nullopt},
        {"broken JSON", "{not json", K::unrelated, std::nullopt},
        {"empty line", "", K::unrelated, std::nullopt},

        {"truncated usage line", usageLine(R"({"primary":)" + fiveHour + "}").substr(0, 120),
         K::unrecognised, std::nullopt},
        {"rate limits of another type", usageLine("[1,2]"), K::unrecognised, std::nullopt},
        {"both windows null", usageLine(R"({"primary":null,"secondary":null})"), K::unrecognised,
         std::nullopt},
        {"no windows at all", usageLine(R"({"credits":{}})"), K::unrecognised, std::nullopt},
        {"window of another type", usageLine(R"({"primary":12.5})"), K::unrecognised, std::nullopt},
        {"percentage as a string",
         usageLine(R"({"primary":{"used_percent":"12.5","window_minutes":300,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"percentage not a number",
         usageLine(R"({"primary":{"used_percent":NaN,"window_minutes":300,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"percentage missing", usageLine(R"({"primary":{"window_minutes":300,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"length missing", usageLine(R"({"primary":{"used_percent":1,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"fractional length",
         usageLine(R"({"primary":{"used_percent":1,"window_minutes":300.5,"resets_at":1}})"),
         K::unrecognised, std::nullopt},
        {"no reset time", usageLine(R"({"primary":{"used_percent":1,"window_minutes":300}})"),
         K::unrecognised, std::nullopt},
        {"reset time as text",
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
        // The follower's cheap look must pass every line the decoder has something to say about.
        if (decoded.kind != K::unrelated) {
            EXPECT_TRUE(mayBeCodexUsageLine(c.line)) << c.name;
        }
    }
}

TEST(CodexLogLine, ReadsOnlyUtcTimestampsOfTheOneForm) {
    const struct {
        const char* timestamp;
        bool readable;
    } cases[] = {
        {"2025-09-25T12:34:56.789Z", true},
        {"2025-09-25T12:34:56.123456789Z", true},
        {"2025-09-25T12:34:56+00:00", true},
        {"2025-09-25T12:34:56.1234567890Z", false},
        {"2025-09-25T12:34:56.Z", false},
        {"2025-09-25T12:34:56", false},
        {"2025-09-25T12:34:56+02:00", false},
        {"2025-09-25 12:34:56Z", false},
        {"2025-9-25T12:34:56Z", false},
        {"2025-02-30T12:34:56Z", false},
        {"2025-13-01T12:34:56Z", false},
        {"2025-09-25T24:00:00Z", false},
        {"2025-09-25T12:60:00Z", false},
        {"2025-09-25T12:34:60Z", false},
        {"2025-09-25T12:34:56Zjunk", false},
        {"+025-09-25T12:34:56Z", false},
        {"", false},
    };
    for (const auto& c : cases) {
        const CodexLogLineDecoding decoded =
            decodeCodexLogLine(usageLine(R"({"primary":)" + fiveHour + "}", c.timestamp));
        EXPECT_EQ(decoded.kind,
                  c.readable ? CodexLogLineKind::usage : CodexLogLineKind::unrecognised)
            << c.timestamp;
    }
}

}  // namespace
}  // namespace gaugely
