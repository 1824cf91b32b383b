// Built with every archive member loaded, so a symbol missing from the macOS adapters or the core
// fails the cross build rather than a build on a Mac. Run on a Mac, it prints what the adapters see
// and changes nothing: a quick look that the translation works.
#include <cstdio>

#include "Meterlane/macOS/MacAccessibility.h"
#include "Meterlane/macOS/MacClock.h"
#include "Meterlane/macOS/MacInput.h"
#include "Meterlane/macOS/MacLog.h"
#include "Meterlane/macOS/MacMainQueue.h"
#include "Meterlane/macOS/MacWorkspace.h"

int main() {
    using namespace gaugely;
    MacAccessibility accessibility;
    MacInput input;
    MacWorkspace workspace;
    MacClock clock;
    MacLog log;
    [[maybe_unused]] MacMainQueue mainQueue;

    std::printf("accessibility trusted: %s\n",
                accessibility.isProcessTrusted(false) ? "yes" : "no");
    if (const auto front = workspace.frontmostApplication()) {
        std::printf("frontmost: %s (pid %d)\n", front->bundleIdentifier.value_or("?").c_str(),
                    static_cast<int>(front->processIdentifier));
    }
    std::printf("running applications: %zu\n", workspace.runningApplications().size());
    std::printf("seconds since last input: %.1f\n", input.secondsSinceLastInputEvent());
    std::printf("now: %.3f s since 2001; monotonic: %.3f s\n",
                clock.now().timeIntervalSinceReferenceDate, clock.monotonicSeconds());
    log.write(logSubsystem, "link-check", LogLevel::info, "macOS adapters answered");
    return 0;
}
