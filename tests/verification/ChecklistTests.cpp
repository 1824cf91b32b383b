#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Meterlane/Verification/Checklist.h"
#include "Meterlane/Verification/VerificationPlan.h"

namespace gaugely {
namespace {

std::string checklistFile() {
    const char* source = std::getenv("GAUGELY_SOURCE_DIR");
    const auto path = std::filesystem::path(source ? source : ".") / "Meterlane" / "Verification" /
                      "MacChecklist.json";
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(Checklist, TheRepositorysChecklistMapsEveryItemToAStepOrAPersonAndUsesEveryFinding) {
    const std::string text = checklistFile();
    ASSERT_FALSE(text.empty()) << "MacChecklist.json cannot be read";
    // The app embeds the same text it was built from.
    EXPECT_EQ(text, embeddedMacChecklist());
    // The embedding's raw string ends at this sequence, so the file must never hold it.
    EXPECT_EQ(text.find(")checklist\""), std::string::npos);

    auto parsed = parseChecklist(text);
    ASSERT_TRUE(std::holds_alternative<Checklist>(parsed)) << std::get<std::string>(parsed);
    const Checklist& checklist = std::get<Checklist>(parsed);
    EXPECT_EQ(checklistProblems(checklist), std::vector<std::string>{});
    for (const ChecklistItem& item : checklist.items) {
        EXPECT_NE(item.step.has_value(), item.manual.has_value()) << item.id;
        if (item.step) {
            EXPECT_NE(findVerificationFinding(*item.step), nullptr) << item.id;
        }
    }
}

TEST(Checklist, MalformedItemsAreRefusedWithTheirPlace) {
    struct Case {
        const char* text;
        const char* why;
    };
    const Case cases[] = {
        {"[]", "the checklist is not a JSON object"},
        {"{\"items\": 3}", "the checklist has no \"items\" list"},
        {"{\"items\": [7]}", "item 1 is not an object"},
        {R"({"items": [{"area": "A", "check": "c", "manual": "m"}]})", "item 1 has no \"id\""},
        {R"({"items": [{"id": "x", "area": "A", "check": "c"}]})",
         "item 1 (x) needs exactly one of \"step\" and \"manual\""},
        {R"({"items": [{"id": "x", "area": "A", "check": "c", "step": "tree.axurl", "manual": "m"}]})",
         "item 1 (x) needs exactly one of \"step\" and \"manual\""},
        {R"({"items": [{"id": "x", "area": "A", "check": "c", "manual": ""}]})",
         "item 1 (x) has an empty \"step\" or \"manual\""},
    };
    for (const Case& entry : cases) {
        const auto parsed = parseChecklist(entry.text);
        ASSERT_TRUE(std::holds_alternative<std::string>(parsed)) << entry.text;
        EXPECT_EQ(std::get<std::string>(parsed), entry.why) << entry.text;
    }
}

TEST(Checklist, BrokenTiesToThePlanAreEachNamed) {
    Checklist checklist;
    for (const VerificationStep& step : verificationPlan()) {
        for (const VerificationFinding& finding : step.findings) {
            checklist.items.push_back(
                {std::string(finding.id), "Area", "check", std::string(finding.id), {}});
        }
    }
    ASSERT_EQ(checklistProblems(checklist), std::vector<std::string>{});

    checklist.items.push_back({"tree.axurl", "Area", "again", {}, "look"});
    checklist.items.push_back({"new", "Area", "check", "tree.sizeOnSunday", {}});
    checklist.items.erase(std::find_if(
        checklist.items.begin(), checklist.items.end(),
        [](const ChecklistItem& item) { return item.step == finding::latencyMeasured; }));
    EXPECT_EQ(checklistProblems(checklist),
              (std::vector<std::string>{
                  "the id \"tree.axurl\" is used twice",
                  "\"new\" names \"tree.sizeOnSunday\", which no step of the verification finds",
                  "no item is confirmed by \"latency.measured\""}));
    EXPECT_EQ(checklist.areas(), std::vector<std::string>{"Area"});
}

}  // namespace
}  // namespace gaugely
