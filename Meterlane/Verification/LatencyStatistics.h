#pragma once

// Timings of accessibility calls, summarised per call kind.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace gaugely {

struct LatencySummary {
    std::size_t calls = 0;
    // Seconds. The median of an even count is the mean of the middle two; the 95th percentile
    // is the nearest rank (the smallest sample at or above 95% of them).
    double median = 0;
    double p95 = 0;
    double max = 0;
    double total = 0;

    bool operator==(const LatencySummary&) const = default;
};

// All zero for no samples.
[[nodiscard]] LatencySummary summarizeLatency(std::span<const double> seconds);

// One call kind's summary, named as the report shows it.
struct CallLatency {
    std::string call;
    LatencySummary summary;

    bool operator==(const CallLatency&) const = default;
};

}  // namespace gaugely
