#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"

namespace gaugely {
namespace {

// About twenty elements each, as Codex's profile menu reads with "Usage remaining" expanded: the
// account and menu items around the usage rows.
std::vector<std::string> menuAround(const std::vector<std::string>& usageRows) {
    std::vector<std::string> lines{
        "Personal account", "someone@example.com", "Settings", "Keyboard shortcuts", "Appearance",
        "Language",         "Usage remaining",
    };
    lines.insert(lines.end(), usageRows.begin(), usageRows.end());
    for (const char* item : {"Upgrade plan", "Get help", "Release notes", "Terms and policies",
                             "Check for updates\u2026", "Log out"}) {
        lines.emplace_back(item);
    }
    return lines;
}

void plusMenu(benchmark::State& state) {
    const auto lines = menuAround({"5h", "72% left", "Resets 3:45\u202FPM", "Weekly", "40% left",
                                   "Resets Sep 12", "Credits", "0 remaining"});
    for (auto _ : state) {
        benchmark::DoNotOptimize(usageSnapshotFromUsageRemainingMenu(CodexPlan::plus, lines));
    }
}
BENCHMARK(plusMenu);

void freeGoMenu(benchmark::State& state) {
    const auto lines = menuAround({"Monthly", "85% left", "Resets Oct 3", "Free plan",
                                   "Upgrade for higher limits", "Credits", "0 remaining"});
    for (auto _ : state) {
        benchmark::DoNotOptimize(usageSnapshotFromUsageRemainingMenu(CodexPlan::freeGo, lines));
    }
}
BENCHMARK(freeGoMenu);

void proTitles(benchmark::State& state) {
    auto titles = menuAround({"Weekly limit 40% left", "Pro plan", "Credits"});
    const std::vector<std::string> legacy;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ProProfileUsageMenuParser::parse(titles, [&] { return legacy; }));
    }
}
BENCHMARK(proTitles);

void proLegacyLayout(benchmark::State& state) {
    const auto titles = menuAround({"Pro plan", "Credits"});
    const auto legacy = menuAround({"Usage", "", "General", "40% left", "Resets Sep 12"});
    for (auto _ : state) {
        benchmark::DoNotOptimize(ProProfileUsageMenuParser::parse(titles, [&] { return legacy; }));
    }
}
BENCHMARK(proLegacyLayout);

}  // namespace
}  // namespace gaugely
