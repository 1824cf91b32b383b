#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/MenuBarUsageSummary.h"
#include "LowUsageNotificationSupport/MonthlyMenuBarPresentation.h"

namespace gaugely {
namespace {

using D = MenuBarDisplay;

UsageSnapshot reading(const char* fiveHour, const char* weekly, const char* monthly) {
    UsageSnapshot snapshot;
    snapshot.fiveHour = fiveHour;
    snapshot.weekly = weekly;
    snapshot.monthly = monthly;
    return snapshot;
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
