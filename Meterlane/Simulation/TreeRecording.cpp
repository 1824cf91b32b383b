#include "Meterlane/Simulation/TreeRecording.h"

#include <array>
#include <fstream>
#include <sstream>
#include <unordered_map>
#include <vector>

#include "LowUsageNotificationSupport/CodexVocabulary.h"

namespace gaugely {

namespace {

// What a recording reads of every element, in one round trip.
constexpr std::array<std::string_view, 17> recordedAttributes{
    "AXRole",    "AXSubrole",  "AXRoleDescription",  "AXTitle",  "AXDescription", "AXValue",
    "AXHelp",    "AXURL",      "AXPlaceholderValue", "AXHidden", "AXExpanded",    "AXFocused",
    "AXEnabled", "AXSelected", "AXPosition",         "AXSize",   "AXChildren",
};

// Names of a kind of element, not anything the user wrote.
bool isStructural(std::string_view attribute) {
    return attribute == "AXRole" || attribute == "AXSubrole" || attribute == "AXRoleDescription";
}

}  // namespace

std::string redactedText(std::string_view text) {
    if (codexVocabulary::isVocabularyLabel(text) || codexVocabulary::isUsageValueText(text)) {
        return std::string(text);
    }
    return std::string(redactedPlaceholder);
}

TreeRecording recordTree(Accessibility& accessibility, const AXElement& application,
                         const TreeRecordingOptions& options) {
    TreeRecording recording;
    std::unordered_map<AXElement, NodeId, AXElementHash> recorded;
    struct Pending {
        AXElement element;
        NodeId parent;  // 0: the root
    };
    std::vector<Pending> stack{{application, 0}};
    std::optional<SimulatedTree> tree;
    while (!stack.empty()) {
        Pending next = std::move(stack.back());
        stack.pop_back();
        if (const auto seen = recorded.find(next.element); seen != recorded.end()) {
            tree->link(next.parent, seen->second);
            continue;
        }
        if (recording.elements == options.elementCap) {
            recording.capped = true;
            break;
        }
        ++recording.elements;
        const std::vector<AXAttributeResult> reads =
            accessibility.copyMultipleAttributeValues(next.element, recordedAttributes);
        const auto* role = reads.size() > 0 ? reads[0].get<std::string>() : nullptr;
        NodeId node = 0;
        if (!tree) {
            tree.emplace(role ? *role : "AXApplication");
            node = tree->root();
        } else {
            node = tree->add(next.parent, role ? *role : "AXUnknown");
        }
        recorded.emplace(next.element, node);
        if (!role && !reads.empty() && !reads[0].ok()) {
            tree->setError(node, ax::role, reads[0].error);
        }
        for (std::size_t i = 1; i < reads.size() && i < recordedAttributes.size(); ++i) {
            const std::string_view name = recordedAttributes[i];
            const AXAttributeResult& result = reads[i];
            if (name == ax::children) {
                if (const auto* children = result.get<std::vector<AXElement>>()) {
                    for (auto child = children->rbegin(); child != children->rend(); ++child) {
                        stack.push_back({*child, node});
                    }
                } else if (!result.ok() && result.error != ax::noValue &&
                           result.error != ax::attributeUnsupported) {
                    tree->setError(node, ax::children, result.error);
                }
                continue;
            }
            if (!result.ok()) {
                if (result.error != ax::noValue && result.error != ax::attributeUnsupported) {
                    tree->setError(node, name, result.error);
                }
                continue;
            }
            if (const auto* text = std::get_if<std::string>(&result.value)) {
                tree->set(node, name,
                          options.keepText || isStructural(name) ? *text : redactedText(*text));
            } else if (!std::holds_alternative<std::monostate>(result.value) &&
                       !std::holds_alternative<AXElement>(result.value) &&
                       !std::holds_alternative<std::vector<AXElement>>(result.value)) {
                tree->set(node, name, result.value);
            }
        }
        if (const auto actions = accessibility.copyActionNames(next.element)) {
            if (!actions->empty()) {
                tree->setActions(node, *actions);
            }
        }
    }
    recording.tree = tree ? std::move(*tree) : SimulatedTree();
    return recording;
}

namespace {

constexpr std::array<std::string_view, 3> setFiles{"closed.txt", "open.txt", "expanded.txt"};

}  // namespace

std::optional<CodexFixtureSet> CodexFixtureSet::load(const std::filesystem::path& folder,
                                                     std::string* error) {
    CodexFixtureSet set;
    std::string* texts[] = {&set.closed, &set.open, &set.expanded};
    for (std::size_t i = 0; i < setFiles.size(); ++i) {
        std::ifstream in(folder / setFiles[i]);
        if (!in) {
            if (error) {
                *error = (folder / setFiles[i]).string() + ": cannot be read";
            }
            return std::nullopt;
        }
        std::ostringstream text;
        text << in.rdbuf();
        *texts[i] = text.str();
        std::string why;
        if (!SimulatedTree::fromFixture(*texts[i], &why)) {
            if (error) {
                *error = (folder / setFiles[i]).string() + ": " + why;
            }
            return std::nullopt;
        }
    }
    return set;
}

bool CodexFixtureSet::write(const std::filesystem::path& folder, std::string* error) const {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    const std::string* texts[] = {&closed, &open, &expanded};
    for (std::size_t i = 0; i < setFiles.size(); ++i) {
        std::ofstream out(folder / setFiles[i]);
        out << *texts[i];
        if (!out) {
            if (error) {
                *error = (folder / setFiles[i]).string() + ": cannot be written";
            }
            return false;
        }
    }
    return true;
}

}  // namespace gaugely
