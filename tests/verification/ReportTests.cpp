#include <gtest/gtest.h>

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
    EXPECT_EQ(decoded->refresh, results.refresh);
    EXPECT_EQ(decoded->tree, results.tree);
    EXPECT_EQ(decoded->findings, results.findings);

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

}  // namespace
}  // namespace gaugely
