#include "Meterlane/macOS/MacTimeFormatter.h"

#include <dispatch/dispatch.h>

#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

namespace {

struct ConventionChange {
    std::weak_ptr<MacTimeFormatter*> formatter;
    bool timeZoneChanged = false;
};

void applyOnMainQueue(void* context) {
    const std::unique_ptr<ConventionChange> change(static_cast<ConventionChange*>(context));
    if (const auto formatter = change->formatter.lock(); formatter && *formatter != nullptr) {
        (*formatter)->conventionsDidChange(change->timeZoneChanged);
    }
}

// The local center tells on the thread that posted; the formatters belong to the main queue.
void conventionsChanged(CFNotificationCenterRef, void* observer, CFNotificationName name,
                        const void*, CFDictionaryRef) {
    const auto* alive = static_cast<const std::shared_ptr<MacTimeFormatter*>*>(observer);
    auto* change = new ConventionChange{
        *alive, name != nullptr && CFEqual(name, kCFTimeZoneSystemTimeZoneDidChangeNotification)};
    dispatch_async_f(dispatch_get_main_queue(), change, &applyOnMainQueue);
}

class Watch final : public Subscription {
  public:
    explicit Watch(std::shared_ptr<std::function<void()>> handler) : handler_(std::move(handler)) {}

  private:
    std::shared_ptr<std::function<void()>> handler_;
};

std::string formatted(CFDateFormatterRef formatter, Date date) {
    // CFAbsoluteTime counts from 2001-01-01 UTC, as Date does.
    CFRef<CFStringRef> text = CFRef<CFStringRef>::adopt(CFDateFormatterCreateStringWithAbsoluteTime(
        kCFAllocatorDefault, formatter, date.timeIntervalSinceReferenceDate));
    return stringFromCFString(text.get());
}

CFRef<CFTimeZoneRef> timeZoneNamed(std::string_view identifier) {
    CFRef<CFStringRef> name = makeCFString(identifier);
    if (!name) {
        return nullptr;
    }
    return CFRef<CFTimeZoneRef>::adopt(
        CFTimeZoneCreateWithName(kCFAllocatorDefault, name.get(), true));
}

}  // namespace

MacTimeFormatter::MacTimeFormatter() : alive_(std::make_shared<MacTimeFormatter*>(this)) {
    // The observer pointer is the liveness token, which stays put while this object lives.
    for (const CFNotificationName name : {kCFLocaleCurrentLocaleDidChangeNotification,
                                          kCFTimeZoneSystemTimeZoneDidChangeNotification}) {
        CFNotificationCenterAddObserver(CFNotificationCenterGetLocalCenter(), &alive_,
                                        conventionsChanged, name, nullptr,
                                        CFNotificationSuspensionBehaviorDeliverImmediately);
    }
}

MacTimeFormatter::~MacTimeFormatter() {
    CFNotificationCenterRemoveEveryObserver(CFNotificationCenterGetLocalCenter(), &alive_);
    *alive_ = nullptr;
}

void MacTimeFormatter::conventionsDidChange(bool timeZoneChanged) {
    if (timeZoneChanged) {
        // Core Foundation keeps the zone it first read until told to read it again.
        CFTimeZoneResetSystem();
        std::erase_if(patterns_,
                      [](const auto& entry) { return std::get<2>(entry.first).empty(); });
    }
    shortTime_.reset();
    mediumTime_.reset();
    dayAndTime_.clear();
    const auto watchers = watchers_;
    for (const auto& weak : watchers) {
        if (const auto handler = weak.lock(); handler && *handler) {
            (*handler)();
        }
    }
    std::erase_if(watchers_, [](const auto& weak) { return weak.expired(); });
}

std::unique_ptr<Subscription> MacTimeFormatter::observeConventionChanges(
    std::function<void()> handler) const {
    auto shared = std::make_shared<std::function<void()>>(std::move(handler));
    watchers_.push_back(shared);
    return std::make_unique<Watch>(std::move(shared));
}

std::string MacTimeFormatter::timeOfDay(Date date, bool includesSeconds) const {
    CFRef<CFDateFormatterRef>& slot = includesSeconds ? mediumTime_ : shortTime_;
    if (!slot) {
        CFRef<CFLocaleRef> locale = CFRef<CFLocaleRef>::adopt(CFLocaleCopyCurrent());
        slot = CFRef<CFDateFormatterRef>::adopt(CFDateFormatterCreate(
            kCFAllocatorDefault, locale.get(), kCFDateFormatterNoStyle,
            includesSeconds ? kCFDateFormatterMediumStyle : kCFDateFormatterShortStyle));
        // The system's zone as it is now, rather than whatever default a formatter would take.
        if (slot) {
            const auto zone = CFRef<CFTimeZoneRef>::adopt(CFTimeZoneCopySystem());
            CFDateFormatterSetProperty(slot.get(), kCFDateFormatterTimeZone, zone.get());
        }
    }
    return slot ? formatted(slot.get(), date) : std::string();
}

