#include "tools/gaugely/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace gaugely::tool {

namespace {

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

bool isTerminal(int fileDescriptor) {
    return ::isatty(fileDescriptor) == 1;
}

bool terminalCanRedraw() {
    const char* term = std::getenv("TERM");
    return term != nullptr && *term != '\0' && std::string_view(term) != "dumb";
}

bool colourWanted() {
    const char* noColour = std::getenv("NO_COLOR");
    return noColour == nullptr || *noColour == '\0';
}

int terminalColumns(int fileDescriptor, int fallback) {
    winsize size{};
    if (::ioctl(fileDescriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return fallback;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t columns = 0;
    for (const char c : text) {
        if (!isContinuationByte(c)) {
            ++columns;
        }
    }
    return columns;
}

std::string truncatedToWidth(std::string_view text, std::size_t columns) {
    std::size_t taken = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isContinuationByte(text[i])) {
            if (taken == columns) {
                return std::string(text.substr(0, i));
            }
            ++taken;
        }
    }
    return std::string(text);
}

std::string paddedToWidth(std::string_view text, std::size_t columns) {
    std::string padded(text);
    const std::size_t width = displayWidth(text);
    if (width < columns) {
        padded.append(columns - width, ' ');
    }
    return padded;
}

}  // namespace gaugely::tool
