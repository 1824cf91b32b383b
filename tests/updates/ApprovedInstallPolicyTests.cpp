#include <gtest/gtest.h>

#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "SharedUpdateSupport/AppcastReader.h"
#include "SharedUpdateSupport/ApprovedInstallPolicy.h"
#include "SharedUpdateSupport/ReleaseNotesText.h"

namespace gaugely {
namespace {

TEST(ApprovedInstallPolicy, RepliesPerStage) {
    using S = UpdateFoundStage;
    using R = UpdateReply;
    struct Row {
        std::optional<std::string> approved;
        std::string build;
        S stage;
        R reply;
    };
    const std::vector<Row> rows{
        {"4", "4", S::notDownloaded, R::install},  {"4", "4", S::downloaded, R::install},
        {"4", "4", S::installing, R::install},     {"4", "5", S::notDownloaded, R::dismiss},
        {"4", "5", S::downloaded, R::skip},        {"4", "5", S::installing, R::skip},
        {{}, "4", S::notDownloaded, R::dismiss},   {{}, "4", S::downloaded, R::skip},
        {"4", "+4", S::notDownloaded, R::dismiss},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(replyToUpdateFound(row.approved, row.build, row.stage), row.reply)
            << row.approved.value_or("none") << " / " << row.build;
    }
    EXPECT_EQ(replyToReadyToInstall("4"), R::install);
    EXPECT_EQ(replyToReadyToInstall(std::nullopt), R::skip);
    EXPECT_TRUE(frameworkShowsWindow(FrameworkWindow::downloadProgress, true));
    EXPECT_FALSE(frameworkShowsWindow(FrameworkWindow::downloadProgress, false));
    EXPECT_FALSE(frameworkShowsWindow(FrameworkWindow::error, true));
    EXPECT_FALSE(frameworkShowsWindow(FrameworkWindow::updateFound, true));
}

TEST(ApprovedInstallPolicy, ChoosesThePermittedItemWithTheHighestBuild) {
    const auto item = [](std::string build) {
        return UpdateCandidate{build, "1.0." + build, false, std::nullopt, std::nullopt};
    };
    const std::vector<UpdateCandidate> feed{item("4"), item("12"), item("9"), item("12"),
                                            item("99")};
    const auto notNinetyNine = [](const UpdateCandidate& c) { return c.build != "99"; };
    EXPECT_EQ(chooseFeedItem(feed, notNinetyNine, std::nullopt), 1u) << "12 beats 9 as a number";
    EXPECT_EQ(chooseFeedItem(feed, notNinetyNine, "4"), 0u) << "an installation takes its build";
    EXPECT_EQ(chooseFeedItem(feed, notNinetyNine, "99"), std::nullopt);
    EXPECT_EQ(chooseFeedItem(feed, {}, std::nullopt), std::nullopt) << "no rule, nothing offered";
    EXPECT_EQ(chooseFeedItem({}, notNinetyNine, std::nullopt), std::nullopt);
}

TEST(ReleaseNotesText, HtmlBecomesReadableLines) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"<ul><li>Faster</li><li>Safer</li></ul>", "• Faster\n• Safer"},
        {"<p>First   paragraph\n spans</p><p>Second</p>", "First paragraph spans\nSecond"},
        {"<h2>1.0.4</h2><ul>\n  <li><p>Nested <b>bold</b></p></li>\n</ul>", "1.0.4\n• Nested bold"},
        {"one<br>two<br/><br>three", "one\ntwo\n\nthree"},
        {"Fish &amp; chips &eacute;t&eacute; &#8217; &lt;b&gt;", "Fish & chips été ’ <b>"},
        {"<style>p{}</style><script>alert(1)</script><p>Shown</p>", "Shown"},
        {"<pre>a\n  b</pre>", "a\nb"},
        {"<table><tr><td>a</td><td>b</td></tr></table>", "a b"},
        {"Plain text only", "Plain text only"},
        {"<p>Unclosed <i>tags", "Unclosed tags"},
        {"", ""},
        {"   ", ""},
        {"<!DOCTYPE html SYSTEM \"http://example.com/x.dtd\"><p>&xxe;</p>", "&xxe;"},
    };
    for (const auto& [html, text] : rows) {
        EXPECT_EQ(releaseNotesText(html), text) << html;
    }
    // Hostile nesting ends within the parser's depth limit: no crash, at most the text itself.
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<div>";
    }
    EXPECT_LE(releaseNotesText(deep + "x").size(), 1u);
}

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
        UpdateCandidate read;
    };
    const std::optional<std::string> none;
    const std::vector<Row> rows{
        {"enclosure attributes win",
         "<item><s:version>9</s:version><s:shortVersionString>9.9.9</s:shortVersionString>"
         "<enclosure url=\"a.zip\" s:version=\"4\" s:shortVersionString=\"1.0.4\"/></item>",
         {"4", "1.0.4", false, none, "a.zip"}},
        {"item elements next, trimmed",
         "<item><s:version> 5 </s:version><enclosure url=\"a.zip\"/></item>",
         {"5", "5", false, none, "a.zip"}},
        {"the file name last",
         "<item><enclosure url=\"https://h/x/Gaugely_1.0_6.zip\"/></item>",
         {"6", "6", false, none, "https://h/x/Gaugely_1.0_6.zip"}},
        {"spaces forgiven",
         "<item><s:version>7</s:version><enclosure url=\"a b.zip\"/></item>",
         {"7", "7", false, none, "a%20b.zip"}},
        {"another prefix is not Sparkle's",
         "<item xmlns:t=\"urn:other\"><t:version>8</t:version><enclosure url=\"a.zip\"/></item>",
         {"", "", false, none, "a.zip"}},
        {"information only",
         "<item><link>https://h/i</link><s:version>9</s:version><s:informationalUpdate/>"
         "<enclosure url=\"a.zip\"/></item>",
         {"9", "9", true, "https://h/i", "a.zip"}},
        {"a page without an archive",
         "<item><link>https://h/i</link><s:version>9</s:version></item>",
         {"9", "9", true, "https://h/i", none}},
    };
    for (const Row& row : rows) {
        const auto items = itemsOf(row.item);
        ASSERT_EQ(items.size(), 1u) << row.what;
        EXPECT_EQ(items[0].candidate, row.read) << row.what;
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
