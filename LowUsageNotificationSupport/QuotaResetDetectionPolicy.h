#pragma once

namespace gaugely {

// A window counts as reset when it is back at exactly 100% after a real fall: a drift from 85%
// to 100% is more likely rounding or a small refund than a new window, so it stays quiet.
struct QuotaResetDetectionPolicy {
    static constexpr int resetPercentage = 100;
    static constexpr int minimumRecoveryPercentagePoints = 20;

    static constexpr bool isGenuineReset(long long previous, long long current) {
        return current == resetPercentage && previous < resetPercentage &&
               resetPercentage - previous >= minimumRecoveryPercentagePoints;
    }
};

}  // namespace gaugely
