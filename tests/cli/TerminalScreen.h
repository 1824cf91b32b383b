#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace gaugely::tooltest {

// What a terminal of a given size shows after the bytes a program wrote to it, for the tests
// that watch a live view: printable text with the terminal's automatic wrap at the margin,
// carriage return and line feed, scrolling off the top, and the cursor movement and erasures
// the tool uses (CSI F, J, K; colours are ignored). Rows that scroll off are kept, so the
// whole session can be read back.
class TerminalScreen {
  public:
    TerminalScreen(std::size_t columns, std::size_t rows)
        : columns_(columns), rows_(rows), screen_(rows, Row(columns)) {}

    void write(std::string_view bytes) {
        for (std::size_t i = 0; i < bytes.size();) {
            const char c = bytes[i];
            if (c == '\x1b' && i + 1 < bytes.size() && bytes[i + 1] == '[') {
                std::size_t end = i + 2;
                while (end < bytes.size() && !(bytes[end] >= 0x40 && bytes[end] <= 0x7E)) {
                    ++end;
                }
                if (end < bytes.size()) {
                    control(bytes.substr(i + 2, end - i - 2), bytes[end]);
                }
                i = end + 1;
            } else if (c == '\r') {
                column_ = 0;
                pendingWrap_ = false;
                ++i;
            } else if (c == '\n') {
                lineFeed(false);
                ++i;
            } else if (static_cast<unsigned char>(c) < 0x20) {
                ++i;
            } else {
                std::size_t length = 1;
                while (i + length < bytes.size() &&
                       (static_cast<unsigned char>(bytes[i + length]) & 0xC0) == 0x80) {
                    ++length;
                }
                put(std::string(bytes.substr(i, length)));
                i += length;
            }
        }
    }

    // Every line shown so far, scrolled off or on the screen, a wrapped line joined again, with
    // trailing blanks removed; the empty rows at the foot of the screen left out.
    std::vector<std::string> lines() const {
        std::vector<Row> all = history_;
        all.insert(all.end(), screen_.begin(), screen_.end());
        while (!all.empty() && text(all.back()).empty()) {
            all.pop_back();
        }
        std::vector<std::string> joined;
        for (const Row& row : all) {
            if (row.continues && !joined.empty()) {
                joined.back() += text(row);
            } else {
                joined.push_back(text(row));
            }
        }
        for (std::string& line : joined) {
            line.erase(line.find_last_not_of(' ') + 1);
        }
        return joined;
    }

  private:
    struct Row {
        explicit Row(std::size_t columns) : cells(columns, " ") {}
        std::vector<std::string> cells;
        bool continues = false;  // the terminal wrapped the row above into this one
    };

    static std::string text(const Row& row) {
        std::string line;
        for (const std::string& cell : row.cells) {
            line += cell;
        }
        return line.substr(0, line.find_last_not_of(' ') + 1);
    }

    void put(std::string cell) {
        if (pendingWrap_) {
            column_ = 0;
            lineFeed(true);
        }
        screen_[row_].cells[column_] = std::move(cell);
        if (column_ + 1 == columns_) {
            pendingWrap_ = true;
        } else {
            ++column_;
        }
    }

    void lineFeed(bool wrapped) {
        pendingWrap_ = false;
        if (row_ + 1 < rows_) {
            ++row_;
        } else {
            history_.push_back(screen_.front());
            screen_.erase(screen_.begin());
            screen_.emplace_back(columns_);
        }
        screen_[row_].continues = wrapped;
    }

    void control(std::string_view parameters, char final) {
        // A count of 0 moves as 1 does, as on a terminal.
        const std::size_t count = std::max<std::size_t>(
            parameters.empty() || parameters.front() == '?' ? 1
                                                            : std::stoul(std::string(parameters)),
            1);
        pendingWrap_ = false;
        Row& row = screen_[row_];
        switch (final) {
            case 'F':
                row_ -= std::min(row_, count);
                column_ = 0;
                break;
            case 'K':
                std::fill(row.cells.begin() + static_cast<long>(column_), row.cells.end(), " ");
                break;
            case 'J':
                std::fill(row.cells.begin() + static_cast<long>(column_), row.cells.end(), " ");
                for (std::size_t below = row_ + 1; below < rows_; ++below) {
                    screen_[below] = Row(columns_);
                }
                break;
            default:
                break;  // colours and the rest change no text
        }
    }

    std::size_t columns_;
    std::size_t rows_;
    std::vector<Row> screen_;
    std::vector<Row> history_;
    std::size_t row_ = 0;
    std::size_t column_ = 0;
    bool pendingWrap_ = false;
};

}  // namespace gaugely::tooltest
