#include <gtest/gtest.h>

#include "ReaderWorld.h"

namespace gaugely {
namespace {

void print(const std::vector<std::string>& lines) {
    for (const auto& l : lines)
        std::printf("%s\n", l.c_str());
}

TEST(RefreshRun, ManualPlusCommits) {
    ReaderWorld world(CodexPlan::plus);
    UsageReader& reader = world.makeReader(CodexPlan::plus);
    reader.beginReadCountdown(false);
    world.runUntilRunEnds();
    print(world.log.lines());
    EXPECT_EQ(reader.snapshot().fiveHour, "72%");
}

}  // namespace
}  // namespace gaugely
