#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gaugely {

// An ICU regular expression, compiled once. ICU is the engine the menu patterns are written for:
// its \s matches U+202F and U+00A0, which Chromium puts before AM/PM, and its `$` also matches
// before a final line terminator. A pattern that fails to compile never matches.
//
// Matching reuses the compiled pattern, so an instance must not be used from two threads at once;
// the named patterns below are per-thread instances.
class Regex {
  public:
    enum Flags : unsigned { none = 0, caseInsensitive = 1, dotAll = 2 };

    struct Match {
        // groups[0] is the whole match; an unmatched optional group is empty.
        std::vector<std::string> groups;
    };

    explicit Regex(std::string_view pattern, unsigned flags = none);
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    bool isValid() const { return impl_ != nullptr; }

    // The leftmost match anywhere in `text`.
    std::optional<Match> firstMatch(std::string_view text) const;
    bool containsMatch(std::string_view text) const { return firstMatch(text).has_value(); }

    // Whether the whole of `text` matches.
    bool matchesEntirely(std::string_view text) const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace gaugely
