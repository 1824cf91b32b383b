#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LowUsageNotificationSupport/MonthlyUsageMenuParser.h"
#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "core/CorePrinters.h"

namespace gaugely {
namespace {

using Lines = std::vector<std::string>;

const std::string notFound(notFoundText);

TEST(PlusUsageMenu, ReadsTheFiveHourAndWeeklySections) {
    const std::string farAway(250, 'x');
    const struct {
        const char* name;
        Lines lines;
        std::optional<UsageSnapshot> expected;
    } cases[] = {
        // Chromium writes a narrow no-break space (or a no-break space) before the day period.
        {"the usual menu",
         {"Usage remaining", "5h", "72% left", "Resets 3:45\u202FPM", "Weekly", "40% left",
          "Resets Sep 12"},
         UsageSnapshot{"72%", "3:45\u202FPM", "40%", "Sep 12"}},
        {"a no-break space before PM",
         {"5h", "72% left", "Resets 3:45\u00A0PM", "Weekly", "40% left", "Resets Sep 12"},
         UsageSnapshot{"72%", "3:45\u00A0PM", "40%", "Sep 12"}},
        {"long labels, spaced percentages, full dates",
         {"5 Hours", "72 % left", "Resets 11:05am", "  weekly ", "4 % left",
          "Resets September 3, 2026"},
         UsageSnapshot{"72%", "11:05am", "4%", "September 3, 2026"}},
        {"a percentage above 100 is kept as text",
         {"5h", "150% left", "Weekly", "0%"},
         UsageSnapshot{"150%", notFound, "0%", notFound}},
        {"each window reads only its own section",
         {"5h", "Resets 3:45 PM", "Weekly", "40% left", "Resets Sep 12"},
         UsageSnapshot{notFound, "3:45 PM", "40%", "Sep 12"}},
        {"a reset named before a later 5-hour mention",
         {"5h", farAway, "3:45 PM", "the 5-hour window", "Weekly"},
         UsageSnapshot{notFound, "3:45 PM", notFound, notFound}},
        {"a reset too far after the label is not found",
         {"5h", "72% left", farAway, "3:45 PM", "Weekly", "40% left"},
         UsageSnapshot{"72%", notFound, "40%", notFound}},
        {"a final line break after the label still counts",
         {"5h\n", "Weekly"},
         UsageSnapshot{notFound, notFound, notFound, notFound}},
        {"weekly before 5h", {"Weekly", "40% left", "5h", "72% left", "Weekly"}, std::nullopt},
        {"no 5-hour label", {"Weekly", "40% left"}, std::nullopt},
        {"the 5-hour label must be the whole line", {"5h left", "Weekly"}, std::nullopt},
        {"no weekly label", {"5h", "72% left", "Weekly limit"}, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(usageSnapshotFromUsageRemainingMenu(CodexPlan::plus, c.lines), c.expected)
            << c.name;
    }
}

TEST(UsageRemainingMenu, FreeGoFillsOnlyTheMonthlyFieldsAndProIsNotReadHere) {
    const Lines monthly{"Monthly", "85% left", "Resets Oct 3"};
    const UsageSnapshot expected{.monthly = "85%", .monthlyReset = "Oct 3"};
    EXPECT_EQ(usageSnapshotFromUsageRemainingMenu(CodexPlan::freeGo, monthly), expected);
    EXPECT_EQ(usageSnapshotFromUsageRemainingMenu(CodexPlan::freeGo, {"Monthly", "85% left"}),
              std::nullopt);
    EXPECT_EQ(usageSnapshotFromUsageRemainingMenu(CodexPlan::pro, monthly), std::nullopt);
}

TEST(MonthlyUsageMenuParser, NeedsTheLabelThenBothValues) {
    const struct {
        const char* name;
        Lines lines;
        std::optional<MonthlyUsageValues> expected;
    } cases[] = {
        {"the usual menu", {"Monthly", "85% left", "Resets Oct 3"}, {{"85%", "Oct 3"}}},
        {"label case and spaces",
         {"Usage", " MONTHLY\n", "7 %", "resets dec. 31, 2026"},
         {{"7%", "dec. 31, 2026"}}},
        {"values before the label are ignored",
         {"50% left", "Resets Jan 2", "Monthly", "85% left", "Resets Oct 3"},
         {{"85%", "Oct 3"}}},
        {"values in either order", {"Monthly", "Resets Jun 9", "12%"}, {{"12%", "Jun 9"}}},
        {"no date", {"Monthly", "85% left"}, std::nullopt},
        {"no label", {"Monthly limit", "85% left", "Resets Oct 3"}, std::nullopt},
        {"a month name inside a word is no date",
         {"Monthly", "85% left", "Resets Mayday 3"},
         std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MonthlyUsageMenuParser::parse(c.lines), c.expected) << c.name;
    }
}

TEST(ProProfileUsageMenuParser, TakesExactlyOneMatchingTitleElseTheLegacyLayout) {
    const Lines legacy{"Usage", "55% left"};
    const struct {
        const char* name;
        Lines titles;
        std::optional<std::string> expected;
        int legacyReads;
    } cases[] = {
        {"one title", {"Settings", "Weekly limit 40% left", "Log out"}, "40%", 0},
        {"full and empty", {"Weekly limit 100% left"}, "100%", 0},
        {"two titles, even equal",
         {"Weekly limit 40% left", "Weekly limit 40% left"},
         std::nullopt,
         0},
        {"two titles, one malformed", {"Weekly limit 40% left", "Weekly limit 07% left"}, "40%", 0},
        {"lower case falls back", {"weekly limit 40% left"}, "55%", 1},
        {"leading zero falls back", {"Weekly limit 07% left"}, "55%", 1},
        {"trailing space falls back", {"Weekly limit 40% left "}, "55%", 1},
        {"no titles", {}, "55%", 1},
    };
    for (const auto& c : cases) {
        int legacyReads = 0;
        const auto values = ProProfileUsageMenuParser::parse(c.titles, [&] {
            ++legacyReads;
            return legacy;
        });
        EXPECT_EQ(values ? std::optional(values->percentage) : std::nullopt, c.expected) << c.name;
        EXPECT_EQ(legacyReads, c.legacyReads) << c.name;
    }
}

TEST(ProProfileUsageMenuParser, LegacyLayoutLooksAtMostThreeLinesPastAUsageLabel) {
    const struct {
        const char* name;
        Lines lines;
        std::optional<std::string> expected;
    } cases[] = {
        {"next line", {"Usage", "40% left"}, "40%"},
        {"spaces and case of the label", {" usage ", "40 %  left"}, "40%"},
        {"third line", {"USAGE", "", "General", "100% left"}, "100%"},
        {"fourth line is too far", {"Usage", "", "", "", "40% left"}, std::nullopt},
        {"the walk goes on after a label", {"Usage", "", "Usage", "", "", "9% left"}, "9%"},
        {"leading zero", {"Usage", "07% left"}, std::nullopt},
        {"Left is case-sensitive", {"Usage", "40% Left"}, std::nullopt},
        {"no label", {"Usage remaining", "40% left"}, std::nullopt},
    };
    for (const auto& c : cases) {
        const auto values = ProProfileUsageMenuParser::parse(c.lines);
        EXPECT_EQ(values ? std::optional(values->percentage) : std::nullopt, c.expected) << c.name;
    }
}

TEST(UsageValuesJson, RoundTripsWithKeysInOrderAndRejectsMissingKeys) {
    const MonthlyUsageValues monthly{"85%", "Oct 3"};
    EXPECT_EQ(encodeJson(monthly), R"({"percentage":"85%","resetDate":"Oct 3"})");
    EXPECT_EQ(decodeJson<MonthlyUsageValues>(encodeJson(monthly)), monthly);
    EXPECT_EQ(decodeJson<MonthlyUsageValues>(R"({"percentage":"85%"})"), std::nullopt);
    EXPECT_EQ(decodeJson<MonthlyUsageValues>(R"({"percentage":"85%","resetDate":3})"),
              std::nullopt);

    const ProProfileUsageValues pro{"40%"};
    EXPECT_EQ(encodeJson(pro), R"({"percentage":"40%"})");
    EXPECT_EQ(decodeJson<ProProfileUsageValues>(encodeJson(pro)), pro);
    EXPECT_EQ(decodeJson<ProProfileUsageValues>(R"({"percentage":null})"), std::nullopt);
    EXPECT_EQ(decodeJson<ProProfileUsageValues>(R"("40%")"), std::nullopt);
}

}  // namespace
}  // namespace gaugely
