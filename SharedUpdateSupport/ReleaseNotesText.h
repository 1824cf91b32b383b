#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace gaugely {

// Release notes arrive as the HTML description of a feed item and are shown as plain text.
//
// HTML is read with libxml2's HTML parser, never by hand: no network, no external entities, and
// its entity table decodes &amp;, &eacute;, &#8217; and the rest. Block elements and <br> end
// lines, each list item starts a line with "• ", runs of white space collapse to one space as a
// browser shows them (kept inside <pre>), and scripts, styles and the document head are dropped.
// Lines carry no leading or trailing spaces and the text no leading or trailing line feeds.
//
// Input beyond `releaseNotesInputLimit` bytes is cut off before parsing, so hostile notes are read
// in bounded memory and time.
inline constexpr std::size_t releaseNotesInputLimit = 256 * 1024;

[[nodiscard]] std::string releaseNotesText(std::string_view html);

}  // namespace gaugely
