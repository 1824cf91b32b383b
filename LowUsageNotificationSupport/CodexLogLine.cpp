#include "LowUsageNotificationSupport/CodexLogLine.h"

// Reads the rate limits of one session-log line, and nothing else of it.
//
// The parser keeps only the few members a usage line has (the timestamp, the two types, the rate
// limits' bucket, plan and windows); every other member, which is where the conversation lives,
// is parsed past and dropped at once, so none of it is ever held beyond the parser's own step.
//
// The shapes Codex has written, oldest first: flat `primary_used_percent`/`weekly_used_percent`
// fields (September 2025, no reset times: too old to read); `{primary, secondary}` windows with
// `resets_in_seconds`; `resets_at` as an RFC 3339 text (October 2025, for days); `resets_at` in
// Unix seconds; then `credits`, `plan_type`, `limit_id`/`limit_name` with one line per bucket
// (February 2026) and `rate_limit_reached_type` (April 2026). Members we do not use are passed
// over, so a later addition does not make a line unreadable.
//
// Choices where a line is neither clearly a reading nor clearly something else:
// - a line that is not valid JSON is unrelated, unless it names "token_count" as a JSON string (a
//   cut-off usage line); inside a valid line's text the word would be written \"token_count\";
// - a window of length 0 is a window of unknown length, like one written as null;
// - `resets_at` wins over `resets_in_seconds` when both are written.

#include <array>
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

// The zone after the time: "Z" or "±hh:mm", as seconds to subtract; none for anything else.
std::optional<int> zoneOffset(std::string_view zone) {
    if (zone == "Z" || zone == "z") {
        return 0;
    }
    const auto hours = digits(zone, 1, 2);
    const auto minutes = digits(zone, 4, 2);
    if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || zone[3] != ':' || !hours ||
        !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    const int seconds = *hours * 3'600 + *minutes * 60;
    return zone[0] == '+' ? seconds : -seconds;
}

bool isOneOf(std::string_view key, std::initializer_list<std::string_view> keys) {
    for (const std::string_view candidate : keys) {
        if (key == candidate) {
            return true;
        }
    }
    return false;
}

// Which members the usage parser keeps. `path` holds the keys of the enclosing objects,
// outermost first.
bool keepsUsageMember(const std::vector<std::string>& path, std::string_view key) {
    switch (path.size()) {
        case 0:
            return isOneOf(key, {"timestamp", "type", "payload"});
        case 1:
            return path[0] == "payload" && isOneOf(key, {"type", "rate_limits"});
        case 2:
            return path[0] == "payload" && path[1] == "rate_limits" &&
                   isOneOf(key, {"limit_id", "plan_type", "primary", "secondary",
                                 "primary_used_percent"});
        case 3:
            return path[0] == "payload" && path[1] == "rate_limits" &&
                   isOneOf(key,
                           {"used_percent", "window_minutes", "resets_at", "resets_in_seconds"});
        default:
            return false;
    }
}

bool keepsSessionMember(const std::vector<std::string>& path, std::string_view key) {
    switch (path.size()) {
        case 0:
            return isOneOf(key, {"type", "payload"});
        case 1:
            return path[0] == "payload" && isOneOf(key, {"id", "forked_from_id"});
        default:
            return false;
    }
}

