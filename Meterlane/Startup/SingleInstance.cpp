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

}  // namespace gaugely
