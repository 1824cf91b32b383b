#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"
#include "LowUsageNotificationSupport/Text.h"

namespace gaugely::fuzz {

inline std::string_view bytes(const uint8_t* data, size_t size) {
    return std::string_view(reinterpret_cast<const char*>(data), size);
}

// The fuzzer's bytes as menu text lines, one element per line, the way the tool reads them.
inline std::vector<std::string> lines(std::string_view text) {
    return text::splitLines(text);
}

// A record that was read must be written and read back as the same record, and writing it again
// must give the same text: a reading that changed on its way through the defaults would be saved
// as something Codex never showed.
template <class T>
void expectStableRoundTrip(const T& record) {
    const std::string encoded = encodeJson(record);
    const std::optional<T> decoded = decodeJson<T>(encoded);
    if (!decoded || !(*decoded == record) || encodeJson(*decoded) != encoded) {
        std::abort();
    }
}

}  // namespace gaugely::fuzz
