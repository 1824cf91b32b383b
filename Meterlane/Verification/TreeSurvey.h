#pragma once

// What a recording of Codex's tree says about the searches' chances on this Mac: its size against
// their budget, how much of it is web content, where the profile control sits, and what became of
// the values a recording cannot keep.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Meterlane/Simulation/SimulatedTree.h"
#include "Meterlane/Verification/TreeWhereabouts.h"

namespace gaugely {

struct TreeSurvey {
    std::size_t elements = 0;
    // The recording stopped at its cap: the tree is bigger still.
    bool capped = false;
    std::size_t budget = 0;
    // Elements under an AXWebArea: Codex's web content, which Electron keeps sparse until an
    // assistive client asks for it.
    std::size_t webContentElements = 0;
    std::optional<TreePlace> profileControl;
    // Codex's answer to AXManualAccessibility (0: accepted), when the platform says.
    std::optional<int32_t> manualAccessibilityAnswer;
    // AXURL reads that answered, and how many of them a recording keeps (text); the rest are
    // URL objects, which it drops.
    std::size_t axurlAnswered = 0;
    std::size_t axurlKept = 0;
    // The commonest roles, most frequent first.
    std::vector<std::pair<std::string, std::size_t>> roles;

    [[nodiscard]] bool withinBudget() const { return !capped && elements <= budget; }

    bool operator==(const TreeSurvey&) const = default;
};

// The survey of a recorded tree; the counts of AXURL answers and Codex's answer to
// AXManualAccessibility come from the recording's reads and the platform, not from the tree.
[[nodiscard]] TreeSurvey surveyTree(const SimulatedTree& tree, std::size_t elements, bool capped,
                                    std::size_t budget, std::size_t commonestRoles = 8);

}  // namespace gaugely
