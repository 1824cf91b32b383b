#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Simulation/SimulatedTree.h"

namespace gaugely {

// Recording an application's accessibility tree, through the accessibility port, as a tree that
// the simulator replays and writes in the fixture text. Used by `gaugely dump-tree` on a Mac
// (against Codex) and here (against the simulated Codex, to make the fixture sets we ship).
// Private text stays private unless asked: every title, value, description, help text and other
// text that is neither one of our vocabulary's labels nor a usage value becomes a placeholder.
// Runs on the caller's thread; every read is a round trip to the recorded application.

inline constexpr std::string_view redactedPlaceholder = "(redacted)";

// The text a recording keeps: the text itself for our labels and usage values, else the
// placeholder.
std::string redactedText(std::string_view text);

struct TreeRecordingOptions {
    // Far above the reader's own budget, so a tree the reader could not finish is still seen whole.
    std::size_t elementCap = 20000;
    bool keepText = false;
};

struct TreeRecording {
    SimulatedTree tree;
    std::size_t elements = 0;
    bool capped = false;
};

TreeRecording recordTree(Accessibility& accessibility, const AXElement& application,
                         const TreeRecordingOptions& options = {});

// Three trees of one application: the profile menu closed, open, and with its usage section
// expanded; as fixture text, in a folder as closed.txt, open.txt and expanded.txt.
struct CodexFixtureSet {
    std::string closed;
    std::string open;
    std::string expanded;

    static std::optional<CodexFixtureSet> load(const std::filesystem::path& folder,
                                               std::string* error = nullptr);
    [[nodiscard]] bool write(const std::filesystem::path& folder,
                             std::string* error = nullptr) const;
};

}  // namespace gaugely
