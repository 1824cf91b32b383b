#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "LogWorld.h"
#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Posix/PosixFileSystem.h"
#include "Meterlane/Posix/PosixRunLoop.h"
#include "Meterlane/Posix/StopSignals.h"

namespace gaugely::logs {
namespace {

namespace fs = std::filesystem;

void writeText(const fs::path& path, const std::string& text, bool append = false) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
    out << text;
}

class PosixLogsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "gaugely-logs-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        root = pattern;
        codexHome = root / ".codex";
        dayFolder = codexHome / "sessions" / "2026" / "11" / "21";
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(root / "closed", fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(root, ignored);
    }
    fs::path root;
    fs::path codexHome;
    fs::path dayFolder;
};

TEST_F(PosixLogsTest, PathProblemsHaveTheirOwnNames) {
    writeText(root / "file", "x");
    fs::create_symlink("loop", root / "loop");
    fs::create_directory(root / "closed");
    ::chmod((root / "closed").c_str(), 0);
    PosixFileSystem files;
    const struct {
        std::string path;
        FileProblem listing;
        FileProblem status;
    } cases[] = {
        {(root / "missing").string(), FileProblem::notFound, FileProblem::notFound},
        {(root / "loop").string(), FileProblem::symbolicLinkLoop, FileProblem::symbolicLinkLoop},
        {(root / "file" / "below").string(), FileProblem::notADirectory,
         FileProblem::notADirectory},
        {(root / "file").string(), FileProblem::notADirectory, FileProblem::none},
        // Root reads anything, so permission checks only mean something for other users.
        {(root / "closed").string(),
         ::geteuid() != 0 ? FileProblem::permissionDenied : FileProblem::none, FileProblem::none},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(files.list(c.path).problem, c.listing) << c.path;
        EXPECT_EQ(files.status(c.path).problem, c.status) << c.path;
    }
    const auto listing = files.list(root.string());
    ASSERT_EQ(listing.problem, FileProblem::none);
    EXPECT_EQ(listing.entries.size(), 3u);
    for (const auto& entry : listing.entries) {
        EXPECT_EQ(entry.isSymbolicLink, entry.name == "loop") << entry.name;
        EXPECT_EQ(entry.isDirectory, entry.name == "closed") << entry.name;
    }
}

TEST_F(PosixLogsTest, AnOpenFileKeepsWhatItWasWhenItsNameIsReplaced) {
    const fs::path path = root / "log";
    writeText(path, "first\n");
    PosixFileSystem files;
    auto opened = files.open(path.string());
    ASSERT_EQ(opened.problem, FileProblem::none);
    const auto identity = files.status(path.string()).status.identity;
    EXPECT_EQ(opened.file->status().status.identity, identity);

    writeText(root / "next", "second and longer\n");
    fs::rename(root / "next", path);
    EXPECT_NE(files.status(path.string()).status.identity, identity);
    char buffer[64];
    const auto count = opened.file->read(0, buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(count)), "first\n");
    EXPECT_EQ(opened.file->read(6, buffer, sizeof buffer), 0);
}

TEST_F(PosixLogsTest, InotifyTellsTheWatcherThroughTheRunLoop) {
#ifndef __linux__
    GTEST_SKIP() << "inotify is Linux's";
#endif
    writeText(dayFolder / "rollout-a.jsonl", usageLine(1));
    PosixRunLoop loop;
    PosixFileSystem files(&loop);
    std::vector<std::string> lines;
    CodexLogFollower follower(files, codexHome.string(),
                              [&](std::string_view line, std::optional<Date>) {
                                  lines.emplace_back(line);
                                  if (lines.size() == 2) {
                                      loop.stop();
                                  }
                                  return CodexLogFollower::LineVerdict{true, at(1e6)};
                              });
    CodexLogWatcher watcher(follower, files, loop);
    watcher.start();
    ASSERT_TRUE(watcher.isWatching());
    auto write = loop.asyncAfter(
        0.01, [&] { writeText(dayFolder / "rollout-a.jsonl", usageLine(2), true); });
    // A backstop, so a lost event fails the test instead of hanging it.
    auto backstop = loop.asyncAfter(10, [&] { loop.stop(); });
    loop.run();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1] + "\n", usageLine(2));
    EXPECT_LT(follower.statistics().looks, 4u);
    backstop.cancel();
}

TEST(PosixRunLoop, RunsWorkInOrderAndStopsOnRequestOrSignal) {
    PosixRunLoop loop;
    std::vector<std::string> order;
    auto late = loop.asyncAfter(0.02, [&] { order.push_back("late"); });
    auto early = loop.asyncAfter(0, [&] { order.push_back("early"); });
    auto cancelled = loop.asyncAfter(0.01, [&] { order.push_back("cancelled"); });
    cancelled.cancel();
    int ticks = 0;
    TaskHandle drop;
    TaskHandle repeating = loop.scheduleRepeating(0.001, 0.001, 0, [&] {
        // Dropped only after it repeated, and due after "late" however late the loop runs.
        if (++ticks == 3) {
            drop = loop.asyncAfter(0.03, [&] {
                repeating.cancel();
                order.push_back("dropped the timer");
            });
        }
    });
    loop.run();
    EXPECT_EQ(order, (std::vector<std::string>{"early", "late", "dropped the timer"}))
        << "returns once nothing is left, so the dropped timer stopped";
    EXPECT_GE(ticks, 3);

    StopSignals signals;
    auto raise = loop.asyncAfter(0, [] { std::raise(SIGTERM); });
    auto forever = loop.scheduleRepeating(1, 1, 0, [] {});
    loop.run(&signals);
    EXPECT_EQ(signals.signal(), SIGTERM);
}

TEST_F(PosixLogsTest, ADocumentIsReadWholeOrNotAtAll) {
    const fs::path file = root / "new" / "deeper" / "history.json";
    FileDocumentStore store(file);
    auto absent = store.read();
    EXPECT_FALSE(absent.bytes.has_value());
    EXPECT_FALSE(absent.failed);

    ASSERT_TRUE(store.replace("{\"a\":1}"));
    EXPECT_EQ(store.read().bytes, "{\"a\":1}");
    EXPECT_EQ(fs::status(file.parent_path()).permissions() & fs::perms::all, fs::perms::owner_all);
    ASSERT_TRUE(store.replace(std::string(FileDocumentStore::largestDocument, 'x')));
    EXPECT_EQ(store.read().bytes->size(), FileDocumentStore::largestDocument);

    const struct {
        const char* name;
        std::function<void()> plant;
    } failures[] = {
        {"too large",
         [&] { writeText(file, std::string(FileDocumentStore::largestDocument + 1, 'x')); }},
        {"a folder in its place",
         [&] {
             fs::remove(file);
             fs::create_directory(file);
         }},
    };
    for (const auto& c : failures) {
        c.plant();
        const auto result = store.read();
        EXPECT_TRUE(result.failed) << c.name;
        EXPECT_FALSE(result.bytes.has_value()) << c.name;
    }
    EXPECT_FALSE(store.replace("{}")) << "a folder is not replaced";
}

}  // namespace
}  // namespace gaugely::logs
