#include "LowUsageNotificationSupport/CodexLogReadings.h"

// Lines with the same time are taken in the order given; of two at one moment the later wins,
// and the moment counts as settled only when every line at it named all its windows. When one
// line lists two windows of the same length the first listed is read.

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

#include "LowUsageNotificationSupport/JsonDate.h"

namespace gaugely {

std::optional<QuotaWindow> quotaWindowForMinutes(int windowMinutes) {
    if (windowMinutes == fiveHourWindowMinutes) {
        return QuotaWindow::fiveHour;
    }
    if (windowMinutes == weeklyWindowMinutes) {
        return QuotaWindow::weekly;
    }
    if (windowMinutes >= shortestMonthlyWindowMinutes &&
        windowMinutes <= longestMonthlyWindowMinutes) {
        return QuotaWindow::monthly;
    }
    return std::nullopt;
}

std::optional<CodexPlan> codexPlanForLogPlanType(std::string_view planType) {
    if (planType == "free" || planType == "go") {
        return CodexPlan::freeGo;
    }
    if (planType == "plus") {
        return CodexPlan::plus;
    }
    if (planType == "pro") {
        return CodexPlan::pro;
    }
    return std::nullopt;
}

std::string logPlanTypeTitle(std::string_view planType) {
    if (planType == "prolite") {
        return "Pro Lite";
    }
    std::string title;
    for (const char c : planType) {
        title += c == '_' ? ' ' : c;
    }
    if (!title.empty()) {
        title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
    }
    return title;
}

void CodexLogReadings::noteNewest(Date at, Newest what, bool whole) {
    if (!newestAt_ || at > *newestAt_) {
        newestAt_ = at;
        newest_ = what;
        newestWhole_ = whole;
    } else if (at == *newestAt_) {
        newest_ = what;
        newestWhole_ = newestWhole_ && whole;
    }
}

void CodexLogReadings::take(const CodexLogUsageLine& line) {
    if (!line.isCodexBucket()) {
        ++otherBucketLines_;
        return;
    }
    if (line.planType && (!planType_ || line.timestamp >= planTypeAt_)) {
        planType_ = line.planType;
        planTypeAt_ = line.timestamp;
    }
    if (line.statesNoLimits()) {
        noteNewest(line.timestamp, Newest::noLimits, true);
        return;
    }
    bool whole = true;
    std::set<QuotaWindow> named;
    for (const auto& stated : {line.primary, line.secondary}) {
        if (!stated) {
            continue;
        }
        const std::optional<QuotaWindow> length =
            stated->windowMinutes ? quotaWindowForMinutes(*stated->windowMinutes) : std::nullopt;
        whole = whole && stated->windowMinutes && stated->resetsAt;
        if (!length || !named.insert(*length).second) {
            continue;
        }
        const auto [slot, isNew] = windows_.try_emplace(*length);
        Window& window = slot->second;
        if (stated->resetsAt &&
            (!window.lastStatedReset || line.timestamp >= window.lastStatedResetReadAt)) {
            window.lastStatedReset = stated->resetsAt;
            window.lastStatedResetReadAt = line.timestamp;
        }
        if (isNew || line.timestamp >= window.readAt) {
            window.usedPercent = stated->usedPercent;
            window.resetsAt = stated->resetsAt;
            window.readAt = line.timestamp;
        }
    }
    noteNewest(line.timestamp, Newest::limits, whole);
}

void CodexLogReadings::takeTooOld(Date at) {
    noteNewest(at, Newest::tooOld, true);
}

void CodexLogReadings::takeWithoutRateLimits(Date at) {
    if (!withoutRateLimits_ || at > *withoutRateLimits_) {
        withoutRateLimits_ = at;
    }
}

std::optional<Date> CodexLogReadings::effectiveReset(QuotaWindow length) const {
    const auto found = windows_.find(length);
    if (found == windows_.end()) {
        return std::nullopt;
    }
    const Window& window = found->second;
    if (window.resetsAt) {
        return window.resetsAt;
    }
    if (window.lastStatedReset && *window.lastStatedReset > window.readAt) {
        return window.lastStatedReset;
    }
    return std::nullopt;
}

std::optional<Date> CodexLogReadings::nextChangeAfter(Date now) const {
    std::optional<Date> next;
    for (const auto& [length, window] : windows_) {
        const std::optional<Date> at = effectiveReset(length);
        if (at && *at > now && (!next || *at < *next)) {
            next = at;
        }
    }
    return next;
}

}  // namespace gaugely

