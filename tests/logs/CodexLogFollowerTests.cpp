#include <gtest/gtest.h>

#include <algorithm>

#include "LogWorld.h"

namespace gaugely::logs {
namespace {

const std::string logA = day + "/rollout-2026-11-21T09-00-00-a.jsonl";
const std::string sessions = home + "/sessions";

TEST(CodexLogFollower, AFirstLookReadsBackOnlyAsFarAsTheReadingsSettle) {
    const struct {
        const char* name;
        bool accepts;
        std::vector<int> expected;
    } cases[] = {
        {"the newest line settles the readings", true, {3}},
        // Lines the decoder does not take keep the search going, newest first, to the start.
        {"no line is a reading", false, {3, 2, 1}},
    };
    for (const auto& c : cases) {
        LogWorld world;
        world.accepts = c.accepts;
        const std::string text = usageLine(1) + conversationOf(2u << 20) + usageLine(2) +
                                 conversationOf(1u << 20) + usageLine(3) + conversation(900);
        world.files.writeFile(logA, text, at(0));
        world.follower.look();
        EXPECT_EQ(world.taken(), c.expected) << c.name;
        const auto read = world.follower.statistics().bytesRead;
        if (c.accepts) {
            EXPECT_LE(read, 2 * (64u << 10))
                << c.name << ": one chunk holds the first line, one the last lines";
        } else {
            EXPECT_EQ(read, text.size() + (64u << 10)) << c.name << ": and the head's chunk";
        }
        EXPECT_EQ(world.follower.status().candidateLines, c.expected.size()) << c.name;
    }
}

TEST(CodexLogFollower, LaterLooksReadOnlyWhatWasAppended) {
    LogWorld world;
    world.files.writeFile(logA, conversationOf(1u << 20) + usageLine(1), at(0));
    world.follower.look();
    EXPECT_EQ(world.taken(), std::vector<int>{1});
    const auto before = world.follower.statistics();

    const std::string appended = conversationOf(10000) + usageLine(2) + usageLine(3);
    world.files.append(logA, appended, at(5));
    world.follower.look();
    EXPECT_EQ(world.taken(), (std::vector<int>{2, 3})) << "in the order they were written";
    EXPECT_EQ(world.follower.statistics().bytesRead - before.bytesRead, appended.size());
    EXPECT_EQ(world.follower.statistics().opens, before.opens) << "the file stays open";

    world.follower.look();
    EXPECT_TRUE(world.taken().empty());
    EXPECT_EQ(world.follower.statistics().bytesRead - before.bytesRead, appended.size());
}

TEST(CodexLogFollower, AnUnfinishedLastLineWaitsForItsNewline) {
    const std::string whole = usageLine(2);
    const struct {
        const char* name;
        std::string initial;
        std::vector<std::string> appends;
    } cases[] = {
        {"cut into three",
         usageLine(1),
         {whole.substr(0, 5), whole.substr(5, 50), whole.substr(55)}},
        {"unfinished at the first look", usageLine(1) + whole.substr(0, 40), {whole.substr(40)}},
    };
    for (const auto& c : cases) {
        LogWorld world;
        world.files.writeFile(logA, c.initial, at(0));
        world.follower.look();
        const auto first = world.taken();
        EXPECT_TRUE(first.empty() || first == std::vector<int>{1}) << c.name;
        for (std::size_t i = 0; i < c.appends.size(); ++i) {
            world.files.append(logA, c.appends[i], at(1.0 + i));
            world.follower.look();
            const auto taken = world.taken();
            if (i + 1 < c.appends.size()) {
                EXPECT_TRUE(taken.empty()) << c.name << " after part " << i;
            } else {
                EXPECT_EQ(taken, std::vector<int>{2}) << c.name;
            }
        }
    }
}

TEST(CodexLogFollower, AHugeLineIsPassedOverInBoundedMemory) {
    CodexLogFollowerLimits limits;
    limits.chunkSize = 4096;
    limits.longestLine = 16384;
    limits.backwardSearchLimit = 1u << 20;
    // Shaped like a usage line, so only its length keeps it from the handler.
    const std::string huge =
        R"({"type":"token_count","x":")" + std::string(3u << 20, 'x') + "\"}\n";
    const struct {
        const char* name;
        std::string initial;
        std::string appended;
        std::vector<int> first;
        std::vector<int> later;
    } cases[] = {
        {"appended while followed", usageLine(1), huge + usageLine(2), {1}, {2}},
        {"found searching backwards", usageLine(1) + huge + usageLine(2), usageLine(3), {2}, {3}},
        {"endless last line at first look",
         usageLine(1) + huge.substr(0, 2u << 20),
         huge.substr(2u << 20) + usageLine(3),
         {},
         {3}},
        {"unfinished when appended", usageLine(1), huge.substr(0, 100000), {1}, {}},
    };
    for (const auto& c : cases) {
        LogWorld world(limits);
        world.accepts = false;
        world.files.writeFile(logA, c.initial, at(0));
        world.follower.look();
        EXPECT_EQ(world.taken(), c.first) << c.name;
        world.files.append(logA, c.appended, at(1));
        world.follower.look();
        EXPECT_EQ(world.taken(), c.later) << c.name;
        EXPECT_LE(world.follower.statistics().largestBuffer, limits.chunkSize + limits.longestLine)
            << c.name;
        // The search's chunks, the head's first chunk (to tell a fork), and what was appended.
        EXPECT_LE(world.follower.statistics().bytesRead,
                  limits.backwardSearchLimit + c.appended.size() + 2 * 4096)
            << c.name;
    }
}

TEST(CodexLogFollower, AFollowedFileThatIsReplacedShrinksOrGoesIsReadAfreshOrDropped) {
    const struct {
        const char* name;
        int readAfresh;  // the usage line then read; 0: the file is dropped
        std::function<void(FakeFileSystem&)> change;
    } cases[] = {
        {"replaced under its name", 7,
         [](auto& files) { files.writeFile(logA, usageLine(7), at(9)); }},
        {"truncated and written again", 8,
         [](auto& files) {
             files.truncate(logA, 0, at(9));
             files.append(logA, usageLine(8), at(9));
         }},
        {"deleted", 0, [](auto& files) { files.remove(logA); }},
        {"its day folder deleted", 0, [](auto& files) { files.remove(day); }},
    };
    for (const auto& c : cases) {
        LogWorld world;
        world.files.writeFile(logA, conversationOf(100000) + usageLine(1), at(0));
        world.follower.look();
        EXPECT_EQ(world.taken(), std::vector<int>{1});
        c.change(world.files);
        world.follower.look();
        world.follower.look();
        const bool dropped = c.readAfresh == 0;
        EXPECT_EQ(world.taken(), dropped ? std::vector<int>{} : std::vector<int>{c.readAfresh})
            << c.name;
        EXPECT_EQ(world.follower.status().sessionFiles, dropped ? 0u : 1u) << c.name;
        EXPECT_EQ(world.follower.status().unreadablePaths, 0u) << c.name;
    }
}

// Newest first by modification time, whichever day's folder holds the file; a file last written
// before the time the readings are settled as of holds no newer line and is not read.
TEST(CodexLogFollower, ASearchGoesNewestFirstAcrossFilesUntilNoOlderLineCanMatter) {
    const std::string older = home + "/sessions/2026/11/20";
    const struct {
        const char* name;
        bool accepts;
        std::optional<Date> settledAsOf;
        std::size_t searchFiles;
        std::vector<int> expected;
    } cases[] = {
        {"settled by the newest reading", true, at(45), 256, {2}},
        {"files written after the readings' time are still read", true, at(25), 256, {2, 3}},
        {"nothing settles: every file", false, std::nullopt, 256, {2, 3, 4}},
        {"at most so many files", false, std::nullopt, 2, {2}},
    };
    for (const auto& c : cases) {
        CodexLogFollowerLimits limits;
        limits.searchFiles = c.searchFiles;
        LogWorld world(limits);
        world.accepts = c.accepts;
        world.settledAsOf = c.settledAsOf;
        // A Codex start that wrote only its session's metadata, the newest of all.
        world.files.writeFile(
            day + "/rollout-a.jsonl",
            R"({"timestamp":"2026-11-21T09:50:00.000Z","type":"session_meta","payload":{"id":"a"}})"
            "\n",
            at(50));
        world.files.writeFile(day + "/rollout-b.jsonl", usageLine(2), at(40));
        world.files.writeFile(older + "/rollout-c.jsonl", usageLine(3), at(30));
        world.files.writeFile(older + "/rollout-d.jsonl", usageLine(4), at(20));
        world.follower.look();
        EXPECT_EQ(world.taken(), c.expected) << c.name;
        EXPECT_EQ(world.follower.statistics().searchedFiles,
                  std::min<std::size_t>(c.searchFiles, 1 + c.expected.size()))
            << c.name;
        EXPECT_EQ(world.follower.status().sessionFiles, 4u) << c.name;
    }
}

TEST(CodexLogFollower, ASearchReadsAtMostItsBytes) {
    CodexLogFollowerLimits limits;
    limits.chunkSize = 4096;
    limits.searchBytes = 50000;
    LogWorld world(limits);
    world.accepts = false;
    world.files.writeFile(day + "/rollout-a.jsonl", conversationOf(40000) + usageLine(1), at(50));
    world.files.writeFile(day + "/rollout-b.jsonl", usageLine(2) + conversationOf(40000), at(40));
    world.files.writeFile(day + "/rollout-c.jsonl", usageLine(3), at(30));
    world.follower.look();
    EXPECT_EQ(world.taken(), std::vector<int>{1});
    EXPECT_LE(world.follower.statistics().bytesRead, limits.searchBytes);
    // What the search passed over is still followed from where it stood.
    world.files.append(day + "/rollout-c.jsonl", usageLine(5), at(60));
    world.follower.look();
    EXPECT_EQ(world.taken(), std::vector<int>{5});
}

// Codex resumes a session by appending to its file, in the folder of the day it began.
TEST(CodexLogFollower, AnAppendToAnyFileIsReadAtTheNextLookWhicheverDayHoldsIt) {
    const std::string older = home + "/sessions/2026/10/02";
    const struct {
        const char* name;
        std::string initial;
        std::string appended;
        std::vector<int> expected;
    } cases[] = {
        {"after a whole line", usageLine(1), usageLine(2), {2}},
        {"after a cut line, whose rest is passed over",
         usageLine(1).substr(0, 30),
         usageLine(1).substr(30) + usageLine(3),
         {3}},
    };
    for (const auto& c : cases) {
        LogWorld world;
        world.files.writeFile(older + "/rollout-old.jsonl", c.initial, at(5));
        world.files.writeFile(day + "/rollout-new.jsonl", usageLine(9), at(50));
        world.follower.look();
        EXPECT_EQ(world.taken(), std::vector<int>{9}) << c.name;
        const auto opens = world.follower.statistics().opens;

        world.files.append(older + "/rollout-old.jsonl", c.appended, at(60));
        world.follower.look();
        EXPECT_EQ(world.taken(), c.expected) << c.name;
        EXPECT_EQ(world.follower.statistics().opens, opens + 1) << c.name;
        EXPECT_EQ(world.follower.statistics().fullScans, 1u) << c.name << ": no folder changed";
    }
}

TEST(CodexLogFollower, ProblemsInTheTreeAreNamedAndNeverStopTheOthers) {
    using P = FileProblem;
    const std::string older = sessions + "/2026/11/20";
    const struct {
        const char* name;
        P folderProblem;
        std::size_t unreadable;
        P lastProblem;
        bool othersRead;
        std::function<void(FakeFileSystem&)> plant;
    } cases[] = {
        {"no sessions folder", P::notFound, 0, P::none, false, [](auto& f) { f.remove(sessions); }},
        {"sessions not allowed", P::permissionDenied, 0, P::none, false,
         [](auto& f) { f.setProblem(sessions, P::permissionDenied); }},
        {"sessions a file", P::notADirectory, 0, P::none, false,
         [](auto& f) {
             f.remove(sessions);
             f.writeFile(sessions, "", at(0));
         }},
        {"a day not allowed", P::none, 1, P::permissionDenied, true,
         [&](auto& f) { f.setProblem(older, P::permissionDenied); }},
        {"a session file not allowed", P::none, 1, P::permissionDenied, true,
         [](auto& f) {
             f.writeFile(day + "/rollout-z.jsonl", usageLine(3), at(30));
             f.setProblem(day + "/rollout-z.jsonl", P::permissionDenied);
         }},
        // Linked folders are not entered, so neither loop costs more than its own entry.
        {"a year linked back to sessions", P::none, 0, P::none, true,
         [](auto& f) { f.addSymbolicLink(sessions + "/2027", ".."); }},
    };
    for (const auto& c : cases) {
        LogWorld world;
        world.files.writeFile(day + "/rollout-a.jsonl", usageLine(1), at(10));
        world.files.writeFile(older + "/rollout-b.jsonl", usageLine(2), at(5));
        c.plant(world.files);
        world.follower.look();
        world.follower.look();
        const auto& status = world.follower.status();
        EXPECT_EQ(status.sessionsFolder, sessions) << c.name;
        EXPECT_EQ(status.folderProblem, c.folderProblem) << c.name;
        EXPECT_EQ(status.unreadablePaths, c.unreadable) << c.name;
        EXPECT_EQ(status.lastPathProblem, c.lastProblem) << c.name;
        world.accepts = true;
        auto taken = world.taken();
        taken.erase(std::remove(taken.begin(), taken.end(), 2), taken.end());
        EXPECT_EQ(taken, c.othersRead ? std::vector<int>{1} : std::vector<int>{}) << c.name;
        EXPECT_LT(world.files.counters().lists, 20u) << c.name;
    }
}

TEST(CodexLogFollower, LooksBetweenScansStatTheTreeAndReadNothingUnchanged) {
    CodexLogFollowerLimits limits;
    limits.looksPerFullScan = 10;
    LogWorld world(limits);
    for (int d = 1; d <= 20; ++d) {
        const std::string folder =
            home + "/sessions/2026/10/" + (d < 10 ? "0" : "") + std::to_string(d);
        for (int s = 0; s < 5; ++s) {
            world.files.writeFile(folder + "/rollout-" + std::to_string(s) + ".jsonl", "", at(d));
        }
    }
    world.files.writeFile(day + "/rollout-a.jsonl", usageLine(1), at(100));
    world.follower.look();
    const auto afterScan = world.follower.statistics();
    EXPECT_EQ(afterScan.fullScans, 1u);

    world.follower.look();
    const auto quiet = world.follower.statistics();
    EXPECT_EQ(quiet.lists, afterScan.lists);
    // sessions, 2026, two months and 21 days, then the 101 files.
    EXPECT_EQ(quiet.statuses - afterScan.statuses, 25u + 101u);
    EXPECT_EQ(quiet.opens, afterScan.opens);
    EXPECT_EQ(quiet.bytesRead, afterScan.bytesRead);

    // A new session in today's folder is seen at the next look, not the next full scan.
    world.files.writeFile(day + "/rollout-b.jsonl", usageLine(2), at(200));
    world.follower.look();
    EXPECT_EQ(world.taken(), (std::vector<int>{1, 2}));
    EXPECT_EQ(world.follower.statistics().fullScans, 2u);

    for (int i = 0; i < 10; ++i) {
        world.follower.look();
    }
    EXPECT_EQ(world.follower.statistics().fullScans, 3u);
    EXPECT_EQ(world.follower.foldersToWatch().size(), 25u) << "every folder of the tree";
}

TEST(CodexLogFollower, AHostileTreeEndsWithinItsLimits) {
    const struct {
        std::size_t perFolder;
        std::size_t perScan;
        std::size_t mostLists;
    } cases[] = {
        // The sessions folder, then year, month and day of the first 50 years.
        {50, 100000, 1 + 3 * 50},
        // Sixty entries in all, one of them the session file.
        {100000, 60, 1 + 59},
    };
    for (const auto& c : cases) {
        CodexLogFollowerLimits limits;
        limits.entriesPerFolder = c.perFolder;
        limits.entriesPerScan = c.perScan;
        LogWorld world(limits);
        for (int y = 1000; y < 1300; ++y) {
            world.files.addFolder(home + "/sessions/" + std::to_string(y) + "/10/10");
        }
        world.files.writeFile(home + "/sessions/9999/12/31/rollout-a.jsonl", usageLine(1), at(1));
        world.follower.look();
        EXPECT_EQ(world.taken(), std::vector<int>{1}) << "the newest names come first";
        EXPECT_EQ(world.files.counters().lists, c.mostLists);
    }
}

}  // namespace
}  // namespace gaugely::logs
