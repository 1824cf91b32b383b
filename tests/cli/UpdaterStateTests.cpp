#include "Meterlane/Posix/PreferencesDocument.h"
#include "cli/ToolRunner.h"

namespace gaugely::tooltest {

using gaugely::encodePreferencesDocument;
using gaugely::PreferenceData;
namespace {

class UpdaterState : public ToolTest {};

std::string suiteWith(const std::string& notice, const std::string& receipt) {
    return encodePreferencesDocument(
        {{"gaugely-production-update-notice-v1", PreferenceData{notice}},
         {"gaugely-production-pending-update-receipt-v1", PreferenceData{receipt}}});
}

TEST_F(UpdaterState, ShowsTheNoticeAndTheReceiptBesideTheReadersFile) {
    struct Row {
        std::string what;
        std::optional<std::string> suite;
        std::vector<std::string> shows;
    };
    const std::vector<Row> rows{
        {"no suite yet", std::nullopt, {"(no such file yet: no update checked or installed)"}},
        {"an offer and a receipt",
         suiteWith(R"({"offer":{"build":"4","version":"1.0.4","notes":"x"},"lastCheckAttempt":0})",
                   R"({"sourceBuild":"3","targetBuild":"4","bundleID":"com.vostrel.gaugely",)"
                   R"("bundlePath":"/Applications/Gaugely.app","created":0})"),
         {"Update notice           offer 1.0.4 (4), not dealt with yet (badge shown) · last check "
          "2001-01-01 00:00:00 UTC",
          "Pending update receipt  build 3 → 4 of com.vostrel.gaugely at "
          "/Applications/Gaugely.app"}},
        {"malformed records",
         suiteWith(R"({"offer":7})", R"({"sourceBuild":)"),
         {"Update notice           empty (stored value unreadable: the updater starts empty)",
          "Pending update receipt  none (stored value unreadable: the updater starts empty)"}},
    };
    for (const Row& row : rows) {
        std::filesystem::remove(path("com.vostrel.gaugely.updater.json"));
        if (row.suite) {
            writeFile(path("com.vostrel.gaugely.updater.json"), *row.suite);
        }
        const std::string before = readFile(path("com.vostrel.gaugely.updater.json"));
        const ToolResult result =
            run({"state", "--defaults", path("com.vostrel.gaugely.json").string()});
        EXPECT_EQ(result.status, 0) << row.what << result.err;
        for (const std::string& line : row.shows) {
            EXPECT_NE(result.out.find(line), std::string::npos) << row.what << ": " << line << "\n"
                                                                << result.out;
        }
        EXPECT_EQ(readFile(path("com.vostrel.gaugely.updater.json")), before) << row.what;
    }
}

}  // namespace
}  // namespace gaugely::tooltest
