#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/UsageSnapshot.h"

namespace gaugely {
namespace {

TEST(PercentageValue, ReadsOnlyWholePercentagesFromZeroToHundred) {
    const struct {
        const char* text;
        std::optional<int> expected;
    } cases[] = {
        {"100%", 100}, {"101%", std::nullopt}, {"0%", 0},          {"-5%", std::nullopt},
        {"%", std::nullopt}, {"7 2%", std::nullopt}, {"72 %", std::nullopt}, {"+7%", 7},
        {"Not Found", std::nullopt}, {"99999999999999999999999%", std::nullopt}, {"", std::nullopt},
        {"4%0", 40}, {"+", std::nullopt}, {"-0%", 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(percentageValue(c.text), c.expected) << c.text;
    }
}

}  // namespace
}  // namespace gaugely