// The line parsed down to the members `keeps` allows; none when it is not JSON.
template <class Keeps>
std::optional<Json> parseMembers(std::string_view line, Keeps keeps) {
    std::vector<std::string> path;
    const Json::parser_callback_t keep = [&path, &keeps](int depth, Json::parse_event_t event,
                                                         Json& parsed) {
        if (event != Json::parse_event_t::key || depth < 1 || !parsed.is_string()) {
            return true;
        }
        path.resize(static_cast<std::size_t>(depth - 1));
        const auto& key = parsed.get_ref<const std::string&>();
        const bool kept = keeps(path, key);
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

// A window's reset time; `recognised` false for a value of no shape Codex wrote.
struct ResetReading {
    bool recognised = false;
    std::optional<Date> resetsAt;
};

ResetReading resetTime(const Json& window, Date timestamp) {
    const Json* resetsAt = jsonMember(window, "resets_at");
    if (!isAbsent(resetsAt)) {
        if (resetsAt->is_string()) {
            const std::optional<Date> date = rfc3339Date(resetsAt->get_ref<const std::string&>());
            return {date.has_value(), date};
        }
        const std::optional<double> unixTime = jsonNumber(window, "resets_at");
        if (!unixTime || *unixTime < 0 || *unixTime > latestResetUnixTime) {
            return {};
        }
        return {true, Date::fromUnixTime(*unixTime)};
    }
    if (!isAbsent(jsonMember(window, "resets_in_seconds"))) {
        const std::optional<double> interval = jsonNumber(window, "resets_in_seconds");
        if (!interval || std::fabs(*interval) > longestResetInterval) {
            return {};
        }
        return {true, timestamp.addingTimeInterval(*interval)};
    }
    return {true, std::nullopt};
}

WindowReading rateWindow(const Json* member, Date timestamp) {
    if (isAbsent(member)) {
        return {true, std::nullopt};
    }
    if (!member->is_object()) {
        return {};
    }
    const std::optional<double> used = jsonNumber(*member, "used_percent");
    if (!used || !std::isfinite(*used)) {
        return {};
    }
    CodexLogRateWindow window;
    window.usedPercent = *used;
    if (!isAbsent(jsonMember(*member, "window_minutes"))) {
        const std::optional<long long> minutes = jsonInteger(*member, "window_minutes");
        if (!minutes || *minutes < 0 || *minutes > INT_MAX) {
            return {};
        }
        if (*minutes > 0) {
            window.windowMinutes = static_cast<int>(*minutes);
        }
    }
    const ResetReading reset = resetTime(*member, timestamp);
    if (!reset.recognised) {
        return {};
    }
    window.resetsAt = reset.resetsAt;
    return {true, window};
}

// An optional text member: none when absent or null; `ok` false for any other type.
std::optional<std::string> optionalText(const Json& object, std::string_view key, bool& ok) {
    const Json* member = jsonMember(object, key);
    if (isAbsent(member)) {
        return std::nullopt;
    }
    if (!member->is_string()) {
        ok = false;
        return std::nullopt;
    }
    return member->get<std::string>();
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

std::optional<Date> rfc3339Date(std::string_view text) {
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
    const std::optional<int> offset = zoneOffset(text.substr(at));
    if (!offset) {
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
    return Date::fromUnixTime(days * 86'400 + *hour * 3'600 + *minute * 60 + *second + fraction -
                              *offset);
}

std::optional<Date> codexLogLineTimestamp(std::string_view line) {
    constexpr std::string_view head = "{\"timestamp\":\"";
    if (!line.starts_with(head)) {
        return std::nullopt;
    }
    const std::string_view rest = line.substr(head.size());
    const std::size_t end = rest.find('"');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return rfc3339Date(rest.substr(0, end));
}

bool mayBeCodexUsageLine(std::string_view line) {
    return line.find(usageMarker) != std::string_view::npos;
}

CodexLogLineDecoding decodeCodexLogLine(std::string_view line) {
    const CodexLogLineDecoding unrelated{CodexLogLineKind::unrelated, std::nullopt, std::nullopt};
    const CodexLogLineDecoding unrecognised{CodexLogLineKind::unrecognised, std::nullopt,
                                            std::nullopt};
    // The same look the follower makes first, so the two can never disagree about a line.
    if (!mayBeCodexUsageLine(line)) {
        return unrelated;
    }
    const std::optional<Json> json = parseMembers(line, keepsUsageMember);
    if (!json) {
        return namesUsageEvent(line) ? unrecognised : unrelated;
    }
    if (!json->is_object()) {
        return unrelated;
    }
    const Json* payload = jsonMember(*json, "payload");
    if (!hasText(*json, "type", "event_msg") || payload == nullptr || !payload->is_object() ||
        !hasText(*payload, "type", usageMarker)) {
        return unrelated;
    }
    const std::optional<std::string> timestampText = jsonString(*json, "timestamp");
    const std::optional<Date> timestamp =
        timestampText ? rfc3339Date(*timestampText) : std::nullopt;
    if (!timestamp) {
        return unrecognised;
    }
    const Json* rateLimits = jsonMember(*payload, "rate_limits");
    if (isAbsent(rateLimits)) {
        return {CodexLogLineKind::withoutRateLimits, std::nullopt, timestamp};
    }
    if (!rateLimits->is_object()) {
        return unrecognised;
    }
    if (jsonMember(*rateLimits, "primary_used_percent") != nullptr) {
        return {CodexLogLineKind::tooOld, std::nullopt, timestamp};
    }
    CodexLogUsageLine usage;
    usage.timestamp = *timestamp;
    bool textsOk = true;
    if (auto limitId = optionalText(*rateLimits, "limit_id", textsOk)) {
        usage.limitId = std::move(*limitId);
    }
    usage.planType = optionalText(*rateLimits, "plan_type", textsOk);
    const WindowReading primary = rateWindow(jsonMember(*rateLimits, "primary"), *timestamp);
    const WindowReading secondary = rateWindow(jsonMember(*rateLimits, "secondary"), *timestamp);
    if (!textsOk || !primary.recognised || !secondary.recognised) {
        return unrecognised;
    }
    usage.primary = primary.window;
    usage.secondary = secondary.window;
    return {CodexLogLineKind::usage, std::move(usage), timestamp};
}

std::optional<CodexSessionMeta> decodeCodexSessionMeta(std::string_view line) {
    // Only a line that says so is parsed: a session's first line holds its whole instructions.
    if (line.find("\"session_meta\"") == std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<Json> json = parseMembers(line, keepsSessionMember);
    if (!json || !json->is_object() || !hasText(*json, "type", "session_meta")) {
        return std::nullopt;
    }
    const Json* payload = jsonMember(*json, "payload");
    if (payload == nullptr || !payload->is_object()) {
        return std::nullopt;
    }
    std::optional<std::string> id = jsonString(*payload, "id");
    if (!id) {
        return std::nullopt;
    }
    return CodexSessionMeta{std::move(*id), jsonString(*payload, "forked_from_id")};
}

}  // namespace gaugely
