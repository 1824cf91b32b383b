#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "LowUsageNotificationSupport/MonthlyMenuBarPresentation.h"
#include "Meterlane/Presentation/PopoverViewModel.h"

namespace gaugely {
namespace {

// Shows which date was formatted, whether seconds were asked for, and which day pattern.
struct FakeTimeFormatter final : TimeFormatter {
    std::string timeOfDay(Date date, bool includesSeconds) const override {
        return std::to_string(static_cast<long long>(date.timeIntervalSinceReferenceDate)) +
               (includesSeconds ? "s" : "");
    }
    std::optional<std::string> format(Date, std::string_view pattern, std::string_view,
                                      std::string_view) const override {
        return "day(" + std::string(pattern) + ")";
    }
    bool knowsTimeZone(std::string_view) const override { return false; }
};
const FakeTimeFormatter fakeTime;

PopoverInput plusWithData() {
    PopoverInput input;
    input.plan = CodexPlan::plus;
    input.hasExplicitPlanSelection = true;
    input.accessibilityGranted = true;
    input.presentationState = UsageSnapshotPresentationState::dataAvailable;
    input.currentDisplaySnapshot = {"72%", "3:45 PM", "Not Found", "Sep 12"};
    input.currentDisplayLastUpdated = Date{100};
    input.nextAutomaticRefreshDate = Date{160};
    return input;
}

// The blocks' words are the golden scenarios' (simulate-first-run shows all but pro's note).
TEST(PopoverViewModel, BlockFollowsPlanChoiceThenPermissionThenState) {
    using S = UsageSnapshotPresentationState;
    const struct {
        S state;
        bool granted;
        PopoverBlock block;
        bool footer;
    } rows[] = {
        {S::planSelectionRequired, false, PopoverBlock::planSelection, false},
        {S::dataAvailable, false, PopoverBlock::accessibilityPermission, true},
        {S::noUsageData, true, PopoverBlock::usageNotSynced, true},
        {S::unvalidatedPlan, true, PopoverBlock::unvalidatedPlan, true},
        {S::dataAvailable, true, PopoverBlock::usageMonitor, true},
    };
    for (const auto& row : rows) {
        PopoverInput input;
        input.plan = CodexPlan::pro;
        input.presentationState = row.state;
        input.accessibilityGranted = row.granted;
        // The permission block already says this; the status line must not repeat it.
        input.statusMessage = "Accessibility permission required";
        const auto model = PopoverViewModel::make(input, fakeTime);
        EXPECT_EQ(model.block, row.block);
        EXPECT_EQ(model.showsFooter, row.footer);
        EXPECT_EQ(model.sections.size(), row.block == PopoverBlock::usageMonitor ? 1u : 0u);
        EXPECT_EQ(model.statusLine.has_value(), row.granted);
        if (row.block == PopoverBlock::unvalidatedPlan) {
            EXPECT_EQ(model.blockText, "Pro usage reading is not yet validated.");
        }
    }
}

TEST(PopoverViewModel, OneSectionPerWindowOfThePlan) {
    PopoverInput input = plusWithData();
    auto model = PopoverViewModel::make(input, fakeTime);
    ASSERT_EQ(model.sections.size(), 2u);
    EXPECT_EQ(model.sections[0], (UsageSection{"5h", "72%", 0.72, "Reset 3:45 PM", std::nullopt}));
    EXPECT_EQ(model.sections[1],
              (UsageSection{"Weekly", "Not Found", 0, "Reset Sep 12", std::nullopt}));

    input.plan = CodexPlan::freeGo;
    input.currentDisplaySnapshot.monthly = "120%";
    input.currentDisplaySnapshot.monthlyReset = "Oct 3";
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).sections,
              (std::vector<UsageSection>{{"Monthly", "120%", 1, "Reset Oct 3", std::nullopt}}));

    input.plan = CodexPlan::pro;
    input.currentDisplaySnapshot.weekly = "-5%";
    EXPECT_EQ(
        PopoverViewModel::make(input, fakeTime).sections,
        (std::vector<UsageSection>{{"General Weekly", "-5%", 0, std::nullopt, std::nullopt}}));
}

