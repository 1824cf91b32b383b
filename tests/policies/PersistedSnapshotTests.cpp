#include <gtest/gtest.h>

#include "LowUsageNotificationSupport/PersistedPlanUsageSnapshots.h"

namespace gaugely {
namespace {

PersistedUsageSnapshot plusRecord() {
    return {{"72%", "3:45\u202FPM", "40%", "Sep 12"}, Date{780000000.25}, CodexPlan::plus};
}

TEST(PersistedUsageSnapshot, WritesItsKeysInOrderAndReadsThemBack) {
    const std::string text = encodeJson(plusRecord());
    EXPECT_EQ(text, R"({"snapshot":{"fiveHour":"72%","fiveHourReset":"3:45)"
                    "\u202F"
                    R"(PM","weekly":"40%",)"
                    R"("weeklyReset":"Sep 12","monthly":"Not Found","monthlyReset":"Not Found"},)"
                    R"("lastUpdated":780000000.25,"plan":"plus"})");
    EXPECT_EQ(decodeJson<PersistedUsageSnapshot>(text), plusRecord());
}

TEST(PersistedUsageSnapshot, MalformedRecordsDecodeToNothing) {
    const std::string snapshot =
        R"({"fiveHour":"1%","fiveHourReset":"x","weekly":"2%","weeklyReset":"x","monthly":"3%",)"
        R"("monthlyReset":"x"})";
    const std::string cases[] = {
        "",
        "[]",
        R"({"snapshot":)" + snapshot + R"(,"lastUpdated":5})",
        R"({"snapshot":)" + snapshot + R"(,"lastUpdated":5,"plan":"team"})",
        R"({"snapshot":)" + snapshot + R"(,"lastUpdated":"5","plan":"pro"})",
        R"({"snapshot":)" + snapshot + R"(,"lastUpdated":1e999,"plan":"pro"})",
        R"({"snapshot":{"fiveHour":"1%"},"lastUpdated":5,"plan":"pro"})",
    };
    for (const auto& text : cases) {
        EXPECT_EQ(decodeJson<PersistedUsageSnapshot>(text), std::nullopt) << text;
    }
    // Keys a later version may add do not make the record unreadable.
    EXPECT_TRUE(decodeJson<PersistedUsageSnapshot>(
        R"({"snapshot":)" + snapshot + R"(,"lastUpdated":5,"plan":"pro","source":"x"})"));
}

TEST(PersistedPlanUsageSnapshots, KeepsUnreadableEntriesAndTheReadableOnes) {
    const std::string plus = encodeJson(plusRecord());
    const std::string text =
        R"({"snapshots":{"team":{"future":true},"plus":)" + plus + R"(,"pro":{"snapshot":7}}})";
    auto decoded = decodeJson<PersistedPlanUsageSnapshots>(text);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->snapshot(CodexPlan::plus), plusRecord());
    EXPECT_EQ(decoded->snapshot(CodexPlan::pro), std::nullopt);
    // Written back: the readable plans first, then what this version could not read, unchanged.
    EXPECT_EQ(encodeJson(*decoded), R"({"snapshots":{"plus":)" + plus +
                                        R"(,"team":{"future":true},"pro":{"snapshot":7}}})");
    // A new reading of a damaged plan replaces the damaged entry.
    PersistedUsageSnapshot pro{UsageSnapshot{}, Date{9}, CodexPlan::pro};
    decoded->store(CodexPlan::pro, pro);
    EXPECT_EQ(encodeJson(*decoded), R"({"snapshots":{"plus":)" + plus + R"(,"pro":)" +
                                        encodeJson(pro) + R"(,"team":{"future":true}}})");

    // The relaunch round trip of every plan is the reader's persistence test's.
    EXPECT_EQ(encodeJson(PersistedPlanUsageSnapshots{}), R"({"snapshots":{}})");
    for (const char* malformed : {"{}", R"({"snapshots":[]})", "7"}) {
        EXPECT_EQ(decodeJson<PersistedPlanUsageSnapshots>(malformed), std::nullopt) << malformed;
    }
}

}  // namespace
}  // namespace gaugely