namespace gaugely {
namespace {

constexpr std::pair<CodexLogReadings::Newest, std::string_view> newestNames[] = {
    {CodexLogReadings::Newest::nothing, "nothing"},
    {CodexLogReadings::Newest::limits, "limits"},
    {CodexLogReadings::Newest::noLimits, "noLimits"},
    {CodexLogReadings::Newest::tooOld, "tooOld"},
};

bool readRequiredDate(const Json& object, std::string_view key, Date& date) {
    std::optional<Date> read;
    if (!readJsonDate(object, key, read) || !read) {
        return false;
    }
    date = *read;
    return true;
}

}  // namespace

Json CodexLogReadings::toJson() const {
    Json windows = Json::object();
    for (const auto& [window, reading] : windows_) {
        Json entry = Json::object();
        entry["usedPercent"] = reading.usedPercent;
        entry["resetsAt"] = jsonDate(reading.resetsAt);
        entry["readAt"] = reading.readAt.timeIntervalSinceReferenceDate;
        entry["lastStatedReset"] = jsonDate(reading.lastStatedReset);
        entry["lastStatedResetReadAt"] =
            reading.lastStatedResetReadAt.timeIntervalSinceReferenceDate;
        windows[std::string(rawValue(window))] = std::move(entry);
    }
    Json json = Json::object();
    json["windows"] = std::move(windows);
    for (const auto& [value, name] : newestNames) {
        if (value == newest_) {
            json["newest"] = std::string(name);
        }
    }
    json["newestAt"] = jsonDate(newestAt_);
    json["newestWhole"] = newestWhole_;
    json["withoutRateLimits"] = jsonDate(withoutRateLimits_);
    json["planType"] = planType_ ? Json(*planType_) : Json(nullptr);
    json["planTypeAt"] = planTypeAt_.timeIntervalSinceReferenceDate;
    json["otherBucketLines"] = otherBucketLines_;
    return json;
}

std::optional<CodexLogReadings> CodexLogReadings::fromJson(const Json& json) {
    const Json* windows = json.is_object() ? jsonMember(json, "windows") : nullptr;
    if (!windows || !windows->is_object()) {
        return std::nullopt;
    }
    CodexLogReadings readings;
    for (const auto& [key, entry] : windows->items()) {
        const auto window = fromRawValue<QuotaWindow>(key);
        const auto used = entry.is_object() ? jsonNumber(entry, "usedPercent") : std::nullopt;
        Window reading;
        if (!window || !used || !readJsonDate(entry, "resetsAt", reading.resetsAt) ||
            !readRequiredDate(entry, "readAt", reading.readAt) ||
            !readJsonDate(entry, "lastStatedReset", reading.lastStatedReset) ||
            !readRequiredDate(entry, "lastStatedResetReadAt", reading.lastStatedResetReadAt)) {
            return std::nullopt;
        }
        reading.usedPercent = *used;
        readings.windows_[*window] = reading;
    }
    const auto newest = jsonString(json, "newest");
    const auto found = std::find_if(std::begin(newestNames), std::end(newestNames),
                                    [&](const auto& entry) { return newest == entry.second; });
    const auto whole = jsonBool(json, "newestWhole");
    const auto otherBuckets = jsonInteger(json, "otherBucketLines");
    const Json* planType = jsonMember(json, "planType");
    if (found == std::end(newestNames) || !whole || !otherBuckets || *otherBuckets < 0 ||
        !planType || !(planType->is_null() || planType->is_string()) ||
        !readJsonDate(json, "newestAt", readings.newestAt_) ||
        !readJsonDate(json, "withoutRateLimits", readings.withoutRateLimits_) ||
        !readRequiredDate(json, "planTypeAt", readings.planTypeAt_)) {
        return std::nullopt;
    }
    readings.newest_ = found->first;
    readings.newestWhole_ = *whole;
    readings.otherBucketLines_ = static_cast<uint64_t>(*otherBuckets);
    if (planType->is_string()) {
        readings.planType_ = planType->get<std::string>();
    }
    return readings;
}

}  // namespace gaugely
