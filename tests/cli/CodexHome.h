#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/Json.h"

// Codex homes written the way Codex's own serialisers write them, for the tool's tests: each line
// a `RolloutLine` (`timestamp` first, then the item's `type` and `payload`), members in the order
// of Codex's structs, absent values of the rate-limit structs written as `null`, times with three
// fraction digits in UTC, and every session in `sessions/YYYY/MM/DD/` (the local date it
// started) as `rollout-YYYY-MM-DDThh-mm-ss-<UUIDv7>.jsonl`. A file's modification time is its
// last line's, as on a disk Codex wrote.
namespace gaugely::tooltest {

namespace fs = std::filesystem;

// The shapes of `rate_limits`, oldest first.
enum class CodexGeneration {
    flat,             // September 2025: primary_used_percent, weekly_used_percent, …
    resetsInSeconds,  // {primary, secondary} windows, resets relative to the line
    resetsAtText,     // October 2025: resets_at as RFC 3339 text
    resetsAtUnix,     // resets_at in Unix seconds
    credits,          // then credits
    planType,         // then plan_type
    buckets,          // February 2026: limit_id and limit_name first, one line per bucket
    reachedType,      // April 2026: rate_limit_reached_type last
};

struct RateWindow {
    double usedPercent = 0;
    std::optional<long long> windowMinutes;
    // Unix seconds; none is written as null.
    std::optional<long long> resetsAt;
};

struct TokenCount {
    double at = 0;  // Unix seconds
    std::optional<RateWindow> primary;
    std::optional<RateWindow> secondary;
    std::optional<std::string> planType;
    std::optional<std::string> reachedType;
    // `"rate_limits": null`.
    bool withoutRateLimits = false;
};

inline std::string utcStamp(double unixSeconds) {
    // Whole milliseconds first, so a fraction that rounds up carries into the seconds.
    const long long totalMillis = std::llround(unixSeconds * 1000);
    const auto whole = static_cast<std::time_t>(totalMillis / 1000);
    const int millis = static_cast<int>(totalMillis % 1000);
    std::tm parts{};
    ::gmtime_r(&whole, &parts);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    char withMillis[64];
    std::snprintf(withMillis, sizeof withMillis, "%s.%03dZ", text, millis);
    return withMillis;
}

// A UUIDv7: the start's milliseconds, then version and variant bits around a counter.
inline std::string uuid7(double unixSeconds, uint64_t counter) {
    const auto millis = static_cast<uint64_t>(unixSeconds * 1000);
    char text[96];
    std::snprintf(text, sizeof text, "%08llx-%04llx-7%03llx-8%03llx-%012llx",
                  static_cast<unsigned long long>(millis >> 16),
                  static_cast<unsigned long long>(millis & 0xFFFF),
                  static_cast<unsigned long long>(counter & 0xFFF),
                  static_cast<unsigned long long>((counter >> 12) & 0xFFF),
                  static_cast<unsigned long long>(0x5eed0000 + counter));
    return text;
}

class CodexHome {
  public:
    struct Session {
        std::string id;
        fs::path file;
    };

    CodexHome(fs::path home, CodexGeneration generation)
        : home_(std::move(home)), generation_(generation) {}

    // A session begun at `at`, its `session_meta` written.
    Session start(double at) {
        const std::string id = uuid7(at, ++sessions_);
        const auto whole = static_cast<std::time_t>(at);
        std::tm local{};
        ::localtime_r(&whole, &local);
        char folder[16];
        std::strftime(folder, sizeof folder, "%Y/%m/%d", &local);
        char started[32];
        std::strftime(started, sizeof started, "%Y-%m-%dT%H-%M-%S", &local);
        Session session{id, home_ / "sessions" / folder /
                                ("rollout-" + std::string(started) + "-" + id + ".jsonl")};
        fs::create_directories(session.file.parent_path());
        append(session, at, line(at, "session_meta", sessionMeta(id, at)));
        return session;
    }

    void tokenCount(const Session& session, const TokenCount& count) {
        append(session, count.at, tokenCountLine(count));
    }

