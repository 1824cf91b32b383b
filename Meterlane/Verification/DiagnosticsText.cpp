#include "Meterlane/Verification/DiagnosticsText.h"

namespace gaugely {

std::string factSections(const SystemFacts& facts, const PermissionStates& states) {
    std::string text = "## This Mac\n\n";
    for (const std::string& line : systemFactLines(facts)) {
        text += "- " + line + "\n";
    }
    text += "\n## Permissions\n\n";
    for (const PermissionLine& line : permissionLines(states, facts.bundlePath)) {
        text += "- " + line.name + ": " + line.state;
        text += line.remedy.empty() ? "\n" : ". To do: " + line.remedy + "\n";
    }
    for (const std::string& setting : facts.notificationSettings) {
        text += "  - " + setting + "\n";
    }
    return text;
}

std::string traceBlock(const KeptRefreshTrace& trace) {
    std::string text = "Refresh [" + trace.identifier + "] " + trace.kind + ": " +
                       trace.outcome.value_or("still running");
    if (trace.endedAtMilliseconds) {
        text += ", ended at " + std::to_string(*trace.endedAtMilliseconds) + " ms";
    }
    if (trace.menuDwellMilliseconds) {
        text += ", Codex's menu open " + std::to_string(*trace.menuDwellMilliseconds) + " ms";
    }
    text += "\n";
    for (const std::string& line : trace.lines) {
        text += "    " + line + "\n";
    }
    return text;
}

std::string diagnosticsText(const SystemFacts& facts, const PermissionStates& states,
                            const std::deque<KeptRefreshTrace>& traces) {
    std::string text = "# Gaugely diagnostics\n\n" + factSections(facts, states);
    text += "\n## Last refreshes (oldest first)\n\n";
    if (traces.empty()) {
        text += "No refresh since Gaugely started.\n";
    }
    for (const KeptRefreshTrace& trace : traces) {
        text += traceBlock(trace) + "\n";
    }
    return text;
}

void collectDiagnostics(DiagnosticsSources sources, SystemFacts facts,
                        std::function<void(std::string)> done) {
    readBundleFacts(sources.bundle, sources.homeFolder, facts);
    const RefreshTraceRecorder& traces = sources.traces;
    readPermissionStates(sources.permissions, [&traces, facts = std::move(facts),
                                               done = std::move(done)](PermissionStates states) {
        done(diagnosticsText(facts, states, traces.traces()));
    });
}

}  // namespace gaugely
