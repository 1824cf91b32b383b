#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// Where the profile menu appeared the last time a run of this process found it: the containers
// from the application element down to the menu's parent (the application element itself is
// not kept; it is made afresh for each look).
struct ProfileMenuLocation {
    std::vector<AXElement> containers;
    bool known = false;
};

// One container on the way down, as a later process can find it again: its place among its
// parent's children and the role it had.
struct ProfileMenuPathStep {
    std::size_t index = 0;
    std::string role;
    bool operator==(const ProfileMenuPathStep&) const = default;
};

// The way to the profile menu's parent, as kept in the defaults for the next launch, with the
// version of Codex it was learned from: {"codexVersion": "1.0.0 (100)", "containers":
// [{"index": 1, "role": "AXWindow"}]}. An empty list: the menu is a child of the application.
struct StoredProfileMenuLocation {
    // Element handles do not outlive Codex's process, so the way is kept by position; a climb to
    // the application is at most this many steps, and a longer way is not a record we wrote.
    static constexpr std::size_t maximumDepth = 20;

    std::string codexVersion;
    std::vector<ProfileMenuPathStep> containers;

    Json toJson() const;
    static std::optional<StoredProfileMenuLocation> fromJson(const Json& json);
    bool operator==(const StoredProfileMenuLocation&) const = default;
};

// What is known of where the menu appears, copied out of the memory so a job on the accessibility
// worker can carry it: this process's handles, or else the way stored for Codex's version.
struct ProfileMenuWay {
    std::optional<std::vector<AXElement>> handles;
    std::optional<std::vector<ProfileMenuPathStep>> path;
};

// Where a run found the menu: the containers below the application, and the way by position
// (none when the tree could not describe it).
struct FoundProfileMenuWay {
    std::vector<AXElement> handles;
    std::optional<std::vector<ProfileMenuPathStep>> path;
};

// "1.0.0 (100)" from a bundle's short version and build, either alone when the other is missing;
// none when it has neither.
[[nodiscard]] std::optional<std::string> applicationVersionText(const BundleInformation& bundle);

// What the fast lookups know about where Codex's profile menu appears, for the process it was
// learned from and, through the defaults, for the next launch: the first refresh after a start
// then costs what a later one does. A way kept from an earlier launch is only a place to look
// first: the lookups check what they find there exactly as they check this process's own
// handles, and fall back to the whole walk when it does not hold. A way learned from another
// version of Codex is dropped when that version is first seen, since an update may rearrange
// the window. Main thread only.
class ProfileMenuMemory {
  public:
    // Restores the stored way; a record this version cannot read is left as it is.
    ProfileMenuMemory(Preferences& defaults, Workspace& workspace);

    // What is known for `codex`: this process's handles when they were learned from it, else the
    // way stored for its version. At most one is set.
    struct Where {
        const ProfileMenuLocation* handles = nullptr;
        const StoredProfileMenuLocation* path = nullptr;
    };
    [[nodiscard]] Where locate(const RunningApplication& codex);
    // The same, as a copy.
    [[nodiscard]] ProfileMenuWay way(const RunningApplication& codex) {
        const Where where = locate(codex);
        ProfileMenuWay copy;
        if (where.handles) {
            copy.handles = where.handles->containers;
        } else if (where.path) {
            copy.path = where.path->containers;
        }
        return copy;
    }

    // A run found the menu: below `handles` in this process, and by `path` (none when the tree
    // could not describe it). The way is stored when it is new and Codex's version is known.
    void learn(const RunningApplication& codex, std::vector<AXElement> handles,
               std::optional<std::vector<ProfileMenuPathStep>> path);

    const std::optional<StoredProfileMenuLocation>& stored() const { return stored_; }

  private:
    // Read once per process; seeing another version drops the stored way.
    const std::optional<std::string>& versionOf(const RunningApplication& codex);

    Preferences& defaults_;
    Workspace& workspace_;
    ProfileMenuLocation handles_;
    ProcessID handlesProcess_ = 0;
    std::optional<StoredProfileMenuLocation> stored_;
    std::optional<ProcessID> versionProcess_;
    std::optional<std::string> version_;
};

}  // namespace gaugely
