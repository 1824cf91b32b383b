#include <gtest/gtest.h>

#include <algorithm>

#include "LogWorld.h"
#include "Meterlane/Simulation/VirtualTime.h"

namespace gaugely::logs::watcher_tests {
namespace {

const std::string logA = day + "/rollout-a.jsonl";

bool contains(const std::vector<std::string>& folders, const std::string& folder) {
    return std::find(folders.begin(), folders.end(), folder) != folders.end();
}

struct WatchedWorld : LogWorld {
    WatchedWorld() { files.writeFile(logA, usageLine(1), at(0)); }
    VirtualTime time;
    CodexLogWatcher watcher{follower, files, time};
};

TEST(CodexLogWatcher, ABurstOfChangesIsOneLookShortlyAfter) {
    WatchedWorld world;
    world.watcher.start();
    ASSERT_TRUE(world.watcher.isWatching());
    EXPECT_EQ(world.taken(), std::vector<int>{1});
    for (int i = 2; i <= 6; ++i) {
        world.files.append(logA, usageLine(i), at(i));
        world.time.advance(0.05);
    }
    EXPECT_EQ(world.follower.statistics().looks, 1u);
    world.time.advance(CodexLogWatcher::changeDelay);
    EXPECT_EQ(world.follower.statistics().looks, 2u);
    EXPECT_EQ(world.taken(), (std::vector<int>{2, 3, 4, 5, 6}));
    world.time.advance(60);
    EXPECT_EQ(world.follower.statistics().looks, 2u) << "no polling while watching";
}

// Every day's folder is watched, an old one's too: a session resumed days later appends to its
// first day's file. (Without watching, a poll looks at every file alike.)
TEST(CodexLogWatcher, ANewDaysFolderIsWatchedOnceItAppears) {
    WatchedWorld world;
    const std::string oldDay = home + "/sessions/2026/10/02";
    world.files.writeFile(oldDay + "/rollout-old.jsonl", usageLine(7), at(-100));
    world.watcher.start();
    ASSERT_EQ(world.files.watchRequests().size(), 1u);
    EXPECT_TRUE(contains(world.files.watchRequests().back(), day));
    EXPECT_TRUE(contains(world.files.watchRequests().back(), oldDay));
    world.taken();

    const std::string nextDay = home + "/sessions/2026/11/22";
    world.files.writeFile(nextDay + "/rollout-b.jsonl", usageLine(2), at(100));
    world.time.advance(1);
    EXPECT_EQ(world.taken(), std::vector<int>{2});
    ASSERT_EQ(world.files.watchRequests().size(), 2u);
    EXPECT_TRUE(contains(world.files.watchRequests().back(), nextDay));
    EXPECT_EQ(world.files.activeWatches(), 1u) << "the old watch is given up";

    // The new folder's own changes now arrive.
    world.files.append(nextDay + "/rollout-b.jsonl", usageLine(3), at(101));
    world.time.advance(1);
    EXPECT_EQ(world.taken(), std::vector<int>{3});
}

TEST(CodexLogWatcher, WithoutWatchingItPollsEveryFiveSeconds) {
    WatchedWorld world;
    world.files.refuseWatching = true;
    world.watcher.start();
    EXPECT_FALSE(world.watcher.isWatching());
    world.files.append(logA, usageLine(2), at(1));
    world.time.advance(CodexLogWatcher::pollInterval - 0.1);
    EXPECT_TRUE(world.taken() == std::vector<int>{1});
    world.time.advance(0.2);
    EXPECT_EQ(world.taken(), std::vector<int>{2});
    world.time.advance(4 * CodexLogWatcher::pollInterval);
    EXPECT_EQ(world.follower.statistics().looks, 1u + 5u);
    EXPECT_EQ(world.files.watchRequests().size(), 1u) << "asked again only for new folders";

    // Once watching works (here, for a new set of folders) the polling stops.
    world.files.refuseWatching = false;
    world.files.writeFile(home + "/sessions/2026/11/22/rollout-b.jsonl", usageLine(3), at(9));
    world.time.advance(CodexLogWatcher::pollInterval);
    EXPECT_TRUE(world.watcher.isWatching());
    const auto looks = world.follower.statistics().looks;
    world.time.advance(60);
    EXPECT_EQ(world.follower.statistics().looks, looks);
}

TEST(CodexLogWatcher, NothingRunsAfterItIsGone) {
    for (const bool watching : {true, false}) {
        LogWorld world;
        world.files.writeFile(logA, usageLine(1), at(0));
        world.files.refuseWatching = !watching;
        VirtualTime time;
        {
            CodexLogWatcher watcher(world.follower, world.files, time);
            watcher.start();
            world.files.append(logA, usageLine(2), at(1));
        }
        world.files.append(logA, usageLine(3), at(2));
        time.advance(60);
        EXPECT_EQ(world.follower.statistics().looks, 1u) << watching;
        EXPECT_EQ(world.files.activeWatches(), 0u) << watching;
    }
}

}  // namespace
}  // namespace gaugely::logs::watcher_tests
