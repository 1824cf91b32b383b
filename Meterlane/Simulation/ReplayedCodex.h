#pragma once

#include <memory>
#include <optional>

#include "Meterlane/Platform/TaskGroup.h"
#include "Meterlane/Simulation/FakeInput.h"
#include "Meterlane/Simulation/FakeWorkspace.h"
#include "Meterlane/Simulation/SimulatedAccessibility.h"
#include "Meterlane/Simulation/TreeRecording.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely {

// Codex as a recorded fixture set shows it: the closed tree until a click on the profile control,
// the open tree until Return on "Usage remaining", the expanded tree until Escape, and the closed
// one again. Down moves keyboard focus through the menu's items as Codex's does. Each switch
// keeps the handles of the elements the trees share, as one live application would. Input
// reaches it only while it is frontmost.
class ReplayedCodex final : public SimulatedAccessibility {
  public:
    enum class Stage { closed, open, expanded };

    ReplayedCodex(VirtualTime& time, FakeWorkspace& workspace, FakeInput& input,
                  CodexFixtureSet set, ProcessID pid = 4242);
    ~ReplayedCodex() override;
    ReplayedCodex(const ReplayedCodex&) = delete;
    ReplayedCodex& operator=(const ReplayedCodex&) = delete;

    Stage stage() const { return stage_; }

  private:
    void onInput(const InputEvent& event);
    void later(double seconds, Stage from, Stage to);
    void show(Stage stage);
    std::vector<NodeId> menuItems() const;
    void applyFocus();

    VirtualTime& time_;
    FakeWorkspace& workspace_;
    CodexFixtureSet set_;
    std::unique_ptr<Subscription> listening_;
    Stage stage_ = Stage::closed;
    std::optional<NodeId> pressedDown_;
    std::optional<std::size_t> focused_;
    // Codex's reactions still to come; they go with it.
    TaskGroup reactions_{time_};
};

}  // namespace gaugely
