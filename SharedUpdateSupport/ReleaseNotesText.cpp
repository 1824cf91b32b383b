#include "SharedUpdateSupport/ReleaseNotesText.h"

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

namespace {

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isBlock(std::string_view name) {
    return isOneOf(
        name,
        {"address", "article", "aside", "blockquote", "caption",  "center",     "dd",     "details",
         "dialog",  "div",     "dl",    "dt",         "fieldset", "figcaption", "figure", "footer",
         "form",    "h1",      "h2",    "h3",         "h4",       "h5",         "h6",     "header",
         "hgroup",  "hr",      "li",    "main",       "nav",      "ol",         "p",      "pre",
         "section", "summary", "table", "tbody",      "tfoot",    "thead",      "tr",     "ul"});
}

bool isHidden(std::string_view name) {
    return isOneOf(name, {"head", "script", "style", "title", "noscript", "template", "iframe",
                          "object", "svg", "math"});
}

bool isCell(std::string_view name) {
    return name == "td" || name == "th";
}

bool isHtmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// Builds the text line by line as the walk enters and leaves nodes.
class TextBuilder {
  public:
    void text(std::string_view content, bool preformatted) {
        for (const char c : content) {
            if (preformatted && (c == '\n' || c == '\r')) {
                if (c == '\n') {
                    lineBreak();
                }
                continue;
            }
            if (!preformatted && isHtmlSpace(c)) {
                pendingSpace_ = !dropSpace_;
                continue;
            }
            if (pendingSpace_) {
                out_ += ' ';
                pendingSpace_ = false;
            }
            out_ += c;
            lineHasText_ = true;
            dropSpace_ = false;
        }
    }

    void lineBreak() {
        out_ += '\n';
        lineHasText_ = false;
        lineHasBullet_ = false;
        dropSpace_ = true;
        pendingSpace_ = false;
    }

    // A block starts or ends: a line with text ends; a line holding only a bullet stays, so a
    // paragraph inside a list item reads on the bullet's line.
    void blockBoundary() {
        if (lineHasText_) {
            lineBreak();
        }
    }

    void bullet() {
        if (lineHasText_ || lineHasBullet_) {
            lineBreak();
        }
        out_ += "• ";
        lineHasBullet_ = true;
        dropSpace_ = true;
        pendingSpace_ = false;
    }

    void cellSeparator() { pendingSpace_ = lineHasText_; }

    std::string finish() const {
        std::vector<std::string> lines;
        for (const std::string& line : text::splitLines(out_)) {
            lines.push_back(text::trimmed(line));
        }
        return text::trimmed(text::joined(lines, "\n"));
    }

  private:
    std::string out_;
    bool lineHasText_ = false;
    bool lineHasBullet_ = false;
    bool dropSpace_ = true;
    bool pendingSpace_ = false;
};

std::string_view nameOf(const xmlNode* node) {
    return node->name ? std::string_view(reinterpret_cast<const char*>(node->name))
                      : std::string_view();
}

struct DocumentFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

}  // namespace

std::string releaseNotesText(std::string_view html) {
    html = html.substr(0, std::min(html.size(), releaseNotesInputLimit));
    if (html.empty()) {
        return {};
    }
    const std::unique_ptr<xmlDoc, DocumentFree> doc(
        htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                       HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
    if (!doc) {
        return {};
    }

    // An explicit stack: the parser nests as deep as the input does.
    struct Step {
        const xmlNode* node;
        bool leaving;
    };
    TextBuilder builder;
    int preformatted = 0;
    std::vector<Step> stack;
    for (const xmlNode* child = doc->children; child; child = child->next) {
        stack.push_back({child, false});
    }
    std::reverse(stack.begin(), stack.end());
    while (!stack.empty()) {
        const Step step = stack.back();
        stack.pop_back();
        const xmlNode* node = step.node;
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
            if (node->content) {
                builder.text(reinterpret_cast<const char*>(node->content), preformatted > 0);
            }
            continue;
        }
        if (node->type != XML_ELEMENT_NODE && node->type != XML_DOCUMENT_NODE &&
            node->type != XML_HTML_DOCUMENT_NODE) {
            continue;
        }
        const std::string_view name = nameOf(node);
        if (step.leaving) {
            preformatted -= name == "pre" ? 1 : 0;
            if (isBlock(name)) {
                builder.blockBoundary();
            }
            continue;
        }
        if (isHidden(name)) {
            continue;
        }
        if (name == "br") {
            builder.lineBreak();
            continue;
        }
        if (name == "li") {
            builder.bullet();
        } else if (isBlock(name)) {
            builder.blockBoundary();
        } else if (isCell(name)) {
            builder.cellSeparator();
        }
        preformatted += name == "pre" ? 1 : 0;
        stack.push_back({node, true});
        const std::size_t firstChild = stack.size();
        for (const xmlNode* child = node->children; child; child = child->next) {
            stack.push_back({child, false});
        }
        std::reverse(stack.begin() + static_cast<std::ptrdiff_t>(firstChild), stack.end());
    }
    return builder.finish();
}

}  // namespace gaugely
