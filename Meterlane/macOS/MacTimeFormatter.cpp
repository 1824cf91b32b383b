#include "Meterlane/macOS/MacTimeFormatter.h"

#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

namespace {

void localeChanged(CFNotificationCenterRef, void* observer, CFNotificationName, const void*,
                   CFDictionaryRef) {
    static_cast<MacTimeFormatter*>(observer)->currentLocaleDidChange();
}

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

MacTimeFormatter::MacTimeFormatter() {
    CFNotificationCenterAddObserver(CFNotificationCenterGetLocalCenter(), this, localeChanged,
                                    kCFLocaleCurrentLocaleDidChangeNotification, nullptr,
                                    CFNotificationSuspensionBehaviorDeliverImmediately);
}

MacTimeFormatter::~MacTimeFormatter() {
    CFNotificationCenterRemoveEveryObserver(CFNotificationCenterGetLocalCenter(), this);
}

void MacTimeFormatter::currentLocaleDidChange() {
    shortTime_.reset();
    mediumTime_.reset();
}

std::string MacTimeFormatter::timeOfDay(Date date, bool includesSeconds) const {
    CFRef<CFDateFormatterRef>& slot = includesSeconds ? mediumTime_ : shortTime_;
    if (!slot) {
        CFRef<CFLocaleRef> locale = CFRef<CFLocaleRef>::adopt(CFLocaleCopyCurrent());
        slot = CFRef<CFDateFormatterRef>::adopt(CFDateFormatterCreate(
            kCFAllocatorDefault, locale.get(), kCFDateFormatterNoStyle,
            includesSeconds ? kCFDateFormatterMediumStyle : kCFDateFormatterShortStyle));
    }
    return slot ? formatted(slot.get(), date) : std::string();
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
