#include "Meterlane/Verification/LatencyStatistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace gaugely {

LatencySummary summarizeLatency(std::span<const double> seconds) {
    LatencySummary summary;
    if (seconds.empty()) {
        return summary;
    }
    std::vector<double> sorted(seconds.begin(), seconds.end());
    std::sort(sorted.begin(), sorted.end());
    const std::size_t count = sorted.size();
    summary.calls = count;
    summary.median =
        count % 2 == 1 ? sorted[count / 2] : (sorted[count / 2 - 1] + sorted[count / 2]) / 2.0;
    // Nearest rank: ceil(0.95 n), counted from 1.
    const auto rank = static_cast<std::size_t>(std::ceil(0.95 * static_cast<double>(count)));
    summary.p95 = sorted[std::clamp<std::size_t>(rank, 1, count) - 1];
    summary.max = sorted.back();
    summary.total = std::accumulate(sorted.begin(), sorted.end(), 0.0);
    return summary;
}

}  // namespace gaugely
