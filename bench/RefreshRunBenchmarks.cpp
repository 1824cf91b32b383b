// What one manual refresh costs on a Codex-sized tree: accessibility round trips (each a blocking
// message to Codex on a real Mac) and the CPU the engine spends between them.
#include <benchmark/benchmark.h>

#include <array>
#include <ctime>
#include <string>

#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/Simulation.h"

namespace gaugely {
namespace {

struct ReaderBench {
    Simulation sim;
    MemoryPreferences preferences;
    FakeUserNotificationCenter notifications{sim.time};
    std::unique_ptr<UsageReader> reader;

    ReaderBench() {
        int uuids = 0;
        reader = std::make_unique<UsageReader>(ReaderEnvironment{
            sim.codex, sim.input, sim.workspace, sim.time, sim.time, sim.log, preferences,
            notifications, [uuids]() mutable { return std::to_string(++uuids) + "-bench"; }});
        reader->setCodexPlan(CodexPlan::plus);
        reader->setAutomaticRefreshEnabled(false);
    }

    void refresh() {
        reader->beginReadCountdown(false);
        sim.time.runUntil([this] { return !reader->automationInProgress(); }, 60);
    }
};

void BM_ManualRefresh(benchmark::State& state) {
    ReaderBench bench;
    std::size_t roundTrips = 0;
    std::size_t runs = 0;
    for (auto _ : state) {
        bench.sim.codex.resetCallCounts();
        bench.refresh();
        roundTrips += bench.sim.codex.roundTrips();
        ++runs;
        if (!bench.reader->lastRefreshOutcome()->isCommitted()) {
            state.SkipWithError("refresh did not commit");
            break;
        }
    }
    state.counters["round_trips"] =
        benchmark::Counter(static_cast<double>(roundTrips) / static_cast<double>(runs));
    state.counters["tree_elements"] = static_cast<double>(bench.sim.codex.tree().size());
}
BENCHMARK(BM_ManualRefresh)->Unit(benchmark::kMillisecond);

// The simulator's own share: one multi-attribute read of every element, as one walk makes.
void BM_SimulatedWalkReads(benchmark::State& state) {
    ReaderBench bench;
    const SimulatedTree& tree = bench.sim.codex.tree();
    static constexpr std::array<std::string_view, 8> names{
        ax::role,     ax::title,  ax::description, ax::value,
        ax::children, ax::hidden, ax::expanded,    ax::parent};
    std::vector<AXElement> elements;
    // Every element, as the walks see them: the tree's nodes in document order.
    std::vector<NodeId> pending{tree.root()};
    while (!pending.empty()) {
        const NodeId node = pending.back();
        pending.pop_back();
        elements.push_back(tree.element(node));
        const auto children = tree.children(node);
        pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    for (auto _ : state) {
        for (const AXElement& element : elements) {
            benchmark::DoNotOptimize(bench.sim.codex.copyMultipleAttributeValues(element, names));
        }
    }
    state.counters["round_trips"] = static_cast<double>(elements.size());
}
BENCHMARK(BM_SimulatedWalkReads)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace gaugely