// A log reading names the pro weekly reset the menu never shows, marks a window whose reset
// passed, and leaves out a reset it does not know.
TEST(PopoverViewModel, ResetLinesOfALogReading) {
    using Lines = std::vector<std::optional<std::string>>;
    const CodexPlan plus = CodexPlan::plus, pro = CodexPlan::pro;
    const UsageSource menu = UsageSource::codexMenu, logs = UsageSource::codexLogs;
    const QuotaWindow fiveHour = QuotaWindow::fiveHour, weekly = QuotaWindow::weekly;
    const struct {
        CodexPlan plan;
        UsageSource source;
        std::set<QuotaWindow> shownAsReset;
        std::string weeklyReset;
        Lines resetLines;
    } rows[] = {
        {pro, menu, {}, "Sep 12", {std::nullopt}},
        {pro, logs, {}, "Sep 12", {"Reset Sep 12"}},
        {pro, logs, {weekly}, "Sep 12", {"Was reset at Sep 12"}},
        {plus, logs, {fiveHour}, "Sep 12", {"Was reset at 3:45 PM", "Reset Sep 12"}},
        {plus, logs, {}, "Not Found", {"Reset 3:45 PM", std::nullopt}},
    };
    for (const auto& row : rows) {
        PopoverInput input = plusWithData();
        input.plan = row.plan;
        input.source = row.source;
        input.windowsShownAsReset = row.shownAsReset;
        input.currentDisplaySnapshot.weekly = "40%";
        input.currentDisplaySnapshot.weeklyReset = row.weeklyReset;
        Lines lines;
        for (const UsageSection& section : PopoverViewModel::make(input, fakeTime).sections) {
            lines.push_back(section.resetLine);
        }
        EXPECT_EQ(lines, row.resetLines) << "row " << &row - rows;
    }
}

TEST(UsageProgress, ClampsAndTreatsTextThatIsNotANumberAsEmpty) {
    const struct {
        const char* text;
        double progress;
    } rows[] = {
        {"Not Found", 0}, {"120%", 1},   {"-5%", 0},
        {"42.5%", 0.425}, {"+40%", 0.4}, {"%", 0},
        {".5", 0.005},    {"1.2.3", 0},  {"99999999999999999999999", 1},
    };
    for (const auto& row : rows) {
        EXPECT_DOUBLE_EQ(usageProgress(row.text), row.progress) << row.text;
    }
}

// The golden scenarios show the usual footer; these are the states they never reach.
TEST(PopoverViewModel, FooterTextsSecondsOnlyAtThirtySecondsAndALogReadingSaysSo) {
    PopoverInput input = plusWithData();
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).lastUpdatedText, "Last updated: 100");
    input.refreshFrequency = RefreshFrequency::thirtySeconds;
    input.statusMessage = "Data may be outdated";
    auto model = PopoverViewModel::make(input, fakeTime);
    EXPECT_EQ(model.lastUpdatedText, "Last updated: 100s");
    EXPECT_EQ(model.automaticRefreshStatusText, "Next automatic refresh: 160s");
    EXPECT_EQ(model.statusLine, (StatusLine{"Data may be outdated", StatusLineStyle::warning}));
    input.statusMessage = "Refreshing Codex usage...";
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).statusLine,
              (StatusLine{"Refreshing Codex usage...", StatusLineStyle::secondary}));

    input.automaticRefreshEnabled = false;
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).automaticRefreshStatusText,
              "Automatic refresh: Off");
    input.automaticRefreshEnabled = true;
    input.nextAutomaticRefreshDate.reset();
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).automaticRefreshStatusText,
              "Next automatic refresh: —");

    input.source = UsageSource::codexLogs;
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).lastUpdatedText,
              "Last updated: 100s \u00B7 from Codex's logs");
    input.currentDisplayLastUpdated.reset();
    EXPECT_EQ(PopoverViewModel::make(input, fakeTime).lastUpdatedText, std::nullopt);
}

// The notices' words are the golden update scenario's; whether each shows is decided here.
TEST(PopoverViewModel, Notices) {
    PopoverInput input = plusWithData();
    input.updateOfferVersion = "1.0.4";
    input.updatedToVersion = "1.0.3";
    input.inputMonitoringUnavailable = true;
    const auto model = PopoverViewModel::make(input, fakeTime);
    EXPECT_TRUE(model.updatedNote && model.updateOffer && model.inputMonitoringNotice);

    // Before a plan is chosen nothing refreshes, so there is nothing to warn about.
    input.presentationState = UsageSnapshotPresentationState::planSelectionRequired;
    EXPECT_FALSE(PopoverViewModel::make(input, fakeTime).inputMonitoringNotice);
}

