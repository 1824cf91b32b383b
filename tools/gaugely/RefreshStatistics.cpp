#include "tools/gaugely/RefreshStatistics.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "tools/gaugely/SimulationView.h"

namespace gaugely::tool {

RefreshStatistics::RefreshStatistics(const SimulatedCodex& codex, double origin)
    : codex_(codex),
      origin_(origin),
      roundTripsAtItemStart_(codex.roundTrips()),
      blockedAtItemStart_(codex.answeringSeconds()) {}

void RefreshStatistics::readerChanged(double elapsed) {
    const bool running = reader_->automationInProgress();
    if (running && !running_) {
        running_ = refreshes_.size();
        // The request, not the moment the reader reports the run: the look at the menu that
        // precedes the report is part of the request's cost.
        const double requestedAt =
            reader_->activeRefreshRequestedAt().value_or(origin_ + elapsed) - origin_;
        Refresh refresh;
        refresh.startedAt = requestedAt;
        refreshes_.push_back(refresh);
        // Counted from the start of the work item, which includes that look.
        roundTripBase_.push_back(roundTripsAtItemStart_);
        blockedBase_.push_back(blockedAtItemStart_);
        openingsBase_.push_back(codex_.menuOpenings());
        startedInItem_.push_back(*running_);
        touchedInItem_ = running_;
    } else if (!running && running_) {
        Refresh& refresh = refreshes_[*running_];
        refresh.requestToEnd = elapsed - refresh.startedAt;
        if (codex_.menuOpenings() > openingsBase_[*running_]) {
            if (const auto opening = codex_.lastMenuOpening()) {
                refresh.menuDwell = opening->seconds;
                refresh.roundTripsWhileMenuOpen = opening->roundTrips;
            }
        }
        endedInItem_.push_back(*running_);
        touchedInItem_ = running_;
        running_.reset();
    }
}

void RefreshStatistics::itemRan(const WorkItemReport& report) {
    if (running_) {
        touchedInItem_ = running_;
    }
    if (touchedInItem_) {
        Refresh& refresh = refreshes_[*touchedInItem_];
        refresh.cpuSeconds += report.cpuSeconds;
        refresh.mainBlockedSeconds += report.blockedSeconds;
        refresh.longestBlockSeconds = std::max(refresh.longestBlockSeconds, report.blockedSeconds);
    }
    // An automatic run starts its countdown in the same step that starts it; a manual one has
    // none.
    for (const std::size_t index : startedInItem_) {
        if (reader_->countdown()) {
            refreshes_[index].kind = RefreshRunKind::automatic;
        }
    }
    for (const std::size_t index : endedInItem_) {
        Refresh& refresh = refreshes_[index];
        refresh.roundTrips = codex_.roundTrips() - roundTripBase_[index];
        refresh.blockedSeconds = codex_.answeringSeconds() - blockedBase_[index];
        refresh.outcome =
            reader_->lastRefreshOutcome()
                ? reader_->lastRefreshOutcome()->logText(reader_->refreshCleanupResult())
                : std::string("none");
    }
    if (running_) {
        refreshes_[*running_].roundTrips = codex_.roundTrips() - roundTripBase_[*running_];
        refreshes_[*running_].blockedSeconds = codex_.answeringSeconds() - blockedBase_[*running_];
    }
    startedInItem_.clear();
    endedInItem_.clear();
    touchedInItem_.reset();
    roundTripsAtItemStart_ = codex_.roundTrips();
    blockedAtItemStart_ = codex_.answeringSeconds();
}

namespace {

std::string seconds(const std::optional<double>& value) {
    if (!value) {
        return "—";
    }
    char text[24];
    std::snprintf(text, sizeof text, "%.3f s", *value);
    return text;
}

}  // namespace

void RefreshStatistics::print(std::ostream& out) const {
    out << "Refresh statistics: " << refreshes_.size()
        << (refreshes_.size() == 1 ? " refresh" : " refreshes") << "\n";
    if (refreshes_.empty()) {
        return;
    }
    char line[256];
    out << "   #  started       kind       AX round trips  engine CPU   AX blocked  main blocked"
           "  longest block  request→end    menu open  in menu  outcome\n";
    std::size_t totalTrips = 0;
    double totalCPU = 0;
    std::size_t fewest = SIZE_MAX;
    std::size_t most = 0;
    double slowest = 0;
    double totalMainBlocked = 0;
    double longestBlock = 0;
    for (std::size_t i = 0; i < refreshes_.size(); ++i) {
        const Refresh& refresh = refreshes_[i];
        std::snprintf(
            line, sizeof line,
            "%4zu  %-12s  %-9s  %14zu  %7.2f ms  %9.3f s  %10.3f s  %11.3f s  %11s  %11s  "
            "%7zu  ",
            i + 1, elapsedStamp(refresh.startedAt).c_str(),
            std::string(rawValue(refresh.kind)).c_str(), refresh.roundTrips,
            refresh.cpuSeconds * 1000.0, refresh.blockedSeconds, refresh.mainBlockedSeconds,
            refresh.longestBlockSeconds, seconds(refresh.requestToEnd).c_str(),
            seconds(refresh.menuDwell).c_str(), refresh.roundTripsWhileMenuOpen);
        out << line << refresh.outcome.value_or("still running") << "\n";
        totalTrips += refresh.roundTrips;
        totalCPU += refresh.cpuSeconds;
        fewest = std::min(fewest, refresh.roundTrips);
        most = std::max(most, refresh.roundTrips);
        slowest = std::max(slowest, refresh.cpuSeconds);
        totalMainBlocked += refresh.mainBlockedSeconds;
        longestBlock = std::max(longestBlock, refresh.longestBlockSeconds);
    }
    const double count = static_cast<double>(refreshes_.size());
    std::snprintf(line, sizeof line, "%.1f on average (fewest %zu, most %zu)",
                  static_cast<double>(totalTrips) / count, fewest, most);
    out << "  AX round trips per refresh: " << line << "\n";
    std::snprintf(line, sizeof line, "%.2f ms on average (most %.2f ms)", totalCPU / count * 1000.0,
                  slowest * 1000.0);
    out << "  engine CPU time per refresh: " << line << "\n";
    std::snprintf(line, sizeof line, "%.3f s on average (longest single block %.3f s)",
                  totalMainBlocked / count, longestBlock);
    out << "  main thread blocked per refresh: " << line << "\n";
}

}  // namespace gaugely::tool
