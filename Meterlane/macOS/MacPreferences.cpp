#include "Meterlane/macOS/MacPreferences.h"

#include <CoreFoundation/CoreFoundation.h>

#include "Meterlane/macOS/CFRef.h"
#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {
namespace {

CFRef<CFPropertyListRef> copyValue(std::string_view key, const std::string& applicationID) {
    const CFRef<CFStringRef> cfKey = makeCFString(key);
    const CFRef<CFStringRef> cfApplication = makeCFString(applicationID);
    if (!cfKey || !cfApplication) {
        return nullptr;
    }
    return CFRef<CFPropertyListRef>::adopt(
        CFPreferencesCopyAppValue(cfKey.get(), cfApplication.get()));
}

// A null value removes the key, as CFPreferences defines it.
void setValue(std::string_view key, CFPropertyListRef value, const std::string& applicationID) {
    const CFRef<CFStringRef> cfKey = makeCFString(key);
    const CFRef<CFStringRef> cfApplication = makeCFString(applicationID);
    if (!cfKey || !cfApplication) {
        return;
    }
    CFPreferencesSetAppValue(cfKey.get(), value, cfApplication.get());
}

template <class Ref>
Ref valueOfType(const CFRef<CFPropertyListRef>& value, CFTypeID type) {
    if (!value || CFGetTypeID(value.get()) != type) {
        return nullptr;
    }
    return static_cast<Ref>(value.get());
}

}  // namespace

MacPreferences::MacPreferences(std::string applicationID)
    : applicationID_(std::move(applicationID)) {}

bool MacPreferences::hasObject(std::string_view key) {
    return static_cast<bool>(copyValue(key, applicationID_));
}

std::optional<bool> MacPreferences::boolValue(std::string_view key) {
    const auto value = copyValue(key, applicationID_);
    const auto flag = valueOfType<CFBooleanRef>(value, CFBooleanGetTypeID());
    if (!flag) {
        return std::nullopt;
    }
    return CFBooleanGetValue(flag) != 0;
}

std::optional<std::string> MacPreferences::stringValue(std::string_view key) {
    const auto value = copyValue(key, applicationID_);
    const auto string = valueOfType<CFStringRef>(value, CFStringGetTypeID());
    if (!string) {
        return std::nullopt;
    }
    return stringFromCFString(string);
}

std::optional<std::string> MacPreferences::dataValue(std::string_view key) {
    const auto value = copyValue(key, applicationID_);
    const auto data = valueOfType<CFDataRef>(value, CFDataGetTypeID());
    if (!data) {
        return std::nullopt;
    }
    const UInt8* bytes = CFDataGetBytePtr(data);
    const CFIndex length = CFDataGetLength(data);
    if (bytes == nullptr || length <= 0) {
        return std::string();
    }
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

std::optional<Date> MacPreferences::dateValue(std::string_view key) {
    const auto value = copyValue(key, applicationID_);
    const auto date = valueOfType<CFDateRef>(value, CFDateGetTypeID());
    if (!date) {
        return std::nullopt;
    }
    // Absolute time is already seconds since 2001-01-01 00:00:00 UTC.
    return Date{CFDateGetAbsoluteTime(date)};
}

void MacPreferences::setBool(std::string_view key, bool value) {
    setValue(key, value ? kCFBooleanTrue : kCFBooleanFalse, applicationID_);
}

void MacPreferences::setString(std::string_view key, std::string_view value) {
    // Text that is not UTF-8 has no CFString; writing the resulting null would delete the key.
    const CFRef<CFStringRef> string = makeCFString(value);
    if (string) {
        setValue(key, string.get(), applicationID_);
    }
}

void MacPreferences::setData(std::string_view key, std::string_view bytes) {
    const auto data = CFRef<CFDataRef>::adopt(
        CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                     static_cast<CFIndex>(bytes.size())));
    if (data) {
        setValue(key, data.get(), applicationID_);
    }
}

void MacPreferences::setDate(std::string_view key, Date value) {
    const auto date = CFRef<CFDateRef>::adopt(
        CFDateCreate(kCFAllocatorDefault, value.timeIntervalSinceReferenceDate));
    if (date) {
        setValue(key, date.get(), applicationID_);
    }
}

void MacPreferences::remove(std::string_view key) {
    setValue(key, nullptr, applicationID_);
}

void MacPreferences::synchronize() {
    if (const CFRef<CFStringRef> application = makeCFString(applicationID_)) {
        CFPreferencesAppSynchronize(application.get());
    }
}

}  // namespace gaugely