// A window's pace line is the pace rule's sentence with the runs-out time written as the user
// reads it, placed under that window only; no estimate, no line.
TEST(PopoverViewModel, EachWindowShowsItsOwnPace) {
    using K = UsagePaceEstimate::Kind;
    const UsagePaceEstimate runsOut{K::runsOut, Date{5400}, 1200};
    const UsagePaceEstimate lasts{K::lastsUntilReset, std::nullopt, 0};
    const QuotaWindow fh = QuotaWindow::fiveHour, wk = QuotaWindow::weekly;
    // The runs-out time as the fake formatter writes it.
    const auto text = [](QuotaWindow window, const UsagePaceEstimate& estimate) {
        return usagePaceText(window, estimate, estimate.runsOutAt ? "5400" : "");
    };
    const struct {
        CodexPlan plan;
        std::map<QuotaWindow, UsagePaceEstimate> pace;
        std::vector<std::optional<std::string>> lines;
    } rows[] = {
        {CodexPlan::plus, {}, {std::nullopt, std::nullopt}},
        {CodexPlan::plus, {{fh, runsOut}, {wk, lasts}}, {text(fh, runsOut), text(wk, lasts)}},
        {CodexPlan::plus, {{wk, runsOut}}, {std::nullopt, text(wk, runsOut)}},
        // Pro's one section is its weekly window; a five-hour estimate has nowhere to go.
        {CodexPlan::pro, {{fh, runsOut}, {wk, lasts}}, {text(wk, lasts)}},
        {CodexPlan::freeGo,
         {{QuotaWindow::monthly, runsOut}},
         {text(QuotaWindow::monthly, runsOut)}},
    };
    for (const auto& row : rows) {
        PopoverInput input = plusWithData();
        input.plan = row.plan;
        input.usagePace = row.pace;
        const PopoverViewModel model = PopoverViewModel::make(input, fakeTime);
        ASSERT_EQ(model.sections.size(), row.lines.size()) << rawValue(row.plan);
        for (std::size_t i = 0; i < row.lines.size(); ++i) {
            EXPECT_EQ(model.sections[i].paceLine, row.lines[i]) << rawValue(row.plan) << " " << i;
        }
    }
}

// A weekly window may run out days after the reading: then the day comes first.
TEST(PopoverViewModel, APaceTimeFarAheadNamesItsDay) {
    const struct {
        double hoursAhead;
        bool knownReading;
        std::string text;
    } rows[] = {
        {1, true, "3600"},
        {18, true, "64800"},
        {19, true, "day(MMM d), 68400"},
        {1, false, "day(MMM d), 3600"},
    };
    for (const auto& row : rows) {
        const Date runsOut{row.hoursAhead * 3600};
        EXPECT_EQ(
            usagePaceTimeText(
                runsOut, row.knownReading ? std::optional<Date>(Date{0}) : std::nullopt, fakeTime),
            row.text)
            << row.hoursAhead;
    }
}

using D = MenuBarDisplay;

UsageSnapshot reading(const char* fiveHour, const char* weekly, const char* monthly) {
    return {.fiveHour = fiveHour, .weekly = weekly, .monthly = monthly};
}

TEST(MenuBarUsageSummary, EveryPlanAndFormat) {
    const UsageSnapshot full = reading("42%", "80%", "63%");
    const UsageSnapshot unread;
    const UsageSnapshot partial = reading("Not Found", "80%", "Not Found");
    const struct {
        CodexPlan plan;
        D display;
        std::string read, unread, partial;
    } rows[] = {
        {CodexPlan::freeGo, D::standard, "M 63%", "M —", "M —"},
        {CodexPlan::freeGo, D::compact, "63%", "—", "—"},
        {CodexPlan::freeGo, D::minimal, "63", "—", "—"},
        {CodexPlan::freeGo, D::fiveHourOnly, "M 63%", "M —", "M —"},
        {CodexPlan::plus, D::standard, "5h 42% · W 80%", "5h — · W —", "5h — · W 80%"},
        {CodexPlan::plus, D::compact, "42%·80%", "—·—", "—·80%"},
        {CodexPlan::plus, D::minimal, "42·80", "—·—", "—·80"},
        {CodexPlan::plus, D::fiveHourOnly, "5h 42%", "5h —", "5h —"},
        {CodexPlan::plus, D::weeklyOnly, "W 80%", "W —", "W 80%"},
        {CodexPlan::pro, D::standard, "W 80%", "W —", "W 80%"},
        {CodexPlan::pro, D::compact, "80%", "—", "80%"},
        {CodexPlan::pro, D::minimal, "80", "—", "80"},
        {CodexPlan::pro, D::fiveHourOnly, "W 80%", "W —", "W 80%"},
    };
    for (const auto& row : rows) {
        const std::string label =
            std::string(rawValue(row.plan)) + "/" + std::string(rawValue(row.display));
        EXPECT_EQ(menuBarUsageSummary(true, row.plan, row.display, full), row.read) << label;
        EXPECT_EQ(menuBarUsageSummary(true, row.plan, row.display, unread), row.unread) << label;
        EXPECT_EQ(menuBarUsageSummary(true, row.plan, row.display, partial), row.partial) << label;
        EXPECT_EQ(menuBarUsageSummary(false, row.plan, row.display, full), "Set plan") << label;
    }
    // Texts are shown as held, whatever Codex wrote.
    EXPECT_EQ(menuBarUsageSummary(true, CodexPlan::plus, D::minimal, reading("4%2%", "x", "")),
              "42·x");
    EXPECT_EQ(summary("63%", MonthlyMenuBarPresentation::minimal), "63");
}

}  // namespace
}  // namespace gaugely
