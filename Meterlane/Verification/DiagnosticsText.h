#pragma once

// "Copy Diagnostics" in the About window: the Mac, Codex and Gaugely, each permission's state,
// and the last refreshes' traces with their timings, as text to paste into a message. It holds no
// usage figure and no text of Codex's beyond the labels the searches match: the traces come from
// RefreshTraceRecorder, which keeps only the trace's own vocabulary.

#include <deque>
#include <string>
#include <string_view>

#include "Meterlane/Verification/MacFacts.h"
#include "Meterlane/Verification/RefreshTraceRecorder.h"

namespace gaugely {

inline constexpr std::string_view copyDiagnosticsTitle = "Copy Diagnostics";

// The report's first two sections ("This Mac", "Permissions"), in Markdown; the diagnostics
// start with the same text.
[[nodiscard]] std::string factSections(const SystemFacts& facts, const PermissionStates& states);

// One trace as the diagnostics and the report show it: a heading line with its outcome, time and
// menu dwell, then its lines.
[[nodiscard]] std::string traceBlock(const KeptRefreshTrace& trace);

[[nodiscard]] std::string diagnosticsText(const SystemFacts& facts, const PermissionStates& states,
                                          const std::deque<KeptRefreshTrace>& traces);

// "Copy Diagnostics" pressed: the platform's facts completed from the bundle, the permissions
// asked through the ports, and the text handed to `done` on the main queue.
struct DiagnosticsSources {
    PermissionPorts permissions;
    const BundleInformation& bundle;
    std::string homeFolder;
    const RefreshTraceRecorder& traces;
};
void collectDiagnostics(DiagnosticsSources sources, SystemFacts facts,
                        std::function<void(std::string)> done);

}  // namespace gaugely
