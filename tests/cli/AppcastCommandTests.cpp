#include "cli/ToolRunner.h"

namespace gaugely::tooltest {
namespace {

class AppcastCommand : public ToolTest {};

const std::string feed = "https://updates.example.com/updates/gaugely/appcast.xml";

// The sample feed, checked item by item, is the README's example; these are the exit statuses.
TEST_F(AppcastCommand, ExitStatusAndErrors) {
    const std::string item =
        "<item><link>https://updates.example.com/updates/gaugely/</link>"
        "<enclosure url=\"releases/1.0.4/build-4/Gaugely-1.0.4.zip\" sparkle:version=\"4\" "
        "sparkle:shortVersionString=\"1.0.4\"/></item>";
    const auto rss = [](const std::string& items) {
        return "<rss xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">"
               "<channel>" +
               items + "</channel></rss>";
    };
    struct Row {
        std::string what;
        std::string xml;
        std::vector<std::string> extra;
        int status;
        std::string expected;  // in stdout for 0 and 1, in stderr for 2
    };
    const std::vector<Row> rows{
        {"relative archive link resolved", rss(item), {"--feed-url", feed}, 0, "1 of 1 offered."},
        {"another feed host",
         rss(item),
         {"--feed-url", "https://other.example.com/updates/gaugely/appcast.xml"},
         1,
         "refused by wrongInformation"},
        {"no items", rss(""), {"--feed-url", feed}, 1, "0 of 0 offered."},
        {"truncated", rss(item).substr(0, 60), {}, 2, "line 1: "},
        // Any declaration is refused before it is read: entities, external ones too, never expand.
        {"entities declared",
         "<!DOCTYPE rss [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;\">]>" +
             rss("<item><title>&b;</title></item>"),
         {},
         2,
         "document type declaration"},
        {"not an appcast", "<html/>", {}, 2, "the root element is not <rss>"},
        {"too large", rss(std::string(4 * 1024 * 1024, ' ')), {}, 2, "larger than 4 MiB"},
    };
    for (const Row& row : rows) {
        writeFile(path("appcast.xml"), row.xml);
        std::vector<std::string> arguments{"appcast", "check", path("appcast.xml").string()};
        arguments.insert(arguments.end(), row.extra.begin(), row.extra.end());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.status, row.status) << row.what << "\n" << result.out << result.err;
        const std::string& text = row.status == 2 ? result.err : result.out;
        EXPECT_NE(text.find(row.expected), std::string::npos) << row.what << "\n" << text;
    }
    // A file that cannot be read says why.
    const ToolResult missing = run({"appcast", "check", path("missing.xml").string()});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "gaugely appcast: cannot read " + path("missing.xml").string() +
                               ": No such file or directory\n");
}

}  // namespace
}  // namespace gaugely::tooltest
