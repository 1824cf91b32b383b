#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Posix/FilePreferences.h"

namespace gaugely {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const fs::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

class FilePreferencesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "gaugely-prefs-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        file = folder / "nested" / "com.vostrel.gaugely.json";
    }
    void TearDown() override { fs::remove_all(folder); }

    std::unique_ptr<FilePreferences> open() {
        return std::make_unique<FilePreferences>(
            file, [this](const std::string& message) { warnings.push_back(message); });
    }

    fs::path folder;
    fs::path file;
    std::vector<std::string> warnings;
};

// Each value keeps its own type through the file; another type under a key reads as absent.
TEST_F(FilePreferencesTest, ValuesSurviveReopeningWithTheirTypes) {
    const std::string bytes("{\"a\":1}\0\xff", 9);
    const std::string text = "Weekly usage reset \u2014 100% available";
    {
        auto store = open();
        store->setBool("flag", false);
        store->setString("text", text);
        store->setData("record", bytes);
        store->setDate("when", Date{785000000.25});
        store->setBool("removed", true);
        store->remove("removed");
    }
    auto reopened = open();
    EXPECT_EQ(reopened->boolValue("flag"), false);
    EXPECT_EQ(reopened->stringValue("text"), text);
    EXPECT_EQ(reopened->dataValue("record"), bytes);
    EXPECT_EQ(reopened->dateValue("when"), Date{785000000.25});
    EXPECT_FALSE(reopened->hasObject("removed"));
    EXPECT_EQ(reopened->stringValue("flag"), std::nullopt);
    EXPECT_EQ(reopened->dataValue("text"), std::nullopt);
    EXPECT_EQ(reopened->stringValue("record"), std::nullopt);
    EXPECT_EQ(reopened->boolValue("when"), std::nullopt);
    EXPECT_TRUE(warnings.empty());
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
        EXPECT_EQ(entry.path(), file) << "no temporary file left";
    }
}

TEST_F(FilePreferencesTest, StoresSharingTheFileKeepEachOthersChanges) {
    // A watching service and a prompt's run, each opened before the other's writes.
    auto service = open();
    auto prompt = open();
    service->setString("reading", "service");
    prompt->setString("progress", "prompt");
    service->setString("notified", "low");
    prompt->remove("reading");
    service->setString("reading", "service again");
    prompt->setString("progress", "prompt again");

    auto reopened = open();
    EXPECT_EQ(reopened->stringValue("reading"), "service again");
    EXPECT_EQ(reopened->stringValue("progress"), "prompt again");
    EXPECT_EQ(reopened->stringValue("notified"), "low");
    EXPECT_EQ(prompt->stringValue("notified"), "low") << "a write takes in what it found";
    EXPECT_TRUE(warnings.empty());
}

TEST(FilePreferencesLocation, FollowsXdgConfigHomeThenHome) {
    const char* const xdg = std::getenv("XDG_CONFIG_HOME");
    const std::optional<std::string> savedXdg =
        xdg ? std::optional<std::string>(xdg) : std::nullopt;
    const std::string savedHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", "/home/someone", 1);
    const std::string underHome = "/home/someone/.config/gaugely/com.vostrel.gaugely.json";
    for (const auto& [variable, expected] :
         std::initializer_list<std::pair<const char*, std::string>>{
             {"/xdg/config", "/xdg/config/gaugely/com.vostrel.gaugely.json"},
             {"relative/ignored", underHome},
             {nullptr, underHome}}) {
        variable ? ::setenv("XDG_CONFIG_HOME", variable, 1) : ::unsetenv("XDG_CONFIG_HOME");
        EXPECT_EQ(FilePreferences::defaultFile("com.vostrel.gaugely"), fs::path(expected));
    }
    savedXdg ? ::setenv("XDG_CONFIG_HOME", savedXdg->c_str(), 1) : ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("HOME", savedHome.c_str(), 1);
}

TEST_F(FilePreferencesTest, UnreadableDocumentsAreMovedAsideNotDiscarded) {
    const struct {
        const char* name;
        std::string contents;
    } cases[] = {
        {"torn JSON", "{\"codex-plan-v1\": \"pl"},
        {"empty file", ""},
        {"array", "[1, 2]"},
        {"invalid UTF-8", "{\"k\": \"\xff\"}"},
    };
    for (const auto& c : cases) {
        fs::remove_all(folder);
        fs::create_directories(file.parent_path());
        writeFile(file.parent_path() / (file.filename().string() + ".corrupt-1"), "older");
        writeFile(file, c.contents);
        warnings.clear();

        auto store = open();
        EXPECT_TRUE(store->isPersistent()) << c.name;
        EXPECT_FALSE(store->hasObject("codex-plan-v1")) << c.name;
        ASSERT_EQ(warnings.size(), 1u) << c.name;
        EXPECT_NE(warnings[0].find(".corrupt-2"), std::string::npos) << warnings[0];
        EXPECT_EQ(readFile(file.string() + ".corrupt-2"), c.contents) << c.name;
        EXPECT_EQ(readFile(file.string() + ".corrupt-1"), "older") << c.name;
        EXPECT_FALSE(fs::exists(file)) << c.name << ": nothing written by the read itself";

        store->setString("codex-plan-v1", "plus");
        EXPECT_EQ(open()->stringValue("codex-plan-v1"), "plus") << c.name;
    }
}

