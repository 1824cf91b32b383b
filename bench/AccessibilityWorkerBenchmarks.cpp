// What the simulator's accessibility worker costs in real time: each round trip of a job hands
// control to the main queue and back (two thread switches), so a walk of 12,000 round trips at a
// latency above zero pays 12,000 of them. Argument: round trips per job.
#include <benchmark/benchmark.h>

#include "Meterlane/Simulation/VirtualAccessibilityWorker.h"

namespace gaugely {
namespace {

void BM_VirtualWorkerJob(benchmark::State& state) {
    const int reads = static_cast<int>(state.range(0));
    VirtualTime time;
    SimulatedAccessibility ax;
    ax.setRoundTripCost(&time, 0.001);
    VirtualAccessibilityWorker worker(time, ax, 2.0);
    const ProcessID pid = ax.pid();
    for (auto _ : state) {
        int delivered = 0;
        auto job = worker.submit(
            [pid, reads](Accessibility& port) {
                const AXElement application = port.applicationElement(pid);
                int ok = 0;
                for (int i = 0; i < reads; ++i) {
                    ok += port.copyAttributeValue(application, ax::role).ok() ? 1 : 0;
                }
                return ok;
            },
            [&delivered](int ok) { delivered = ok; });
        time.runUntilIdle();
        benchmark::DoNotOptimize(delivered);
    }
    state.SetItemsProcessed(state.iterations() * reads);
}
BENCHMARK(BM_VirtualWorkerJob)->Arg(100)->Arg(12000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace gaugely
