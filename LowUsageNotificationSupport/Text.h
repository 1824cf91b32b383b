#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Unicode text helpers over ICU. All text is UTF-8; invalid sequences become U+FFFD.
namespace gaugely::text {

// Removes leading and trailing white space and line breaks (Unicode Z* categories, U+0009–U+000D
// and U+0085), the set Codex's menu texts are trimmed by.
std::string trimmed(std::string_view text);

// Full Unicode lower-casing, locale independent.
std::string lowercased(std::string_view text);

// Case-insensitive equality by default case folding.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

bool contains(std::string_view haystack, std::string_view needle);

// Replaces every occurrence of `needle` by `replacement`.
std::string replacingAll(std::string_view text, std::string_view needle,
                         std::string_view replacement);

std::string joined(const std::vector<std::string>& lines, std::string_view separator);

// Splits on "\n" exactly: an empty line is a line; a final newline ends the last line.
std::vector<std::string> splitLines(std::string_view text);

// A decimal number written in full in the C form ("12", "-0.5", "1e3"), whatever locale the
// process has set; none for anything else, leading spaces and a "+" included.
std::optional<double> decimalNumber(std::string_view text);

}  // namespace gaugely::text
