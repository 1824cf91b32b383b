#include <gtest/gtest.h>

#include "SharedUpdateSupport/AppcastReader.h"

namespace gaugely {
namespace {

std::vector<AppcastItem> itemsOf(const std::string& items,
                                 std::optional<std::string_view> feed = std::nullopt) {
    const std::string xml =
        "<rss xmlns:s=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>" + items +
        "</channel></rss>";
    auto result = readAppcast(xml, feed);
    EXPECT_TRUE(std::holds_alternative<std::vector<AppcastItem>>(result));
    return std::get<std::vector<AppcastItem>>(result);
}

TEST(AppcastReader, ReadsItemsAsTheFrameworkDoes) {
    struct Row {
        std::string what;
        std::string item;
        std::string build;
        std::string version;
        std::optional<std::string> download;
        bool informational = false;
    };
    const std::vector<Row> rows{
        {"enclosure attributes win",
         "<item><s:version>9</s:version><s:shortVersionString>9.9.9</s:shortVersionString>"
         "<enclosure url=\"a.zip\" s:version=\"4\" s:shortVersionString=\"1.0.4\"/></item>",
         "4", "1.0.4", "a.zip"},
        {"item elements next, trimmed",
         "<item><s:version> 5 </s:version><enclosure url=\"a.zip\"/></item>", "5", "5", "a.zip"},
        {"the file name last", "<item><enclosure url=\"https://h/x/Gaugely_1.0_6.zip\"/></item>",
         "6", "6", "https://h/x/Gaugely_1.0_6.zip"},
        {"spaces forgiven", "<item><s:version>7</s:version><enclosure url=\"a b.zip\"/></item>",
         "7", "7", "a%20b.zip"},
        {"another prefix is not Sparkle's",
         "<item xmlns:t=\"urn:other\"><t:version>8</t:version><enclosure url=\"a.zip\"/></item>",
         "", "", "a.zip"},
        {"information only",
         "<item><link>https://h/i</link><s:version>9</s:version><s:informationalUpdate/>"
         "<enclosure url=\"a.zip\"/></item>",
         "9", "9", "a.zip", true},
        {"a page without an archive",
         "<item><link>https://h/i</link><s:version>9</s:version></item>", "9", "9", std::nullopt,
         true},
    };
    for (const Row& row : rows) {
        const auto items = itemsOf(row.item);
        ASSERT_EQ(items.size(), 1u) << row.what;
        EXPECT_EQ(items[0].candidate.build, row.build) << row.what;
        EXPECT_EQ(items[0].candidate.version, row.version) << row.what;
        EXPECT_EQ(items[0].candidate.download, row.download) << row.what;
        EXPECT_EQ(items[0].candidate.informational, row.informational) << row.what;
    }
    EXPECT_EQ(itemsOf("<item><enclosure url=\"noversion.zip\"/></item>")[0].unreadable,
              "no sparkle:version, and none in the archive's file name");
    EXPECT_EQ(itemsOf("<item><s:version>1</s:version></item>")[0].unreadable, "no enclosure");
    EXPECT_EQ(itemsOf("<item><s:version>1</s:version><enclosure url=\"../r/a.zip\"/></item>",
                      "https://h/updates/gaugely/appcast.xml")[0]
                  .candidate.download,
              "https://h/updates/r/a.zip");
}

}  // namespace
}  // namespace gaugely
