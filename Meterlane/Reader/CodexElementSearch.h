#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "LowUsageNotificationSupport/QuotaSchema.h"
#include "LowUsageNotificationSupport/RefreshMenuPresence.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// A read's text or flag; absent on an error or a value of another type.
inline std::optional<std::string> textOf(const AXAttributeResult& result) {
    if (const auto* value = result.get<std::string>()) {
        return *value;
    }
    return std::nullopt;
}

inline std::optional<bool> flagOf(const AXAttributeResult& result) {
    if (const auto* value = result.get<bool>()) {
        return *value;
    }
    return std::nullopt;
}

// Finds the few elements a refresh needs in Codex's accessibility tree. Every search is a bounded
// depth-first walk, so a huge, deep or cyclic tree cannot stall the reader.
//
// Each accessibility call is a blocking round trip to Codex, so an element's attributes are read
// in one call and kept until `forgetReads()`: the walks of one step then share their reads. The
// reader forgets at every step boundary, because Codex's tree changes as menus open and close.
// It touches nothing but the port, so a job on the accessibility worker makes one of its own.
class CodexTreeSearch {
  public:
    static constexpr int applicationBudget = 2500;
    static constexpr int menuTextBudget = 400;
    static constexpr int menuSearchBudget = 300;
    static constexpr int pressableClimbSteps = 12;
    static constexpr int descendantClimbSteps = 20;
    // How long one call waits for Codex before it fails (a failed read, which every search
    // already treats as unreadable, so a walk that meets it ends as `unavailable`). Codex answers
    // in 10–50 ms as a rule, but more slowly while it streams an agent's output, which is when
    // refreshes tend to run, and the first question after it builds its web content's tree can
    // take far longer. Two seconds is where macOS itself starts to treat an application as not
    // responding (the spinning wait cursor): a Codex that is only busy still answers, while a
    // hung one costs a walk one call of 2 s rather than the system's default of about 6 s.
    static constexpr double messagingTimeoutSeconds = 2.0;

    explicit CodexTreeSearch(Accessibility& accessibility) : ax_(accessibility) {}

    void forgetReads() { reads_.clear(); }

    // Single-attribute reads: absent on any error or a value of another type.
    [[nodiscard]] std::optional<std::string> textAttribute(const AXElement& element,
                                                           std::string_view name);
    [[nodiscard]] std::optional<bool> flagAttribute(const AXElement& element,
                                                    std::string_view name);
    [[nodiscard]] std::optional<std::vector<AXElement>> childrenAttribute(const AXElement& element);
    [[nodiscard]] std::optional<Point> pointAttribute(const AXElement& element,
                                                      std::string_view name);
    [[nodiscard]] std::optional<Size> sizeAttribute(const AXElement& element,
                                                    std::string_view name);
    [[nodiscard]] std::vector<std::string> actionNames(const AXElement& element);
    // The hit test, as the port does it.
    [[nodiscard]] AXElementAtPositionResult elementAtPosition(const AXElement& application,
                                                              Point point) {
        return ax_.elementAtPosition(application, point);
    }
    // The element's frame from its position and size, when both are readable.
    [[nodiscard]] std::optional<Rect> frame(const AXElement& element);

    // Codex's application element, made afresh, with the messaging timeout set on it. A timeout
    // covers only the element it is set on, not the elements read through it, so the first call
    // also sets it as this process's default.
    [[nodiscard]] AXElement applicationElement(ProcessID codex);

    [[nodiscard]] AXElement profileMenuControl(const AXElement& application);
    [[nodiscard]] AXElement profileMenuElement(const AXElement& application);
    [[nodiscard]] RefreshMenuInspection profileMenuInspection(const AXElement& application);
    [[nodiscard]] std::vector<std::string> orderedMenuText(const AXElement& root);
    [[nodiscard]] AXElement usageRemainingMenu(const AXElement& application);
    [[nodiscard]] AXElement usageRemainingControl(const AXElement& application);
    [[nodiscard]] AXElement labeledUsageControl(const AXElement& menu);
    [[nodiscard]] AXElement proUsageProfileMenuItem(const AXElement& menu);
    [[nodiscard]] AXElement nearestPressableMenuAncestor(const AXElement& from,
                                                         const AXElement& within);
    [[nodiscard]] bool isSameOrDescendant(const AXElement& element, const AXElement& ancestor);
    [[nodiscard]] bool usageRemainingIsExpanded(const AXElement& application, QuotaSchema schema);
    // The same test on a profile menu already found.
    [[nodiscard]] bool usageSectionIsExpanded(const AXElement& menu, QuotaSchema schema);

    // The menu's direct AXMenuItem children, in order (the entries keyboard focus moves through).
    [[nodiscard]] std::vector<AXElement> menuItems(const AXElement& menu);
    // The element's AXTitle as the walks read it.
    [[nodiscard]] std::optional<std::string> title(const AXElement& element);

    // What one element's walk-time read returned.
    struct ElementReads {
        AXAttributeResult role;
        AXAttributeResult title;
        AXAttributeResult description;
        AXAttributeResult value;
        AXAttributeResult children;
        AXAttributeResult hidden;
        AXAttributeResult expanded;
        AXAttributeResult parent;
    };
    const ElementReads& reads(const AXElement& element);

  private:
    enum class Visit { descend, skip, stop };
    struct WalkEnd {
        bool stopped = false;
        bool budgetRanOut = false;
        bool elementsLeft = false;
    };
    template <class Visitor>
    WalkEnd walk(const AXElement& root, int budget, Visitor&& visit);

    std::optional<std::string> roleOf(const AXElement& element);

    Accessibility& ax_;
    bool processTimeoutSet_ = false;
    std::unordered_map<AXElement, ElementReads, AXElementHash> reads_;
};

// The tree search with Codex's place among the running applications, which only the main queue
// may ask the workspace about.
class CodexElementSearch : public CodexTreeSearch {
  public:
    CodexElementSearch(Accessibility& accessibility, Workspace& workspace)
        : CodexTreeSearch(accessibility), workspace_(workspace) {}

    [[nodiscard]] std::optional<RunningApplication> findCodexApplication();
    [[nodiscard]] AXElement applicationElement(const RunningApplication& codex) {
        return CodexTreeSearch::applicationElement(codex.processIdentifier);
    }
    [[nodiscard]] bool isCodexFrontmost();

  private:
    Workspace& workspace_;
};

}  // namespace gaugely
