// `if (@available(macOS 14, *))` compiles to a call of __isPlatformVersionAtLeast, which Apple's
// clang takes from its builtins library (libclang_rt.osx.a). A clang on Linux has no Darwin
// builtins, so the cross-check links this instead, and nothing else uses it: it asks the system
// the way the builtin itself does on macOS 11 and later, through libSystem's
// _availability_version_check. The app a Mac builds never contains this file.
#include <cstdint>

namespace {

struct BuildVersion {
    uint32_t platform;
    uint32_t version;  // major << 16 | minor << 8 | patch
};

uint32_t constrained(uint32_t part) {
    return part > 0xFF ? 0xFF : part;
}

}  // namespace

extern "C" bool _availability_version_check(uint32_t count, BuildVersion versions[]);

extern "C" int32_t __isPlatformVersionAtLeast(uint32_t platform, uint32_t major, uint32_t minor,
                                              uint32_t patch) {
    BuildVersion version{platform, major << 16 | constrained(minor) << 8 | constrained(patch)};
    return _availability_version_check(1, &version) ? 1 : 0;
}
