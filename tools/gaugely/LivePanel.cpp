#include "tools/gaugely/LivePanel.h"

#include <algorithm>

#include "tools/gaugely/Terminal.h"

namespace gaugely::tool {

LivePanel::LivePanel(std::ostream& out, std::function<std::size_t()> columns)
    : out_(out), columns_(std::move(columns)) {}

void LivePanel::clear() {
    if (height_ == 0) {
        return;
    }
    // Up to the panel's first row, then clear everything below.
    out_ << "\x1b[" << height_ << "F\x1b[J";
    height_ = 0;
}

void LivePanel::paint() {
    const std::size_t width = std::max<std::size_t>(columns_(), 2) - 1;
    for (const std::string& line : lines_) {
        out_ << truncatedToWidth(line, width) << "\x1b[K\n";
    }
    height_ = lines_.size();
    out_.flush();
}

void LivePanel::event(std::string_view line) {
    clear();
    out_ << line << "\n";
    paint();
}

void LivePanel::draw(std::vector<std::string> lines) {
    clear();
    lines_ = std::move(lines);
    paint();
}

void LivePanel::close() {
    height_ = 0;
    lines_.clear();
    out_.flush();
}

}  // namespace gaugely::tool
