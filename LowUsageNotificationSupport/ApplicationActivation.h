#pragma once

namespace gaugely {

// How one application asks for another to come to the front.
enum class ActivationStyle {
    // At once, whatever application is in front (macOS 13's "activate ignoring other apps").
    ignoringOtherApps,
    // macOS 14's cooperative activation: this application yields its activation to the target,
    // which is then activated on this application's behalf. The system may decline, and does so
    // when this application was not itself in front or recently used.
    cooperative,
};

// macOS 14 deprecated activating another application while ignoring the one in front, and takes
// no notice of the request there; the cooperative request is the one it honours. macOS 13 knows
// no other.
struct ApplicationActivationPolicy {
    static constexpr int firstCooperativeMajorVersion = 14;

    static constexpr ActivationStyle style(int macOSMajorVersion) {
        return macOSMajorVersion >= firstCooperativeMajorVersion
                   ? ActivationStyle::cooperative
                   : ActivationStyle::ignoringOtherApps;
    }
};

}  // namespace gaugely
