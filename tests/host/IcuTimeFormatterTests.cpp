#include <gtest/gtest.h>
#include <unicode/ucal.h>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Presentation/DatedTimeText.h"

namespace gaugely {
namespace {

// 2026-09-22 13:05:09.75 UTC.
const Date afternoon = Date::fromUnixTime(1790082309.75);

class IcuTimeFormatterTest : public testing::Test {
  protected:
    void SetUp() override {
        UErrorCode status = U_ZERO_ERROR;
        ucal_setDefaultTimeZone(u"UTC", &status);
        ASSERT_TRUE(U_SUCCESS(status));
    }
};

TEST_F(IcuTimeFormatterTest, TimeOfDayFollowsTheLocaleAndKeepsTwentyFourHoursUnderC) {
    const struct {
        const char* locale;
        const char* shortTime;
        const char* mediumTime;
    } rows[] = {
        // The C locale keeps the 24-hour form terminals and our golden files use.
        {"C", "13:05", "13:05:09"},
        {"POSIX", "13:05", "13:05:09"},
        {"", "13:05", "13:05:09"},
        {"C.UTF-8", "13:05", "13:05:09"},
        // ICU writes a narrow no-break space before the day period in English.
        {"en_US.UTF-8", "1:05\u202fPM", "1:05:09\u202fPM"},
        {"de_DE.UTF-8@euro", "13:05", "13:05:09"},
    };
    for (const auto& row : rows) {
        const IcuTimeFormatter formatter{std::string(row.locale)};
        EXPECT_EQ(formatter.timeOfDay(afternoon, false), row.shortTime) << row.locale;
        EXPECT_EQ(formatter.timeOfDay(afternoon, true), row.mediumTime) << row.locale;
    }
}

TEST_F(IcuTimeFormatterTest, FixedPatternsIgnoreTheUserAndRefuseUnknownZones) {
    const IcuTimeFormatter formatter{std::string("de_DE")};
    const struct {
        const char* pattern;
        const char* zone;
        std::optional<std::string> text;
    } rows[] = {
        {"MMMM d, yyyy", "America/Edmonton", "September 22, 2026"},
        // Edmonton keeps its own clock, six hours behind in summer.
        {"MMMM d, yyyy HH:mm", "America/Edmonton", "September 22, 2026 07:05"},
        {"h:mm a", "", "1:05 PM"},
        {"MMM d", "Asia/Tokyo", "Sep 22"},
        {"MMMM d, yyyy", "Mars/Olympus_Mons", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(formatter.format(afternoon, row.pattern, "en_US_POSIX", row.zone), row.text)
            << row.pattern << " " << row.zone;
    }
    EXPECT_TRUE(formatter.knowsTimeZone("America/Edmonton"));
    EXPECT_FALSE(formatter.knowsTimeZone("America/Atlantis"));
    EXPECT_FALSE(formatter.knowsTimeZone(""));
}

// A time with its day keeps the clock of the time alone, whatever the locale writes around it.
TEST_F(IcuTimeFormatterTest, DayAndTimeKeepTheLocalesOneClock) {
    const struct {
        const char* locale;
        const char* day;
        const char* withYear;
    } rows[] = {
        {"C", "Sep 22, 13:05", "Sep 22, 2026, 13:05"},
        {"en_US.UTF-8", "Sep 22, 1:05\u202fPM", "Sep 22, 2026, 1:05\u202fPM"},
        {"de_DE", "22. Sept., 13:05", "22. Sept. 2026, 13:05"},
    };
    for (const auto& row : rows) {
        const IcuTimeFormatter formatter{std::string(row.locale)};
        EXPECT_EQ(formatter.dayAndTimeOfDay(afternoon, false, false), row.day) << row.locale;
        EXPECT_EQ(formatter.dayAndTimeOfDay(afternoon, false, true), row.withYear) << row.locale;
    }
    EXPECT_EQ(IcuTimeFormatter{std::string("C")}.dayAndTimeOfDay(afternoon, true, false),
              "Sep 22, 13:05:09");
}

// The terminal's times: the day only when it is not today, the year only for a later year.
TEST_F(IcuTimeFormatterTest, DatedTimesCarryTheirDayWhenItIsNotToday) {
    const IcuTimeFormatter formatter{std::string("C")};
    constexpr double hour = 3600;
    const struct {
        double after;  // seconds after `afternoon`
        const char* text;
    } rows[] = {
        {0, "13:05"},
        {10 * hour, "23:05"},
        {11 * hour, "Sep 23, 00:05"},
        {-14 * hour, "Sep 21, 23:05"},
        {-400 * 24 * hour, "Aug 18, 13:05"},
        {100 * 24 * hour, "Dec 31, 13:05"},
        {101 * 24 * hour, "Jan 1, 2027, 13:05"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            datedTimeText(afternoon.addingTimeInterval(row.after), afternoon, false, formatter),
            row.text)
            << row.after;
    }
}

}  // namespace
}  // namespace gaugely
