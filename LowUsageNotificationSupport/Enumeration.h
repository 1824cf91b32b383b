#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace gaugely {

// Persisted and displayed enumerations map each case to its raw value (the case name) through one
// table, so encoding, decoding and iteration can never disagree. Specialise EnumTraits with
//   static constexpr std::array<std::pair<E, std::string_view>, N> cases{...};
// listing the cases in their documented order.
template <class E>
struct EnumTraits;

template <class E>
constexpr std::string_view rawValue(E value) {
    for (const auto& [candidate, raw] : EnumTraits<E>::cases) {
        if (candidate == value) {
            return raw;
        }
    }
    return {};
}

// Unknown text gives none: decoding an unknown case fails rather than guessing.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view raw) {
    for (const auto& [candidate, text] : EnumTraits<E>::cases) {
        if (text == raw) {
            return candidate;
        }
    }
    return std::nullopt;
}

template <class E>
constexpr auto allCases() {
    constexpr auto& table = EnumTraits<E>::cases;
    std::array<E, table.size()> result{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        result[i] = table[i].first;
    }
    return result;
}

}  // namespace gaugely