TEST_F(FilePreferencesTest, EntriesOfUnknownShapeAreKeptThroughRewrites) {
    fs::create_directories(file.parent_path());
    writeFile(file, R"({"future": {"type": "url", "value": "x"}, "count": 3,
                        "bad-data": {"type": "data", "value": "not base64!"}})");
    auto store = open();
    EXPECT_TRUE(store->hasObject("future"));
    EXPECT_EQ(store->dataValue("bad-data"), std::nullopt);
    store->setBool("automatic-refresh-enabled-v1", false);

    const auto document = decodePreferencesDocument(readFile(file));
    ASSERT_TRUE(document);
    EXPECT_EQ(std::get<Json>(document->at("future")), Json::parse(R"({"type":"url","value":"x"})"));
    EXPECT_EQ(std::get<Json>(document->at("count")), Json(3));
    EXPECT_EQ(std::get<Json>(document->at("bad-data")),
              Json::parse(R"({"type":"data","value":"not base64!"})"));
    EXPECT_EQ(std::get<bool>(document->at("automatic-refresh-enabled-v1")), false);
}

TEST_F(FilePreferencesTest, AFileThatCannotBeReadIsNeverOverwritten) {
    // A folder where the file should be: opening works, reading fails.
    fs::create_directories(file);
    auto store = open();
    EXPECT_FALSE(store->isPersistent());
    ASSERT_EQ(warnings.size(), 1u);
    store->setString("codex-plan-v1", "pro");
    EXPECT_EQ(store->stringValue("codex-plan-v1"), "pro") << "kept in memory";
    EXPECT_TRUE(fs::is_directory(file));
    EXPECT_EQ(warnings.size(), 1u) << "writes are skipped, not reported each time";
}

// A process killed at any point of a save leaves either the old or the new file: the
// preferences, and the usage history that `gaugely usage` (and its user service, stopped or
// killed at any moment) keeps beside them.
TEST_F(FilePreferencesTest, AKillDuringASaveLeavesTheOldOrTheNewFile) {
    const fs::path history = folder / "data" / "com.vostrel.gaugely.usage.history.json";
    // Each store saves "old", then, in a child killed mid-write, "new"; then it is read back.
    const struct {
        const char* name;
        std::function<void(std::string_view, std::function<void(WholeFileWriteStage)>)> save;
        std::function<std::optional<std::string>()> read;
    } stores[] = {
        {"preferences",
         [&](std::string_view value, std::function<void(WholeFileWriteStage)> observer) {
             FilePreferences store(file, nullptr);
             store.setWriteObserverForTesting(std::move(observer));
             store.setString("value", value);
         },
         [&] {
             warnings.clear();
             auto value = open()->stringValue("value");
             EXPECT_TRUE(warnings.empty()) << warnings.front();
             return value;
         }},
        {"history",
         [&](std::string_view value, std::function<void(WholeFileWriteStage)> observer) {
             FileDocumentStore store(history);
             store.setWriteObserverForTesting(std::move(observer));
             EXPECT_TRUE(store.replace(std::string(value)));
         },
         [&] { return FileDocumentStore(history).read().bytes; }},
    };
    const struct {
        WholeFileWriteStage killedAfter;
        const char* expected;
    } cases[] = {
        {WholeFileWriteStage::temporaryFileWritten, "old"},
        {WholeFileWriteStage::renamed, "new"},
    };
    for (const auto& store : stores) {
        for (const auto& c : cases) {
            fs::remove_all(folder);
            store.save("old", nullptr);

            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                store.save("new", [&](WholeFileWriteStage stage) {
                    if (stage == c.killedAfter) {
                        ::_exit(0);
                    }
                });
                ::_exit(3);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status));
            ASSERT_EQ(WEXITSTATUS(status), 0) << store.name << ": the child did not stop mid-write";
            EXPECT_EQ(store.read(), c.expected) << store.name;
        }
    }
}

TEST(PreferencesDocument, Base64RoundTripsAndRejectsLooseSpellings) {
    for (const std::string& bytes :
         {std::string(), std::string("f"), std::string("fo"), std::string("foo"),
          std::string("foob"), std::string("\0\xff\x10", 3)}) {
        EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
    }
    EXPECT_EQ(base64Encoded("foob"), "Zm9vYg==");
    for (const char* bad : {"Zm9vYg=", "Zm9v Yg==", "Zm=vYg==", "Zm9vYh==", "====", "Zg=a"}) {
        EXPECT_EQ(base64Decoded(bad), std::nullopt) << bad;
    }
}

}  // namespace
}  // namespace gaugely
