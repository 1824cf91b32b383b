#include "Meterlane/Verification/Checklist.h"

#include <algorithm>
#include <set>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Verification/VerificationPlan.h"

namespace gaugely {

std::vector<std::string> Checklist::areas() const {
    std::vector<std::string> result;
    for (const ChecklistItem& item : items) {
        if (std::find(result.begin(), result.end(), item.area) == result.end()) {
            result.push_back(item.area);
        }
    }
    return result;
}

std::variant<Checklist, std::string> parseChecklist(std::string_view text) {
    const std::optional<Json> json = parseJson(text);
    if (!json || !json->is_object()) {
        return std::string("the checklist is not a JSON object");
    }
    const Json* items = jsonMember(*json, "items");
    if (!items || !items->is_array()) {
        return std::string("the checklist has no \"items\" list");
    }
    Checklist checklist;
    for (std::size_t index = 0; index < items->size(); ++index) {
        const Json& entry = (*items)[index];
        const std::string where = "item " + std::to_string(index + 1);
        if (!entry.is_object()) {
            return where + " is not an object";
        }
        ChecklistItem item;
        for (const auto& [key, field] : {std::pair{"id", &item.id}, std::pair{"area", &item.area},
                                         std::pair{"check", &item.check}}) {
            const auto value = jsonString(entry, key);
            if (!value || value->empty()) {
                return where + " has no \"" + key + "\"";
            }
            *field = *value;
        }
        item.step = jsonString(entry, "step");
        item.manual = jsonString(entry, "manual");
        if (item.step.has_value() == item.manual.has_value()) {
            return where + " (" + item.id + ") needs exactly one of \"step\" and \"manual\"";
        }
        if ((item.step && item.step->empty()) || (item.manual && item.manual->empty())) {
            return where + " (" + item.id + ") has an empty \"step\" or \"manual\"";
        }
        checklist.items.push_back(std::move(item));
    }
    return checklist;
}

std::vector<std::string> checklistProblems(const Checklist& checklist) {
    std::vector<std::string> problems;
    std::set<std::string> ids;
    std::set<std::string> named;
    for (const ChecklistItem& item : checklist.items) {
        if (!ids.insert(item.id).second) {
            problems.push_back("the id \"" + item.id + "\" is used twice");
        }
        if (item.step) {
            if (!findVerificationFinding(*item.step)) {
                problems.push_back("\"" + item.id + "\" names \"" + *item.step +
                                   "\", which no step of the verification finds");
            }
            named.insert(*item.step);
        }
    }
    for (const VerificationStep& step : verificationPlan()) {
        for (const VerificationFinding& candidate : step.findings) {
            if (!named.contains(std::string(candidate.id))) {
                problems.push_back("no item is confirmed by \"" + std::string(candidate.id) + "\"");
            }
        }
    }
    return problems;
}

}  // namespace gaugely
