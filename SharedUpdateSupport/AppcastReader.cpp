#include "SharedUpdateSupport/AppcastReader.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>
#include <libxml/uri.h>

#include <memory>

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

namespace {

constexpr std::string_view sparkleNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";

struct ContextFree {
    void operator()(xmlParserCtxt* context) const {
        xmlFreeDoc(context->myDoc);
        context->myDoc = nullptr;
        xmlFreeParserCtxt(context);
    }
};

struct XmlFree {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

std::string_view view(const xmlChar* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

// A name as the framework indexes it: "sparkle:" and the local name in Sparkle's namespace
// (whatever prefix the feed gives it), the plain name otherwise.
std::string indexedName(const xmlChar* name, const xmlNs* ns) {
    if (ns && view(ns->href) == sparkleNamespace) {
        return "sparkle:" + std::string(view(name));
    }
    if (ns && ns->prefix) {
        return std::string(view(ns->prefix)) + ":" + std::string(view(name));
    }
    return std::string(view(name));
}

std::optional<std::string> attribute(const xmlNode* element, std::string_view name) {
    for (const xmlAttr* attr = element->properties; attr; attr = attr->next) {
        if (indexedName(attr->name, attr->ns) == name) {
            const std::unique_ptr<xmlChar, XmlFree> value(
                xmlNodeListGetString(element->doc, attr->children, 1));
            return std::string(view(value.get()));
        }
    }
    return std::nullopt;
}

std::string textOf(const xmlNode* node) {
    const std::unique_ptr<xmlChar, XmlFree> content(xmlNodeGetContent(node));
    return std::string(view(content.get()));
}

const xmlNode* firstChild(const xmlNode* parent, std::string_view name) {
    for (const xmlNode* child = parent ? parent->children : nullptr; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && indexedName(child->name, child->ns) == name) {
            return child;
        }
    }
    return nullptr;
}

// Spaces are forgiven as the framework forgives them, then the link is resolved against the feed.
std::optional<std::string> resolved(std::string link, std::optional<std::string_view> base) {
    link = text::replacingAll(link, " ", "%20");
    if (!base) {
        return link;
    }
    const std::string baseText(*base);
    const std::unique_ptr<xmlChar, XmlFree> uri(
        xmlBuildURI(reinterpret_cast<const xmlChar*>(link.c_str()),
                    reinterpret_cast<const xmlChar*>(baseText.c_str())));
    if (!uri) {
        return std::nullopt;
    }
    return std::string(view(uri.get()));
}

bool isPositiveNumber(std::string_view text) {
    text = text.substr(0, text.find_first_not_of("0123456789"));
    return !text.empty() && text.find_first_not_of('0') != std::string_view::npos;
}

AppcastItem readItem(const xmlNode* node, std::optional<std::string_view> feedURL) {
    AppcastItem item;
    const auto element = [&](std::string_view name) -> std::optional<std::string> {
        if (const xmlNode* child = firstChild(node, name)) {
            return text::trimmed(textOf(child));
        }
        return std::nullopt;
    };
    item.title = element("title").value_or("");
    const xmlNode* enclosure = firstChild(node, "enclosure");
    const auto enclosureAttribute = [&](std::string_view name) {
        return enclosure ? attribute(enclosure, name) : std::nullopt;
    };

    std::optional<std::string> build = enclosureAttribute("sparkle:version");
    if (!build) {
        build = element("sparkle:version");
    }
    const std::optional<std::string> url = enclosureAttribute("url");
    if (!build && url) {
        // The older convention: the archive is named Name_<build>.zip.
        const auto underscore = url->rfind('_');
        if (underscore != std::string::npos) {
            std::string last = url->substr(underscore + 1);
            const auto dot = last.rfind('.');
            build = dot == std::string::npos || last.find('/', dot) != std::string::npos
                        ? last
                        : last.substr(0, dot);
        }
    }
    std::optional<std::string> version = enclosureAttribute("sparkle:shortVersionString");
    if (!version) {
        version = element("sparkle:shortVersionString");
    }
    item.candidate.build = build.value_or("");
    item.candidate.version = version.value_or(item.candidate.build);
    if (const auto link = element("link")) {
        item.candidate.information = resolved(*link, feedURL);
    }
    if (url) {
        item.candidate.download = resolved(*url, feedURL);
    }
    // With an information page and no enclosure, an item only points to that page.
    item.candidate.informational =
        item.candidate.information &&
        (!enclosure || firstChild(node, "sparkle:informationalUpdate") != nullptr);
    item.hasEdSignature = !enclosureAttribute("sparkle:edSignature").value_or("").empty();
    item.hasLength = isPositiveNumber(enclosureAttribute("length").value_or(""));
    if (const xmlNode* description = firstChild(node, "description")) {
        item.descriptionHTML = textOf(description);
    }

    if (!build) {
        item.unreadable = "no sparkle:version, and none in the archive's file name";
    } else if (!enclosure && !item.candidate.information) {
        item.unreadable = "no enclosure";
    } else if (!url && !item.candidate.information) {
        item.unreadable = "the enclosure has no url";
    }
    return item;
}

// A document type declaration ends the parse before its declarations are read.
void refuseDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    parser->_private = parser;
    xmlStopParser(parser);
}

}  // namespace

std::variant<std::vector<AppcastItem>, std::string> readAppcast(
    std::string_view xml, std::optional<std::string_view> feedURL) {
    if (xml.size() > appcastSizeLimit) {
        return "larger than " + std::to_string(appcastSizeLimit / (1024 * 1024)) + " MiB";
    }
    const std::unique_ptr<xmlParserCtxt, ContextFree> context(
        xmlCreateMemoryParserCtxt(xml.data(), static_cast<int>(xml.size())));
    if (!context) {
        return std::string("not an XML document");
    }
    xmlCtxtUseOptions(context.get(), XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    context->sax->internalSubset = refuseDocumentType;
    context->_private = nullptr;
    xmlParseDocument(context.get());
    if (context->_private != nullptr) {
        return std::string("has a document type declaration, which an appcast never needs");
    }
    if (!context->wellFormed || !context->myDoc) {
        const xmlError& error = context->lastError;
        std::string message = error.message ? text::trimmed(error.message) : "malformed XML";
        return "line " + std::to_string(error.line) + ": " + message;
    }

    const xmlNode* root = xmlDocGetRootElement(context->myDoc);
    if (!root || indexedName(root->name, root->ns) != "rss") {
        return std::string("the root element is not <rss>");
    }
    std::vector<AppcastItem> items;
    for (const xmlNode* channel = root->children; channel; channel = channel->next) {
        if (channel->type != XML_ELEMENT_NODE ||
            indexedName(channel->name, channel->ns) != "channel") {
            continue;
        }
        for (const xmlNode* node = channel->children; node; node = node->next) {
            if (node->type == XML_ELEMENT_NODE && indexedName(node->name, node->ns) == "item") {
                items.push_back(readItem(node, feedURL));
            }
        }
    }
    return items;
}

}  // namespace gaugely
