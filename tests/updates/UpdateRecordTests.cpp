#include <gtest/gtest.h>

#include "Meterlane/Simulation/MemoryPreferences.h"
#include "SharedUpdateSupport/BuildNumber.h"
#include "SharedUpdateSupport/PendingUpdateReceiptStore.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"

namespace gaugely {
namespace {

constexpr Date noon{816944400};  // 2026-11-21 09:00:00 UTC

TEST(BuildNumber, ReadsUnsignedDecimalWithOneOptionalSign) {
    const std::vector<std::pair<std::string, std::optional<uint64_t>>> rows{
        {"3", 3},
        {"+3", 3},
        {"007", 7},
        {"-0", 0},
        {"-3", std::nullopt},
        {"", std::nullopt},
        {"+", std::nullopt},
        {"++3", std::nullopt},
        {" 3", std::nullopt},
        {"3a", std::nullopt},
        {"1.0", std::nullopt},
        {"١٢", std::nullopt},  // Arabic-Indic digits are not decimal text here
        {"18446744073709551615", 18446744073709551615ULL},
        {"18446744073709551616", std::nullopt},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(readBuildNumber(text), expected) << '"' << text << '"';
    }
}

TEST(UpdateOffer, HighlightsAndMoreNotes) {
    struct Row {
        std::string notes;
        std::string highlights;
        bool hasMore;
    };
    const std::string long700(700, 'x');
    // "e" with a combining acute accent at the cut: the accent stays with its letter.
    const std::string accentAtCut = std::string(599, 'a') + "e\u0301" + "tail";
    const std::vector<Row> rows{
        {"one\ntwo\nthree\nfour\nfive", "one\ntwo\nthree", true},
        {"one\n\n\ntwo\n\nthree\nfour", "one\ntwo\nthree", true},
        {"one\ntwo\nthree\n\n", "one\ntwo\nthree", false},
        {"  only line  ", "  only line  ", true},
        {long700, std::string(600, 'x'), true},
        {accentAtCut, std::string(599, 'a') + "e\u0301", true},
        {"", "", false},
    };
    for (const Row& row : rows) {
        const UpdateOffer offer{"4", "1.0.4", std::nullopt, row.notes};
        EXPECT_EQ(offer.highlights(), row.highlights) << row.notes.substr(0, 40);
        EXPECT_EQ(offer.hasMoreNotes(), row.hasMore) << row.notes.substr(0, 40);
    }
}

UpdateOffer offerOf(std::string build) {
    return UpdateOffer{std::move(build), "1.0.4", "September 30, 2026", "Faster."};
}

TEST(UpdateNoticeState, DiscoverHandleAndUnhandled) {
    struct Row {
        std::string what;
        UpdateNoticeState before;
        std::function<void(UpdateNoticeState&)> change;
        std::optional<std::string> offerBuild;
        std::optional<std::string> handledBuild;
        bool unhandled;
    };
    // A notice offering `offered`, with `handled` dealt with.
    const auto notice = [](std::string offered, std::optional<std::string> handled = {}) {
        UpdateNoticeState state;
        state.offer = offerOf(std::move(offered));
        state.handledBuild = std::move(handled);
        return state;
    };
    const UpdateNoticeState offered4 = notice("4"), handled5 = notice("4", "5");
    const auto discover = [](std::string build, std::string running) {
        return [=](UpdateNoticeState& s) { s.discover(offerOf(build), running); };
    };
    const auto handle = [](UpdateNoticeState& s) { s.handleOffer(); };
    const std::vector<Row> rows{
        {"offer of the running build", {}, discover("3", "3"), std::nullopt, std::nullopt, false},
        {"newer offer", {}, discover("4", "3"), "4", std::nullopt, true},
        {"older offer", {}, discover("2", "3"), std::nullopt, std::nullopt, false},
        {"unreadable offer", {}, discover("4a", "3"), std::nullopt, std::nullopt, false},
        {"unreadable running build", {}, discover("4", ""), std::nullopt, std::nullopt, false},
        {"newer offer replaces", offered4, discover("5", "3"), "5", std::nullopt, true},
        {"handled", offered4, handle, "4", "4", false},
        {"handled, then 5 found", offered4,
         [&](UpdateNoticeState& s) {
             s.handleOffer();
             s.discover(offerOf("5"), "3");
         },
         "5", "4", true},
        {"handled 5 keeps 5 over 4", handled5, handle, "4", "5", false},
        {"unreadable handled build gives way", notice("4", "junk"), handle, "4", "4", false},
        {"unreadable offer is never unhandled", notice("x"), handle, "x", std::nullopt, false},
        {"offer of build 0", notice("0"), handle, "0", std::nullopt, false},
        {"no update keeps handled", handled5, [](UpdateNoticeState& s) { s.noUpdate(); },
         std::nullopt, "5", false},
    };
    for (const Row& row : rows) {
        UpdateNoticeState state = row.before;
        row.change(state);
        EXPECT_EQ(state.offer ? std::optional(state.offer->build) : std::nullopt, row.offerBuild)
            << row.what;
        EXPECT_EQ(state.handledBuild, row.handledBuild) << row.what;
        EXPECT_EQ(state.hasUnhandledUpdate(), row.unhandled) << row.what;
    }
}

TEST(UpdateRecords, EncodeExactly) {
    UpdateNoticeState state;
    EXPECT_EQ(encodeJson(state), "{}");
    state.offer = UpdateOffer{"4", "1.0.4", std::nullopt, "Faster.\nSafer."};
    state.handledBuild = "3";
    state.lastCheckAttempt = Date{816944400.5};
    EXPECT_EQ(encodeJson(state),
              R"({"offer":{"build":"4","version":"1.0.4","notes":"Faster.\nSafer."},)"
              R"("handledBuild":"3","lastCheckAttempt":816944400.5})");
    state.offer->releaseDate = "September 30, 2026";
    EXPECT_EQ(decodeJson<UpdateNoticeState>(encodeJson(state)), state);

    const PendingUpdateReceipt receipt{"3", "4", "com.vostrel.gaugely", "/Applications/Gaugely.app",
                                       noon};
    EXPECT_EQ(encodeJson(receipt),
              R"({"sourceBuild":"3","targetBuild":"4","bundleID":"com.vostrel.gaugely",)"
              R"("bundlePath":"/Applications/Gaugely.app","created":816944400.0})");
    EXPECT_EQ(decodeJson<PendingUpdateReceipt>(encodeJson(receipt)), receipt);
}

TEST(UpdateRecords, MalformedRecordsFailToDecode) {
    const std::vector<std::string> notices{
        R"({"offer":{"build":"4","version":"1.0.4"}})",
        R"({"offer":{"build":4,"version":"1.0.4","notes":""}})",
        R"({"offer":{"build":"4","version":"1.0.4","notes":"","releaseDate":7}})",
        R"({"offer":"4"})",
        R"({"handledBuild":3})",
        R"({"lastCheckAttempt":"2026-11-21"})",
        R"({"lastCheckAttempt":1e300})",
        R"({"lastCheckAttempt":-1e12})",
        R"({"lastCheckAttempt":1e400})",
        R"({"handledBuild":"3")",
        R"([])",
        R"("")",
    };
    for (const std::string& text : notices) {
        EXPECT_EQ(decodeJson<UpdateNoticeState>(text), std::nullopt) << text;
    }
    // Null is as good as absent, and unknown keys are ignored.
    EXPECT_EQ(decodeJson<UpdateNoticeState>(R"({"offer":null,"handledBuild":null,"x":1})"),
              UpdateNoticeState{});

    const std::vector<std::string> receipts{
        R"({"sourceBuild":"3","targetBuild":"4","bundleID":"b","bundlePath":"p"})",
        R"({"sourceBuild":"3","targetBuild":"4","bundleID":"b","bundlePath":"p","created":"x"})",
        R"({"sourceBuild":3,"targetBuild":"4","bundleID":"b","bundlePath":"p","created":0})",
        R"({"sourceBuild":"3","targetBuild":"4","bundleID":"b","bundlePath":"p","created":9e99})",
        R"({"sourceBuild":"3","targetBuild":"4","bundleID":null,"bundlePath":"p","created":0})",
        R"({"sourceBuild":"3","targetBuild":"4")",
    };
    for (const std::string& text : receipts) {
        EXPECT_EQ(decodeJson<PendingUpdateReceipt>(text), std::nullopt) << text;
    }
}

TEST(PendingUpdateReceipt, MatchesOnlyTheBuildItMeantToInstall) {
    const PendingUpdateReceipt receipt{"3", "4", "com.vostrel.gaugely", "/Applications/Gaugely.app",
                                       noon};
    struct Row {
        std::string what;
        std::function<void(PendingUpdateReceipt&)> change;
        std::string build = "4";
        std::string path = "/Applications/Gaugely.app";
        double after = 60;
        bool matches = false;
    };
    const auto none = [](PendingUpdateReceipt&) {};
    const std::vector<Row> rows{
        {"the update", none, "4", "/Applications/Gaugely.app", 60, true},
        {"at the moment it was written", none, "4", "/Applications/Gaugely.app", 0, true},
        {"a second short of a day", none, "4", "/Applications/Gaugely.app", 86399, true},
        {"a day old", none, "4", "/Applications/Gaugely.app", 86400},
        {"written in the future", none, "4", "/Applications/Gaugely.app", -1},
        {"another build runs", none, "3"},
        {"the same build as text only", none, "+4"},
        {"moved elsewhere", none, "4", "/Users/me/Gaugely.app"},
        {"another identifier", [](auto& r) { r.bundleID = "com.example.other"; }},
        {"a downgrade", [](auto& r) { std::swap(r.sourceBuild, r.targetBuild); }, "3"},
        {"a reinstall", [](auto& r) { r.targetBuild = "3"; }, "3"},
        {"empty source", [](auto& r) { r.sourceBuild = ""; }},
        {"unreadable target", [](auto& r) { r.targetBuild = "4b"; }, "4b"},
    };
    for (const Row& row : rows) {
        PendingUpdateReceipt changed = receipt;
        row.change(changed);
        EXPECT_EQ(changed.matches(row.build, "com.vostrel.gaugely", row.path,
                                  noon.addingTimeInterval(row.after)),
                  row.matches)
            << row.what;
    }
}

TEST(PendingUpdateReceiptStore, ConsumeIsOneShotWhateverIsStored) {
    const PendingUpdateReceipt receipt{"3", "4", "com.vostrel.gaugely", "/A/Gaugely.app", noon};
    const auto consume = [](MemoryPreferences& defaults) {
        return PendingUpdateReceiptStore::consume("4", "com.vostrel.gaugely", "/A/Gaugely.app",
                                                  defaults, "k", noon.addingTimeInterval(5));
    };
    MemoryPreferences defaults;
    PendingUpdateReceiptStore::save(receipt, defaults, "k");
    EXPECT_EQ(defaults.synchronizeCount(), 1u) << "saving flushes at once";
    EXPECT_TRUE(consume(defaults));
    EXPECT_FALSE(defaults.hasObject("k"));
    EXPECT_FALSE(consume(defaults)) << "a second consume finds nothing";

    for (const auto& store : std::vector<std::function<void(MemoryPreferences&)>>{
             [](auto& d) { d.setData("k", "{\"sourceBuild\":"); },
             [](auto& d) { d.setString("k", "not data"); },
         }) {
        MemoryPreferences spoiled;
        store(spoiled);
        EXPECT_FALSE(consume(spoiled));
        EXPECT_FALSE(spoiled.hasObject("k")) << "an unusable receipt is removed too";
        EXPECT_EQ(spoiled.synchronizeCount(), 1u);
    }
}

}  // namespace
}  // namespace gaugely