    // The line `tokenCount` appends, for a test that writes it in pieces.
    std::string tokenCountLine(const TokenCount& count) const {
        Json payload = Json::object();
        payload["type"] = "token_count";
        payload["info"] = Json();
        payload["rate_limits"] = count.withoutRateLimits ? Json() : rateLimits(count);
        return line(count.at, "event_msg", std::move(payload));
    }

    // A line of conversation, which the reader never reads.
    void message(const Session& session, double at, const std::string& text) {
        Json payload = Json::object();
        payload["type"] = "agent_message";
        payload["message"] = text;
        append(session, at, line(at, "event_msg", std::move(payload)));
    }

  private:
    // The members Codex writes; the reader reads no more than the id (and a fork's parent's).
    static Json sessionMeta(const std::string& id, double at) {
        Json meta = Json::object();
        meta["id"] = id;
        meta["timestamp"] = utcStamp(at);
        meta["cwd"] = "/home/you/project";
        meta["originator"] = "codex_cli_rs";
        meta["cli_version"] = "0.120.0";
        meta["source"] = "cli";
        meta["model_provider"] = "openai";
        return meta;
    }

    Json window(const std::optional<RateWindow>& stated, double lineAt) const {
        if (!stated) {
            return Json();
        }
        Json json = Json::object();
        json["used_percent"] = stated->usedPercent;
        json["window_minutes"] = stated->windowMinutes ? Json(*stated->windowMinutes) : Json();
        switch (generation_) {
            case CodexGeneration::flat:
                break;
            case CodexGeneration::resetsInSeconds:
                json["resets_in_seconds"] =
                    stated->resetsAt ? Json(*stated->resetsAt - static_cast<long long>(lineAt))
                                     : Json();
                break;
            case CodexGeneration::resetsAtText:
                // A whole second, written as chrono writes one: no fraction.
                json["resets_at"] =
                    stated->resetsAt
                        ? Json(utcStamp(static_cast<double>(*stated->resetsAt)).substr(0, 19) + "Z")
                        : Json();
                break;
            default:
                json["resets_at"] = stated->resetsAt ? Json(*stated->resetsAt) : Json();
                break;
        }
        return json;
    }

    Json rateLimits(const TokenCount& count) const {
        Json limits = Json::object();
        if (generation_ == CodexGeneration::flat) {
            limits["primary_used_percent"] = count.primary ? count.primary->usedPercent : 0.0;
            limits["weekly_used_percent"] = count.secondary ? count.secondary->usedPercent : 0.0;
            limits["primary_to_weekly_ratio_percent"] = 20.0;
            limits["primary_window_minutes"] = 300;
            limits["weekly_window_minutes"] = 10080;
            return limits;
        }
        if (generation_ >= CodexGeneration::buckets) {
            limits["limit_id"] = "codex";
            limits["limit_name"] = Json();
        }
        limits["primary"] = window(count.primary, count.at);
        limits["secondary"] = window(count.secondary, count.at);
        if (generation_ >= CodexGeneration::credits) {
            Json credits = Json::object();
            credits["has_credits"] = false;
            credits["unlimited"] = false;
            credits["balance"] = Json();
            limits["credits"] = credits;
        }
        if (generation_ >= CodexGeneration::planType) {
            limits["plan_type"] = count.planType ? Json(*count.planType) : Json();
        }
        if (generation_ >= CodexGeneration::reachedType) {
            limits["rate_limit_reached_type"] =
                count.reachedType ? Json(*count.reachedType) : Json();
        }
        return limits;
    }

    static std::string line(double at, const char* type, Json payload) {
        Json line = Json::object();
        line["timestamp"] = utcStamp(at);
        line["type"] = type;
        line["payload"] = std::move(payload);
        return line.dump() + "\n";
    }

    void append(const Session& session, double at, const std::string& line) {
        std::ofstream(session.file, std::ios::binary | std::ios::app) << line;
        const auto seconds = static_cast<std::time_t>(std::floor(at));
        const timespec times[2] = {{seconds, static_cast<long>((at - std::floor(at)) * 1e9)},
                                   {seconds, static_cast<long>((at - std::floor(at)) * 1e9)}};
        ::utimensat(AT_FDCWD, session.file.c_str(), times, 0);
    }

    fs::path home_;
    CodexGeneration generation_;
    uint64_t sessions_ = 0;
};

}  // namespace gaugely::tooltest
