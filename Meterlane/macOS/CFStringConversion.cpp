#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

std::string stringFromCFString(CFStringRef string) {
    if (!string) {
        return {};
    }
    if (const char* direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
        return direct;
    }
    const CFRange whole = CFRangeMake(0, CFStringGetLength(string));
    CFIndex byteCount = 0;
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false, nullptr, 0, &byteCount);
    std::string utf8(static_cast<std::size_t>(byteCount), '\0');
    CFStringGetBytes(string, whole, kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(utf8.data()), byteCount, &byteCount);
    utf8.resize(static_cast<std::size_t>(byteCount));
    return utf8;
}

CFRef<CFStringRef> makeCFString(std::string_view utf8) {
    return CFRef<CFStringRef>::adopt(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                                static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

}  // namespace gaugely
