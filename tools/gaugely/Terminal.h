#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace gaugely::tool {

// Whether the file descriptor is an interactive terminal.
bool isTerminal(int fileDescriptor);

// Whether the terminal named by TERM can move the cursor and clear lines: not "dumb", and named.
bool terminalCanRedraw();

// Whether colour is welcome: not when NO_COLOR is set to anything (no-color.org).
bool colourWanted();

// The terminal's width in columns, or `fallback` when it cannot be told.
int terminalColumns(int fileDescriptor, int fallback);

// Columns taken by UTF-8 text when each code point takes one, which holds for every glyph the
// tool draws (box lines, blocks, arrows, dashes).
std::size_t displayWidth(std::string_view text);

// At most `columns` columns of the text, cut at a code point boundary.
std::string truncatedToWidth(std::string_view text, std::size_t columns);

// The text followed by spaces up to `columns` columns.
std::string paddedToWidth(std::string_view text, std::size_t columns);

}  // namespace gaugely::tool
