#include "Meterlane/Startup/SingleInstance.h"

namespace gaugely {

std::optional<ProcessID> runningInstanceToDeferTo(const std::vector<RunningApplication>& running,
                                                  std::string_view bundleIdentifier,
                                                  ProcessID ownProcess) {
    std::optional<ProcessID> oldest;
    for (const RunningApplication& application : running) {
        if (application.bundleIdentifier == bundleIdentifier &&
            application.processIdentifier < ownProcess &&
            (!oldest || application.processIdentifier < *oldest)) {
            oldest = application.processIdentifier;
        }
    }
    return oldest;
}

bool handOverToRunningInstance(Workspace& workspace, std::string_view bundleIdentifier,
                               ProcessID ownProcess) {
    const auto other =
        runningInstanceToDeferTo(workspace.runningApplications(), bundleIdentifier, ownProcess);
    if (!other) {
        return false;
    }
    // Whether it comes forward or not, two copies must never drive Codex side by side.
    (void)workspace.activate(
        *other, ApplicationActivationPolicy::style(workspace.operatingSystemMajorVersion()));
    return true;
}

}  // namespace gaugely
