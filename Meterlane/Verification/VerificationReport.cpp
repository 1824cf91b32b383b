#include "Meterlane/Verification/VerificationReport.h"

#include <cstdio>

#include "Meterlane/Verification/DiagnosticsText.h"
#include "Meterlane/Verification/VerificationPlan.h"

namespace gaugely {

namespace {

std::string format(const char* pattern, double value) {
    char text[48];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string ms(double seconds) {
    return format("%.1f ms", seconds * 1000.0);
}

std::string s(double seconds) {
    return format("%.2f s", seconds);
}

std::string statusLabel(FindingStatus status) {
    switch (status) {
        case FindingStatus::confirmed:
            return "confirmed";
        case FindingStatus::failed:
            return "FAILED";
        case FindingStatus::observed:
            return "observed";
        case FindingStatus::notRun:
            break;
    }
    return "not run";
}

FindingResult resultOf(const Findings& findings, const std::string& id) {
    const auto found = findings.find(id);
    return found == findings.end() ? FindingResult{FindingStatus::notRun, "no result was recorded"}
                                   : found->second;
}

void section(std::string& text, std::string_view title) {
    text += "\n## ";
    text += title;
    text += "\n\n";
}

void treeSection(std::string& text, const VerificationResults& results) {
    section(text, "Codex's accessibility tree");
    if (!results.tree) {
        text += "Not recorded (see the notes and the checklist).\n";
        return;
    }
    const TreeSurvey& tree = *results.tree;
    text += "- Elements: " + std::to_string(tree.elements) + (tree.capped ? " or more" : "") +
            " against the searches' budget of " + std::to_string(tree.budget) + ": " +
            (tree.withinBudget() ? "within it" : "OVER it; every refresh would end uncertain") +
            "\n";
    text += "- Web content (under AXWebArea): " + std::to_string(tree.webContentElements) +
            " elements\n";
    text += "- AXManualAccessibility: " +
            (tree.manualAccessibilityAnswer
                 ? (*tree.manualAccessibilityAnswer == 0
                        ? std::string("accepted")
                        : "error " + std::to_string(*tree.manualAccessibilityAnswer))
                 : std::string("not asked")) +
            "\n";
    text += "- Profile control: " +
            (tree.profileControl
                 ? tree.profileControl->text() + (tree.profileControl->insideWebContent()
                                                      ? " (web content)"
                                                      : " (outside the web content)")
                 : std::string("not in the recording")) +
            "\n";
    text += "- AXURL: " + std::to_string(tree.axurlAnswered) + " answered, " +
            std::to_string(tree.axurlKept) + " kept by the recording\n";
    std::string roles;
    for (const auto& [role, count] : tree.roles) {
        roles += (roles.empty() ? "" : ", ") + role + " " + std::to_string(count);
    }
    text += "- Commonest roles: " + roles + "\n";
    if (!results.treeFixture.empty()) {
        text +=
            "\n<details><summary>The recording, private text redacted (the fixture form the "
            "tests replay)</summary>\n\n```text\n" +
            results.treeFixture + (results.treeFixture.ends_with("\n") ? "" : "\n") +
            "```\n\n</details>\n";
    }
}

void latencySection(std::string& text, const VerificationResults& results) {
    section(text, "Accessibility latency");
    if (results.latency.empty()) {
        text += "Not measured.\n";
        return;
    }
    text +=
        "Every call of the recording walk, one inspection walk and one hit test, timed inside "
        "the app.\n\n| call | calls | median | 95th percentile | slowest |\n"
        "|---|---:|---:|---:|---:|\n";
    const auto row = [&](const std::string& name, const LatencySummary& summary) {
        text += "| " + name + " | " + std::to_string(summary.calls) + " | " + ms(summary.median) +
                " | " + ms(summary.p95) + " | " + ms(summary.max) + " |\n";
    };
    for (const CallLatency& call : results.latency) {
        row(call.call, call.summary);
    }
    if (results.roundTripLatency) {
        row("**every round trip**", *results.roundTripLatency);
    }
}

void projectionSection(std::string& text, const VerificationResults& results) {
    section(text, "Expected refresh at this latency");
    if (results.projections.empty()) {
        text += "Not computed: no latency was measured.\n";
        return;
    }
    text += "A manual refresh played against the simulated Codex with " +
            std::to_string(results.projections.front().projection.webContentElements) +
            " elements of web content, each round trip charged the measured latency: the cost "
            "model of `gaugely simulate --ax-latency`.\n\n"
            "| per round trip | refresh | round trips | request → end | menu open | round trips "
            "while open |\n|---|---|---:|---:|---:|---:|\n";
    for (const ProjectionRow& row : results.projections) {
        const auto line = [&](const std::string& label, const std::string& which,
                              const RefreshCost& cost) {
            text += "| " + label + " | " + which + " | " + std::to_string(cost.roundTrips) + " | " +
                    s(cost.requestToEndSeconds) + " | " + s(cost.menuDwellSeconds) + " | " +
                    std::to_string(cost.roundTripsWhileMenuOpen) + " |\n";
        };
        line(row.basis + ", " + ms(row.projection.secondsPerRoundTrip), "first of a session",
             row.projection.first);
        line("", "later", row.projection.later);
    }
}

void refreshSection(std::string& text, const VerificationResults& results) {
    section(text, "One real manual refresh");
    if (!results.refresh) {
        text += "Not run (see the notes and the checklist).\n";
        return;
    }
    const RefreshObservation& refresh = *results.refresh;
    text += "- Outcome: " + refresh.outcome + "\n";
    text += "- Round trips: " + std::to_string(refresh.roundTrips) + ", " +
            s(refresh.accessibilitySeconds) + " inside accessibility calls\n";
    text += "- Request → end: " + s(refresh.requestToEndSeconds) + "\n";
    text += "- Codex's menu open: " +
            (refresh.menuDwellMilliseconds ? std::to_string(*refresh.menuDwellMilliseconds) + " ms"
                                           : std::string("—")) +
            "\n";
    text += "- Menu found at: " +
            (refresh.menuPlace ? refresh.menuPlace->text() : std::string("not met")) + "\n";
    if (refresh.trace) {
        text += "\n```text\n" + traceBlock(*refresh.trace) + "```\n";
    }
}

void updatesSection(std::string& text, const VerificationResults& results) {
    section(text, "Updates against a local signed feed");
    if (results.updates.empty()) {
        text += "Not run (see the checklist).\n";
        return;
    }
    text += "| stage | what the framework did | outcome |\n|---|---|---|\n";
    for (const UpdateStageResult& stage : results.updates) {
        std::string events;
        for (const std::string& event : stage.events) {
            events += (events.empty() ? "" : "; ") + event;
        }
        text += "| " + stage.title + " | " + (events.empty() ? "—" : events) + " | " +
                stage.outcome + " |\n";
    }
}

void checklistSection(std::string& text, const VerificationResults& results,
                      const Checklist& checklist) {
    section(text, "Checklist");
    const ChecklistCounts counts = countChecklist(checklist, results.findings);
    text += std::to_string(checklist.items.size()) + " items: " + std::to_string(counts.byStep) +
            " settled by a step of this run (" + std::to_string(counts.confirmed) + " confirmed, " +
            std::to_string(counts.failed) + " failed, " + std::to_string(counts.observed) +
            " observed, " + std::to_string(counts.notRun) + " not run), " +
            std::to_string(counts.manual) + " for a person.\n";
    for (const std::string& area : checklist.areas()) {
        text += "\n### " + area + "\n\n";
        for (const ChecklistItem& item : checklist.items) {
            if (item.area != area) {
                continue;
            }
            if (item.manual) {
                text += "- [ ] **" + item.check + "** — for a person: " + *item.manual + "\n";
                continue;
            }
            const FindingResult result = resultOf(results.findings, *item.step);
            text += std::string(result.status == FindingStatus::confirmed ? "- [x] " : "- [ ] ") +
                    "**" + item.check + "** — " + statusLabel(result.status) + ": " +
                    result.detail + " (`" + *item.step + "`)\n";
        }
    }
}

}  // namespace

ChecklistCounts countChecklist(const Checklist& checklist, const Findings& findings) {
    ChecklistCounts counts;
    for (const ChecklistItem& item : checklist.items) {
        if (!item.step) {
            ++counts.manual;
            continue;
        }
        ++counts.byStep;
        switch (resultOf(findings, *item.step).status) {
            case FindingStatus::confirmed:
                ++counts.confirmed;
                break;
            case FindingStatus::failed:
                ++counts.failed;
                break;
            case FindingStatus::observed:
                ++counts.observed;
                break;
            case FindingStatus::notRun:
                ++counts.notRun;
                break;
        }
    }
    return counts;
}

std::string renderVerificationReport(const VerificationResults& results,
                                     const Checklist& checklist) {
    std::string text = "# Gaugely on a Mac: verification report\n\n";
    if (results.placeholder) {
        text +=
            "> **Placeholder data.** Rendered by `scripts/mac-verify --dry-run` to show the "
            "report's shape; no Mac was asked anything.\n\n";
    }
    text += "Made by `make mac-verify`" +
            (results.createdAt.empty() ? std::string() : " at " + results.createdAt) +
            ". The checks ran inside Gaugely.app, with its own permissions.\n";
    if (results.system && results.permissions) {
        text += "\n" + factSections(*results.system, *results.permissions);
    } else if (results.system) {
        text += "\n## This Mac\n\n";
        for (const std::string& line : systemFactLines(*results.system)) {
            text += "- " + line + "\n";
        }
    }
    treeSection(text, results);
    latencySection(text, results);
    projectionSection(text, results);
    refreshSection(text, results);
    updatesSection(text, results);
    checklistSection(text, results, checklist);
    if (!results.notes.empty()) {
        section(text, "Notes");
        for (const std::string& note : results.notes) {
            text += "- " + note + "\n";
        }
    }
    section(text, "What to send back");
    text +=
        "This file, build/mac-verify/report.md, as it is: the text in Codex's tree is already "
        "redacted (only Gaugely's labels and usage-shaped values are kept). Add what you saw "
        "for the items left for a person.\n";
    return text;
}

std::string verificationPlanText(const Checklist& checklist) {
    std::string text;
    int number = 0;
    for (const VerificationStep& step : verificationPlan()) {
        text += std::to_string(++number) + ". " + std::string(step.title) + " (" +
                (step.runner == StepRunner::app ? "inside Gaugely.app" : "the script") +
                "): " + std::string(step.what) + "\n";
        for (const VerificationFinding& finding : step.findings) {
            std::size_t items = 0;
            for (const ChecklistItem& item : checklist.items) {
                items += item.step == finding.id ? 1 : 0;
            }
            text += "   - " + std::string(finding.id) + ": " + std::string(finding.confirms) +
                    " [" + std::to_string(items) + (items == 1 ? " item]" : " items]") + "\n";
        }
    }
    const ChecklistCounts counts = countChecklist(checklist, {});
    text += "Checklist: " + std::to_string(checklist.items.size()) + " items, " +
            std::to_string(counts.byStep) + " settled by a step, " + std::to_string(counts.manual) +
            " for a person.\n";
    return text;
}

VerificationResults placeholderResults() {
    VerificationResults results;
    results.placeholder = true;
    results.createdAt = "2026-11-21T09:00:00Z";
    SystemFacts facts;
    facts.macOSVersion = "14.5";
    facts.macOSBuild = "23F79";
    facts.architecture = "arm64";
    facts.codexVersion = "26.1.0";
    facts.codexBuild = "1234";
    facts.codexRunning = true;
    facts.gaugelyVersion = "1.0.3";
    facts.gaugelyBuild = "3";
    facts.bundleIdentifier = "com.vostrel.gaugely";
    facts.bundlePath = "~/gaugely/build/mac-verify/Gaugely.app";
    facts.sparkleVersion = "2.10.0";
    facts.notificationSettings = {"alert style: banner", "sound: enabled"};
    results.system = facts;
    PermissionStates states;
    states.accessibility = true;
    states.inputMonitoring = false;
    states.notifications = NotificationAuthorizationStatus::authorized;
    states.loginItem = LoginItemService::Status::notRegistered;
    results.permissions = states;

    TreeSurvey tree;
    tree.elements = 1874;
    tree.budget = 2500;
    tree.webContentElements = 1790;
    tree.manualAccessibilityAnswer = 0;
    tree.profileControl = TreePlace{
        {"AXApplication", "AXWindow", "AXGroup", "AXWebArea", "AXGroup", "AXPopUpButton"}, true};
    tree.axurlAnswered = 41;
    tree.axurlKept = 0;
    tree.roles = {{"AXGroup", 911}, {"AXStaticText", 602}, {"AXButton", 188}, {"AXLink", 64}};
    results.tree = tree;
    results.treeFixture =
        "AXApplication title=\"(redacted)\"\n  AXWindow title=\"(redacted)\"\n"
        "    AXGroup\n      AXWebArea\n        AXPopUpButton description=\"Open profile menu\"\n";
    results.latency = {{"copyMultipleAttributeValues", {3750, 0.0041, 0.0112, 0.0480, 18.2}},
                       {"copyActionNames", {1874, 0.0018, 0.0049, 0.0210, 4.1}},
                       {"elementAtPosition", {1, 0.0062, 0.0062, 0.0062, 0.0062}}};
    results.roundTripLatency = LatencySummary{5625, 0.0032, 0.0098, 0.0480, 22.3};
    // The cost model itself, at the placeholder latencies.
    results.projections = {
        {"median", projectManualRefresh(CodexPlan::plus, results.roundTripLatency->median,
                                        tree.webContentElements)},
        {"95th percentile", projectManualRefresh(CodexPlan::plus, results.roundTripLatency->p95,
                                                 tree.webContentElements)}};

    RefreshObservation refresh;
    refresh.outcome = "success — snapshot committed; cleanup closed";
    refresh.committed = true;
    refresh.roundTrips = 8231;
    refresh.accessibilitySeconds = 27.4;
    refresh.requestToEndSeconds = 28.6;
    refresh.menuDwellMilliseconds = 812;
    refresh.menuPlace = TreePlace{{"AXApplication", "AXMenu"}, true};
    refresh.trace = KeptRefreshTrace{
        "5C0A1E7B",
        "manual",
        {"Refresh [5C0A1E7B] manual: refresh requested at 0 ms",
         "Refresh [5C0A1E7B] manual: target app resolved at 402 ms",
         "Refresh timing: Profile click issued at 3950 ms", "Refresh menu dwell: 812 ms",
         "Refresh [5C0A1E7B] manual: final outcome success — snapshot committed; cleanup closed "
         "at 28600 ms"},
        "success — snapshot committed; cleanup closed",
        28600,
        812};
    results.refresh = refresh;
    results.updates = {
        {"probe-signed",
         "Information-only probe of the signed feed",
         {"itemsOffered 1 item, chose #1, signature valid", "updateFound build 4", "cycleFinished"},
         "update found: build 4; the cycle ended"},
        {"probe-tampered",
         "Probe of the tampered feed",
         {"aborted: SUSparkleErrorDomain 1000 (The appcast's signature is not valid.)"},
         "nothing found; the cycle failed"},
    };
    for (const VerificationStep& step : verificationPlan()) {
        for (const VerificationFinding& finding : step.findings) {
            results.findings[std::string(finding.id)] = {
                FindingStatus::confirmed, "(placeholder) " + std::string(finding.confirms)};
        }
    }
    results.findings[std::string(finding::inputMonitoringPreflight)] = {
        FindingStatus::observed,
        "(placeholder) with Accessibility granted, the preflight answers "
        "not granted"};
    results.notes = {"(placeholder) Notes say why a step did not run."};
    return results;
}

}  // namespace gaugely
