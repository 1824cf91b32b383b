#pragma once

// The checklist of what only a Mac can confirm, as Meterlane/Verification/MacChecklist.json keeps
// it: each item is confirmed by a finding of the verification (`step`) or left for a person with
// what to look for (`manual`). The build embeds the file, so the app's report and the suite read
// the same text.

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace gaugely {

struct ChecklistItem {
    std::string id;
    std::string area;
    std::string check;
    // The finding that confirms it, or what a person looks for: exactly one of them.
    std::optional<std::string> step;
    std::optional<std::string> manual;

    bool operator==(const ChecklistItem&) const = default;
};

struct Checklist {
    std::vector<ChecklistItem> items;

    // The areas in the order their first item appears.
    [[nodiscard]] std::vector<std::string> areas() const;
};

// The items, or why the text is not a checklist: malformed JSON, an item without its id, area or
// check, with both or neither of step and manual.
[[nodiscard]] std::variant<Checklist, std::string> parseChecklist(std::string_view text);

// What ties the checklist to the verification plan, each broken tie as one line: an id used
// twice, a step naming no finding of the plan, a finding of the plan that no item names.
[[nodiscard]] std::vector<std::string> checklistProblems(const Checklist& checklist);

// The checklist file as the build embedded it.
std::string_view embeddedMacChecklist();

}  // namespace gaugely
