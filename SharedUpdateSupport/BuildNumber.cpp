#include "SharedUpdateSupport/BuildNumber.h"

#include <charconv>

namespace gaugely {

std::optional<uint64_t> readBuildNumber(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    // from_chars takes no sign and no white space of its own, so only digits pass.
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    if (negative && value != 0) {
        return std::nullopt;
    }
    return value;
}

}  // namespace gaugely
