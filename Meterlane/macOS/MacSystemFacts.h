#pragma once

// The facts the verification report and "Copy Diagnostics" start with, as macOS tells them: the
// system's version and build, the machine's architecture and whether this process runs
// translated, Codex's installed version, the Sparkle framework loaded, and the notification
// settings beyond authorization. Gathering only; what they mean is decided in the portable core.
// Main thread only; the notification settings arrive later, so the facts come to a callback.

#include <cstdint>
#include <functional>
#include <optional>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Verification/MacFacts.h"

namespace gaugely {

// `done` runs on the main queue. Gaugely's own version comes from its bundle elsewhere.
void gatherSystemFacts(std::function<void(SystemFacts)> done);

// Asks the process again to expose its full tree (AXManualAccessibility), and gives its answer:
// 0 when it accepted, else the platform's error code. Codex has accepted it once already when
// the reader first asked, so asking again changes nothing.
std::optional<int32_t> manualAccessibilityAnswer(ProcessID pid);

}  // namespace gaugely
