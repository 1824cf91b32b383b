#include <gtest/gtest.h>

#include "Meterlane/Reader/CodexLogProgress.h"

namespace gaugely {
namespace {

CodexLogProgress sample() {
    CodexLogProgress progress;
    progress.codexFolder = "/home/ada/.codex";
    progress.source.follower.files = {
        {"2026/11/21/rollout-a.jsonl", 0xFFFF'FFFF'FFFF'FFF0u, 5'000'000'000u,
         Date{816944400.123456789}, 4'999'999'000u, false, false, std::nullopt},
        {"2026/11/20/rollout-b.jsonl", 7, 120, Date{816900000}, 120, true, true, Date{816899999.5}},
    };
    progress.source.follower.settledAsOf = Date{816944000};
    progress.source.follower.candidateLines = 12;
    progress.source.follower.acceptedLines = 9;
    progress.source.unrecognisedLines = 2;
    progress.source.copiedLines = 1;
    progress.source.newestLineAt = Date{816944000};
    progress.source.settledAsOf = Date{816944000};
    CodexLogUsageLine line{Date{816944000}, "codex", "plus",
                           CodexLogRateWindow{12.5, 300, Date{816950000}},
                           CodexLogRateWindow{40, 10'080, std::nullopt}};
    progress.readings.take(line);
    progress.readings.takeWithoutRateLimits(Date{816943000});
    line.limitId = "codex_other";
    progress.readings.take(line);
    return progress;
}

TEST(CodexLogProgress, ReadsBackWhatItWroteAndNothingElse) {
    const CodexLogProgress progress = sample();
    const auto read = CodexLogProgress::decode(progress.encoded());
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, progress);

    // Earlier versions stored JSON text with each file's fields named.
    Json named = progress.toJson();
    const char* fields[] = {"path",     "identity",          "size",       "modified", "offset",
                            "skipping", "unsureOfLineStart", "copiesUntil"};
    for (Json& file : named["files"]) {
        Json object = Json::object();
        for (std::size_t i = 0; i < file.size(); ++i) {
            object[fields[i]] = file[i];
        }
        file = object;
    }
    EXPECT_EQ(CodexLogProgress::decode(serializeJson(named)), progress);
    for (const std::string bytes : {"", "{\"codexFolder\":", "\xa1\x61"}) {
        EXPECT_FALSE(CodexLogProgress::decode(bytes)) << bytes;
    }

    const Json written = progress.toJson();
    const struct {
        const char* name;
        std::function<void(Json&)> spoil;
    } spoiled[] = {
        {"not an object", [](Json& json) { json = Json::array(); }},
        {"no folder", [](Json& json) { json.erase("codexFolder"); }},
        {"files not a list", [](Json& json) { json["files"] = Json::object(); }},
        {"a count below zero", [](Json& json) { json["copiedLines"] = -1; }},
        {"a date as text", [](Json& json) { json["newestLineAt"] = "yesterday"; }},
        {"a path outside the sessions folder",
         [](Json& json) { json["files"][0][0] = "../../.ssh/id_rsa"; }},
        {"an absolute path", [](Json& json) { json["files"][0][0] = "/etc/passwd"; }},
        {"an empty part in a path", [](Json& json) { json["files"][0][0] = "2026//x"; }},
        {"an offset past the size", [](Json& json) { json["files"][1][4] = 121; }},
        {"a file without its time", [](Json& json) { json["files"][1][3] = nullptr; }},
        {"a file missing a field", [](Json& json) { json["files"][1].erase(7); }},
        {"readings of an unknown window",
         [](Json& json) {
             json["readings"]["windows"]["daily"] = json["readings"]["windows"]["fiveHour"];
         }},
        {"readings of an unknown kind", [](Json& json) { json["readings"]["newest"] = "some"; }},
        {"readings without a flag", [](Json& json) { json["readings"].erase("newestWhole"); }},
        {"a plan that is not text", [](Json& json) { json["readings"]["planType"] = 3; }},
    };
    for (const auto& c : spoiled) {
        Json json = written;
        c.spoil(json);
        EXPECT_FALSE(CodexLogProgress::fromJson(json)) << c.name;
    }
}

}  // namespace
}  // namespace gaugely
