#include "Meterlane/Verification/TreeSurvey.h"

#include <algorithm>
#include <map>
#include <set>

#include "LowUsageNotificationSupport/CodexVocabulary.h"

namespace gaugely {

TreeSurvey surveyTree(const SimulatedTree& tree, std::size_t elements, bool capped,
                      std::size_t budget, std::size_t commonestRoles) {
    TreeSurvey survey;
    survey.elements = elements;
    survey.capped = capped;
    survey.budget = budget;

    // Each node once, even where child lists are shared or cyclic.
    std::map<std::string, std::size_t> roleCounts;
    std::set<NodeId> seen;
    struct Pending {
        NodeId node;
        bool inWebContent;
    };
    std::vector<Pending> stack{{tree.root(), false}};
    while (!stack.empty()) {
        const Pending next = stack.back();
        stack.pop_back();
        if (!seen.insert(next.node).second) {
            continue;
        }
        const std::string role = tree.role(next.node);
        ++roleCounts[role];
        survey.webContentElements += next.inWebContent ? 1 : 0;
        const bool childrenInWebContent = next.inWebContent || role == "AXWebArea";
        for (const NodeId child : tree.children(next.node)) {
            stack.push_back({child, childrenInWebContent});
        }
    }

    const auto control = tree.find([&](NodeId node) {
        return tree.role(node) == ax::popUpButtonRole &&
               codexVocabulary::isProfileLabel(tree.text(node, ax::description));
    });
    if (control) {
        TreePlace place;
        std::optional<NodeId> current = control;
        std::set<NodeId> climbed;
        while (current && climbed.insert(*current).second) {
            place.roles.push_back(tree.role(*current));
            current = tree.parent(*current);
        }
        std::reverse(place.roles.begin(), place.roles.end());
        place.reachesApplication = !place.roles.empty() && place.roles.front() == "AXApplication";
        survey.profileControl = std::move(place);
    }

    std::vector<std::pair<std::string, std::size_t>> roles(roleCounts.begin(), roleCounts.end());
    std::stable_sort(roles.begin(), roles.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    roles.resize(std::min(roles.size(), commonestRoles));
    survey.roles = std::move(roles);
    return survey;
}

}  // namespace gaugely
