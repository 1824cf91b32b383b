#pragma once

// Where Codex's profile control and profile menu sit in its tree, learnt from the reads the
// reader's own searches make: child lists and parent links give the structure, roles and labels
// name the elements. It costs no round trip of its own and changes nothing in the run, so the
// real refresh the verification watches is the refresh a user gets. Fed by TimedAccessibility's
// observer, from whichever thread reads; a lock of its own guards it.

#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "Meterlane/Platform/Accessibility.h"

namespace gaugely {

// An element's place: the roles from the application down to it.
struct TreePlace {
    std::vector<std::string> roles;
    // The climb reached the application element (or else stopped at an element whose parent was
    // never read).
    bool reachesApplication = false;

    // Under an AXWebArea: drawn by Codex's web content rather than by AppKit.
    [[nodiscard]] bool insideWebContent() const;
    // "AXApplication › AXWindow › … › AXMenu".
    [[nodiscard]] std::string text() const;

    bool operator==(const TreePlace&) const = default;
};

class TreeWhereabouts {
  public:
    // Above this many known elements the oldest knowledge is dropped (a cyclic or endless tree).
    static constexpr std::size_t elementLimit = 200000;
    static constexpr std::size_t climbLimit = 64;

    void observe(const AXElement& element, std::span<const std::string_view> attributes,
                 std::span<const AXAttributeResult> results);
    // Forgets the sightings (not the structure), so the next ones are noted afresh.
    void forgetSightings();

    [[nodiscard]] std::optional<TreePlace> profileControl() const;
    [[nodiscard]] std::optional<TreePlace> profileMenu() const;

    // AXURL reads that answered, and those whose value was text: a recording keeps only text, and
    // Codex may hand URLs over as URL objects.
    struct URLAnswers {
        std::size_t answered = 0;
        std::size_t text = 0;
    };
    [[nodiscard]] URLAnswers urlAnswers() const;

  private:
    struct Known {
        std::optional<std::string> role;
        std::optional<AXElement> parent;
        std::optional<std::string> title;
        std::optional<std::string> description;
    };

    void sight(const AXElement& element, const Known& known);
    TreePlace placeOf(const AXElement& element) const;

    mutable std::mutex mutex_;
    std::unordered_map<AXElement, Known, AXElementHash> known_;
    std::optional<TreePlace> control_;
    std::optional<TreePlace> menu_;
    URLAnswers urls_;
};

}  // namespace gaugely
