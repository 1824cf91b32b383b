// `gaugely appcast check FILE [--feed-url URL]`: reads a Sparkle appcast as the update framework
// reads it and says, item by item, whether the production rule would offer it. Reads a local
// file only; nothing is fetched.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "SharedUpdateSupport/AppcastReader.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"

namespace gaugely::tool {
namespace {

constexpr const char* appcastHelp =
    "Usage: gaugely appcast check FILE [--feed-url URL]\n"
    "\n"
    "Reads a Sparkle appcast (a local file; nothing is fetched) the way the update framework\n"
    "reads it, and prints for each item its build and version, whether Gaugely would offer it\n"
    "and, if not, the first rule that refuses it, and whether it carries an EdDSA signature and\n"
    "a length.\n"
    "\n"
    "  --feed-url URL   where the appcast is published: relative links resolve against it and\n"
    "                   its host is the feed host the rule expects (default: this build's feed,\n"
    "                   if it has one)\n"
    "  -h, --help       show this help\n"
    "\n"
    "Exit status: 0 at least one item is offered; 1 none is; 2 the file is unreadable, not XML,\n"
    "or bad arguments.\n";

constexpr OptionShape appcastOptionShapes[] = {{"--feed-url", true}};

std::string refusalText(ItemRefusal refusal) {
    switch (refusal) {
        case ItemRefusal::informationOnly:
            return "the item is information only";
        case ItemRefusal::missingDownload:
            return "the item has no archive";
        case ItemRefusal::missingInformation:
            return "the item has no information link";
        case ItemRefusal::unreadableBuild:
            return "the build is not a whole number above zero";
        case ItemRefusal::malformedVersion:
            return "the version is not three dot-separated numbers";
        case ItemRefusal::wrongDownload:
            return "the archive is not at <feed host>/updates/gaugely/releases/<version>/"
                   "build-<build>/Gaugely-<version>.zip";
        case ItemRefusal::wrongInformation:
            return "the information link is not under <feed host>/updates/gaugely/";
    }
    return {};
}

// "updates.example.com" of "https://updates.example.com/updates/gaugely/appcast.xml".
std::string hostOf(std::string_view url) {
    const auto scheme = url.find("://");
    if (scheme == std::string_view::npos) {
        return {};
    }
    url.remove_prefix(scheme + 3);
    return std::string(url.substr(0, url.find_first_of("/?#")));
}

}  // namespace

int runAppcastCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto read = readArguments(arguments, appcastOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return usageError(streams, "appcast", *problem);
    }
    std::vector<std::string> words;
    std::optional<std::string> feedURL;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        if (argument.name == "--help") {
            streams.out << appcastHelp;
            return exitSuccess;
        }
        if (argument.isPositional()) {
            words.push_back(*argument.value);
        } else {
            feedURL = argument.value;
        }
    }
    if (words.empty() || words.front() != "check") {
        return usageError(streams, "appcast",
                          words.empty() ? "say what to do: check FILE"
                                        : "unknown action \"" + words.front() + "\" (check)");
    }
    if (words.size() != 2) {
        return usageError(streams, "appcast",
                          words.size() < 2 ? "check needs a FILE" : "check takes one FILE");
    }
    const std::string& file = words[1];
    if (!feedURL) {
        feedURL = ProductionUpdaterConfiguration::feedURL();
    }
    const std::string host = feedURL ? hostOf(*feedURL) : std::string();

    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        streams.err << "gaugely appcast: cannot read " << file << ": "
                    << (errno != 0 ? std::strerror(errno) : "not readable") << "\n";
        return exitUsage;
    }
    // One byte past the limit is enough to know the file is too large.
    std::string xml(appcastSizeLimit + 1, '\0');
    stream.read(xml.data(), static_cast<std::streamsize>(xml.size()));
    xml.resize(static_cast<std::size_t>(stream.gcount()));

    auto result = readAppcast(xml, feedURL);
    if (auto* problem = std::get_if<std::string>(&result)) {
        streams.err << "gaugely appcast: " << file << ": " << *problem << "\n";
        return exitUsage;
    }
    const auto& items = std::get<std::vector<AppcastItem>>(result);
    streams.out << file << ": " << items.size() << (items.size() == 1 ? " item" : " items");
    if (feedURL) {
        streams.out << ", read as published at " << *feedURL;
    } else {
        streams.out << "; this build has no feed host, so nothing can be offered (pass --feed-url)";
    }
    streams.out << "\n";

    std::size_t offered = 0;
    for (std::size_t index = 0; index < items.size(); ++index) {
        const AppcastItem& item = items[index];
        streams.out << "item " << index + 1;
        if (!item.title.empty()) {
            streams.out << " \"" << item.title << "\"";
        }
        streams.out << ": build " << (item.candidate.build.empty() ? "—" : item.candidate.build)
                    << ", version "
                    << (item.candidate.version.empty() ? "—" : item.candidate.version) << " — ";
        const auto refusal = productionItemRefusal(item.candidate, host);
        if (item.unreadable) {
            streams.out << "refused: the update framework cannot read it (" << *item.unreadable
                        << ")";
        } else if (refusal) {
            streams.out << "refused by " << rawValue(*refusal) << ": " << refusalText(*refusal);
        } else {
            streams.out << "offered";
            ++offered;
        }
        streams.out << "; EdDSA signature: " << (item.hasEdSignature ? "yes" : "no")
                    << "; length: " << (item.hasLength ? "yes" : "no") << "\n";
    }
    streams.out << offered << " of " << items.size() << " offered.\n";
    return offered > 0 ? exitSuccess : exitNoResult;
}

}  // namespace gaugely::tool