std::string MacTimeFormatter::dayAndTimeOfDay(Date date, bool includesSeconds,
                                              bool includesYear) const {
    // The clock is the one the time of day is written in, so the two never disagree: the short
    // style carries the 12/24-hour choice made in System Settings, which a template alone would
    // not.
    (void)timeOfDay(date, false);
    bool twentyFourHour = false;
    if (shortTime_) {
        const std::string pattern = stringFromCFString(CFDateFormatterGetFormat(shortTime_.get()));
        twentyFourHour = pattern.find_first_of("Hk") != std::string::npos;
    }
    std::string templateText = includesYear ? "yMMMd" : "MMMd";
    templateText += twentyFourHour ? "HHmm" : "hmm";
    if (includesSeconds) {
        templateText += "ss";
    }
    auto found = dayAndTime_.find(templateText);
    if (found == dayAndTime_.end()) {
        CFRef<CFLocaleRef> locale = CFRef<CFLocaleRef>::adopt(CFLocaleCopyCurrent());
        CFRef<CFStringRef> templateString = makeCFString(templateText);
        if (!templateString) {
            return TimeFormatter::dayAndTimeOfDay(date, includesSeconds, includesYear);
        }
        CFRef<CFStringRef> pattern =
            CFRef<CFStringRef>::adopt(CFDateFormatterCreateDateFormatFromTemplate(
                kCFAllocatorDefault, templateString.get(), 0, locale.get()));
        CFRef<CFDateFormatterRef> formatter = CFRef<CFDateFormatterRef>::adopt(
            CFDateFormatterCreate(kCFAllocatorDefault, locale.get(), kCFDateFormatterNoStyle,
                                  kCFDateFormatterNoStyle));
        if (!pattern || !formatter) {
            return TimeFormatter::dayAndTimeOfDay(date, includesSeconds, includesYear);
        }
        CFDateFormatterSetFormat(formatter.get(), pattern.get());
        const auto zone = CFRef<CFTimeZoneRef>::adopt(CFTimeZoneCopySystem());
        CFDateFormatterSetProperty(formatter.get(), kCFDateFormatterTimeZone, zone.get());
        found = dayAndTime_.emplace(templateText, formatter).first;
    }
    return formatted(found->second.get(), date);
}

std::optional<std::string> MacTimeFormatter::format(Date date, std::string_view pattern,
                                                    std::string_view localeIdentifier,
                                                    std::string_view timeZoneIdentifier) const {
    const Key key{std::string(pattern), std::string(localeIdentifier),
                  std::string(timeZoneIdentifier)};
    auto found = patterns_.find(key);
    if (found == patterns_.end()) {
        CFRef<CFTimeZoneRef> zone = timeZoneIdentifier.empty()
                                        ? CFRef<CFTimeZoneRef>::adopt(CFTimeZoneCopySystem())
                                        : timeZoneNamed(timeZoneIdentifier);
        CFRef<CFStringRef> localeName = makeCFString(localeIdentifier);
        CFRef<CFStringRef> patternText = makeCFString(pattern);
        if (!zone || !localeName || !patternText) {
            return std::nullopt;
        }
        CFRef<CFLocaleRef> locale =
            CFRef<CFLocaleRef>::adopt(CFLocaleCreate(kCFAllocatorDefault, localeName.get()));
        CFRef<CFDateFormatterRef> formatter = CFRef<CFDateFormatterRef>::adopt(
            CFDateFormatterCreate(kCFAllocatorDefault, locale.get(), kCFDateFormatterNoStyle,
                                  kCFDateFormatterNoStyle));
        if (!formatter) {
            return std::nullopt;
        }
        CFDateFormatterSetFormat(formatter.get(), patternText.get());
        CFDateFormatterSetProperty(formatter.get(), kCFDateFormatterTimeZone, zone.get());
        found = patterns_.emplace(key, formatter).first;
    }
    return formatted(found->second.get(), date);
}

bool MacTimeFormatter::knowsTimeZone(std::string_view identifier) const {
    return static_cast<bool>(timeZoneNamed(identifier));
}

}  // namespace gaugely
