#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include "Meterlane/Verification/Checklist.h"
#include "Meterlane/Verification/VerificationPlan.h"
#include "Meterlane/Verification/VerificationReport.h"

namespace gaugely {
namespace {

Checklist builtInChecklist() {
    return std::get<Checklist>(parseChecklist(embeddedMacChecklist()));
}

TEST(VerificationResults, SurviveTheirJsonAndKeepDefaultsForWhatCannotBeRead) {
    const VerificationResults results = placeholderResults();
    const auto decoded = VerificationResults::fromJson(results.toJson());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->toJson(), results.toJson());

    EXPECT_FALSE(VerificationResults::fromJson(Json::array()));
    const auto partial = VerificationResults::fromJson(*parseJson(
        R"({"createdAt": 7, "refresh": "no", "tree": {"elements": -3, "budget": 2500},
            "findings": {"tree.axurl": {"status": "maybe", "detail": "d"}, "x": 1},
            "notes": ["kept", 4]})"));
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->createdAt, "");
    EXPECT_FALSE(partial->refresh);
    ASSERT_TRUE(partial->tree);
    EXPECT_EQ(partial->tree->elements, 0u);
    EXPECT_EQ(partial->tree->budget, 2500u);
    EXPECT_EQ(partial->findings.at("tree.axurl"), (FindingResult{FindingStatus::notRun, "d"}));
    EXPECT_FALSE(partial->findings.contains("x"));
    EXPECT_EQ(partial->notes, std::vector<std::string>{"kept"});
}

TEST(VerificationResults, TheScriptsFindingsWinOverTheApps) {
    VerificationResults app;
    app.findings["update.installOnQuitPrevented"] = {FindingStatus::notRun,
                                                     "checked by the script"};
    app.findings["tree.axurl"] = {FindingStatus::observed, "3 answered"};
    VerificationResults script;
    script.findings["update.installOnQuitPrevented"] = {FindingStatus::confirmed, "still build 3"};
    script.notes = {"built ad hoc"};
    app.merge(script);
    EXPECT_EQ(app.findings.at("update.installOnQuitPrevented").status, FindingStatus::confirmed);
    EXPECT_EQ(app.findings.at("tree.axurl").detail, "3 answered");
    EXPECT_EQ(app.notes, std::vector<std::string>{"built ad hoc"});
}

TEST(VerificationReport, EveryChecklistItemWithItsResultOrWhatToLookFor) {
    const Checklist checklist = builtInChecklist();
    VerificationResults results = placeholderResults();
    results.findings[std::string(finding::treeWithinBudget)] = {FindingStatus::failed,
                                                                "2,600 elements"};
    results.findings.erase(std::string(finding::appAgent));
    const std::string report = renderVerificationReport(results, checklist);
    EXPECT_NE(report.find("**Placeholder data.**"), std::string::npos) << "never mistaken for real";
    for (const ChecklistItem& item : checklist.items) {
        const std::string line = "**" + item.check + "** — ";
        const std::size_t found = report.find(line);
        ASSERT_NE(found, std::string::npos) << item.id;
        const std::string rest = report.substr(found + line.size(), 40);
        if (item.manual) {
            EXPECT_TRUE(rest.starts_with("for a person: ")) << item.id;
        } else if (item.step == finding::treeWithinBudget) {
            EXPECT_TRUE(rest.starts_with("FAILED: 2,600 elements")) << rest;
        } else if (item.step == finding::appAgent) {
            EXPECT_TRUE(rest.starts_with("not run: no result was recorded")) << rest;
        }
    }
    const ChecklistCounts counts = countChecklist(checklist, results.findings);
    EXPECT_EQ(counts.byStep + counts.manual, checklist.items.size());
    EXPECT_EQ(counts.failed, 1u);
    EXPECT_EQ(counts.notRun, 1u);
    EXPECT_NE(report.find(std::to_string(checklist.items.size()) + " items: " +
                          std::to_string(counts.byStep) + " settled by a step of this run"),
              std::string::npos);
}

TEST(VerificationReport, ThePlanNamesEveryFindingAndHowManyItemsItSettles) {
    const std::string plan = verificationPlanText(builtInChecklist());
    for (const VerificationStep& step : verificationPlan()) {
        EXPECT_NE(plan.find(std::string(step.title) + " ("), std::string::npos) << step.id;
        for (const VerificationFinding& finding : step.findings) {
            EXPECT_NE(plan.find("   - " + std::string(finding.id) + ": "), std::string::npos)
                << finding.id;
        }
    }
    EXPECT_EQ(plan.find("[0 items]"), std::string::npos);
}

TEST(Checklist, TheRepositorysChecklistMapsEveryItemToAStepOrAPersonAndUsesEveryFinding) {
    const char* source = std::getenv("GAUGELY_SOURCE_DIR");
    std::ifstream file(std::filesystem::path(source ? source : ".") /
                       "Meterlane/Verification/MacChecklist.json");
    const std::string text(std::istreambuf_iterator<char>(file), {});
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
