#include "Meterlane/macOS/MacBundleInformation.h"

#include <climits>

#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

MacBundleInformation::MacBundleInformation(CFBundleRef bundle)
    : bundle_(CFRef<CFBundleRef>::retain(bundle)) {}

CFTypeRef MacBundleInformation::value(std::string_view key) const {
    const CFRef<CFStringRef> name = makeCFString(key);
    if (!bundle_.get() || !name.get()) {
        return nullptr;
    }
    // Unlocalised: the update keys must read the same in every language.
    CFDictionaryRef info = CFBundleGetInfoDictionary(bundle_.get());
    return info ? CFDictionaryGetValue(info, name.get()) : nullptr;
}

bool MacBundleInformation::hasValue(std::string_view key) const {
    return value(key) != nullptr;
}

std::optional<std::string> MacBundleInformation::stringValue(std::string_view key) const {
    const CFTypeRef found = value(key);
    if (!found || CFGetTypeID(found) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    return stringFromCFString(static_cast<CFStringRef>(found));
}

std::optional<bool> MacBundleInformation::boolValue(std::string_view key) const {
    const CFTypeRef found = value(key);
    if (!found || CFGetTypeID(found) != CFBooleanGetTypeID()) {
        return std::nullopt;
    }
    return CFBooleanGetValue(static_cast<CFBooleanRef>(found)) != 0;
}

std::optional<std::string> MacBundleInformation::bundleIdentifier() const {
    const CFStringRef identifier = bundle_.get() ? CFBundleGetIdentifier(bundle_.get()) : nullptr;
    if (!identifier) {
        return std::nullopt;
    }
    return stringFromCFString(identifier);
}

std::string MacBundleInformation::bundlePath() const {
    if (!bundle_.get()) {
        return {};
    }
    const auto url = CFRef<CFURLRef>::adopt(CFBundleCopyBundleURL(bundle_.get()));
    char path[PATH_MAX];
    if (!url.get() || !CFURLGetFileSystemRepresentation(
                          url.get(), true, reinterpret_cast<UInt8*>(path), sizeof path)) {
        return {};
    }
    return path;
}

}  // namespace gaugely
