#include "LowUsageNotificationSupport/CodexLogLine.h"

// Reads the rate limits of one session-log line, and nothing else of it.
//
// The parser keeps only the few members a usage line has (the timestamp, the two types, the rate
// limits' windows); every other member, which is where the conversation lives, is parsed past and
// dropped at once, so none of it is ever held beyond the parser's own step.
//
// Choices where a line is neither clearly a reading nor clearly something else:
// - a rate-limits object that states neither window is unrecognised: it has no figure to show and
//   may be a shape we do not know, which the user should hear about;
// - a line that is not valid JSON is unrelated, unless it names "token_count" as a JSON string (a
//   cut-off usage line); inside a valid line's text the word would be written \"token_count\";
// - a window is unrecognised without a whole positive length, a finite used share or a reset time;
//   `resets_at` wins over `resets_in_seconds` when both are written.

#include <array>
#include <charconv>
#include <chrono>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {
namespace {

constexpr std::string_view usageMarker = "token_count";

// The latest reset Unix time we read (about the year 5000), and the longest relative one: beyond
// them a value is no time a calendar shows.
constexpr double latestResetUnixTime = 1e11;
constexpr double longestResetInterval = 1e10;

// Reads exactly `count` decimal digits at `at`.
std::optional<int> digits(std::string_view text, std::size_t at, std::size_t count) {
    if (at + count > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

bool hasCharacter(std::string_view text, std::size_t at, char expected) {
    return at < text.size() && text[at] == expected;
}

// "2025-09-25T12:34:56.789Z": UTC, with an optional fraction of up to nine digits; "+00:00" may
// stand for the "Z". Any other form or zone is refused rather than read as something else.
std::optional<Date> codexTimestamp(std::string_view text) {
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    const auto hour = digits(text, 11, 2);
    const auto minute = digits(text, 14, 2);
    const auto second = digits(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second || !hasCharacter(text, 4, '-') ||
        !hasCharacter(text, 7, '-') || !hasCharacter(text, 10, 'T') ||
        !hasCharacter(text, 13, ':') || !hasCharacter(text, 16, ':') || *hour > 23 ||
        *minute > 59 || *second > 59) {
        return std::nullopt;
    }
    std::size_t at = 19;
    double fraction = 0;
    if (hasCharacter(text, at, '.')) {
        ++at;
        const std::size_t start = at;
        double scale = 0.1;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - start < 9) {
            fraction += (text[at] - '0') * scale;
            scale /= 10;
            ++at;
        }
        if (at == start) {
            return std::nullopt;
        }
    }
    const std::string_view zone = text.substr(at);
    if (zone != "Z" && zone != "+00:00") {
        return std::nullopt;
    }
    using namespace std::chrono;
    const year_month_day date{std::chrono::year{*year},
                              std::chrono::month{static_cast<unsigned>(*month)},
                              std::chrono::day{static_cast<unsigned>(*day)}};
    if (!date.ok()) {
        return std::nullopt;
    }
    const double days = sys_days(date).time_since_epoch().count();
    return Date::fromUnixTime(days * 86'400 + *hour * 3'600 + *minute * 60 + *second + fraction);
}

bool isOneOf(std::string_view key, std::initializer_list<std::string_view> keys) {
    for (const std::string_view candidate : keys) {
        if (key == candidate) {
            return true;
        }
    }
    return false;
}

// Which members the parser keeps. `path` holds the keys of the enclosing objects, outermost first.
bool keepsMember(const std::vector<std::string>& path, std::string_view key) {
    switch (path.size()) {
        case 0:
            return isOneOf(key, {"timestamp", "type", "payload"});
        case 1:
            return path[0] == "payload" && isOneOf(key, {"type", "rate_limits"});
        case 2:
            return path[0] == "payload" && path[1] == "rate_limits" &&
                   isOneOf(key, {"primary", "secondary"});
        case 3:
            return path[0] == "payload" && path[1] == "rate_limits" &&
                   isOneOf(key,
                           {"used_percent", "window_minutes", "resets_at", "resets_in_seconds"});
        default:
            return false;
    }
}

// The line parsed down to the members above; none when it is not JSON.
std::optional<Json> parseUsageMembers(std::string_view line) {
    std::vector<std::string> path;
    const Json::parser_callback_t keep = [&path](int depth, Json::parse_event_t event,
                                                 Json& parsed) {
        if (event != Json::parse_event_t::key || depth < 1 || !parsed.is_string()) {
            return true;
        }
        path.resize(static_cast<std::size_t>(depth - 1));
        const auto& key = parsed.get_ref<const std::string&>();
        const bool kept = keepsMember(path, key);
        path.push_back(key);
        return kept;
    };
    Json json = Json::parse(line.begin(), line.end(), keep, /*allow_exceptions=*/false);
    if (json.is_discarded()) {
        return std::nullopt;
    }
    return json;
}

bool isAbsent(const Json* member) {
    return member == nullptr || member->is_null();
}

// A string member equal to `expected`.
bool hasText(const Json& object, std::string_view key, std::string_view expected) {
    const std::optional<std::string> text = jsonString(object, key);
    return text && *text == expected;
}

struct WindowReading {
    bool recognised = false;
    std::optional<CodexLogRateWindow> window;
};

WindowReading rateWindow(const Json* member, Date timestamp) {
    if (isAbsent(member)) {
        return {true, std::nullopt};
    }
    if (!member->is_object()) {
        return {};
    }
    const std::optional<double> used = jsonNumber(*member, "used_percent");
    const std::optional<long long> minutes = jsonInteger(*member, "window_minutes");
    if (!used || !minutes || *minutes <= 0 || *minutes > INT_MAX) {
        return {};
    }
    std::optional<Date> resetsAt;
    if (!isAbsent(jsonMember(*member, "resets_at"))) {
        const std::optional<double> unixTime = jsonNumber(*member, "resets_at");
        if (unixTime && *unixTime >= 0 && *unixTime <= latestResetUnixTime) {
            resetsAt = Date::fromUnixTime(*unixTime);
        }
    } else if (!isAbsent(jsonMember(*member, "resets_in_seconds"))) {
        const std::optional<double> interval = jsonNumber(*member, "resets_in_seconds");
        if (interval && std::fabs(*interval) <= longestResetInterval) {
            resetsAt = timestamp.addingTimeInterval(*interval);
        }
    }
    if (!resetsAt) {
        return {};
    }
    return {true, CodexLogRateWindow{*used, static_cast<int>(*minutes), *resetsAt}};
}

// Whether broken text names the usage event as a JSON string, unescaped.
bool namesUsageEvent(std::string_view line) {
    const std::string quoted = "\"" + std::string(usageMarker) + "\"";
    for (std::size_t at = line.find(quoted); at != std::string_view::npos;
         at = line.find(quoted, at + 1)) {
        if (at == 0 || line[at - 1] != '\\') {
            return true;
        }
    }
    return false;
}

}  // namespace

bool mayBeCodexUsageLine(std::string_view line) {
    return line.find(usageMarker) != std::string_view::npos;
}

CodexLogLineDecoding decodeCodexLogLine(std::string_view line) {
    const CodexLogLineDecoding unrelated{CodexLogLineKind::unrelated, std::nullopt};
    const CodexLogLineDecoding unrecognised{CodexLogLineKind::unrecognised, std::nullopt};
    // The same look the follower makes first, so the two can never disagree about a line.
    if (!mayBeCodexUsageLine(line)) {
        return unrelated;
    }
    const std::optional<Json> json = parseUsageMembers(line);
    if (!json) {
        return namesUsageEvent(line) ? unrecognised : unrelated;
    }
    const Json* payload = jsonMember(*json, "payload");
    if (!hasText(*json, "type", "event_msg") || payload == nullptr ||
        !hasText(*payload, "type", usageMarker)) {
        return unrelated;
    }
    const Json* rateLimits = jsonMember(*payload, "rate_limits");
    if (isAbsent(rateLimits)) {
        return unrelated;
    }
    const std::optional<std::string> timestampText = jsonString(*json, "timestamp");
    const std::optional<Date> timestamp =
        timestampText ? codexTimestamp(*timestampText) : std::nullopt;
    if (!rateLimits->is_object() || !timestamp) {
        return unrecognised;
    }
    const WindowReading primary = rateWindow(jsonMember(*rateLimits, "primary"), *timestamp);
    const WindowReading secondary = rateWindow(jsonMember(*rateLimits, "secondary"), *timestamp);
    if (!primary.recognised || !secondary.recognised || (!primary.window && !secondary.window)) {
        return unrecognised;
    }
    return {CodexLogLineKind::usage,
            CodexLogUsageLine{*timestamp, primary.window, secondary.window}};
}

}  // namespace gaugely
