#include <cstddef>
#include <cstdint>

#include "LowUsageNotificationSupport/ProProfileUsageMenuParser.h"
#include "fuzz/FuzzLines.h"

// The bytes before the first NUL are the profile item titles, the rest the older layout's lines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const std::string_view input = fuzz::bytes(data, size);
    const size_t split = input.find('\0');
    const auto titles = fuzz::lines(input.substr(0, split));
    const auto legacy = split == std::string_view::npos ? std::vector<std::string>{}
                                                        : fuzz::lines(input.substr(split + 1));
    bool legacyRead = false;
    const auto values = ProProfileUsageMenuParser::parse(titles, [&] {
        legacyRead = true;
        return legacy;
    });
    // The older layout is consulted only for nothing; what it gives is then the answer.
    if (legacyRead && values != ProProfileUsageMenuParser::parse(legacy)) {
        std::abort();
    }
    if (values) {
        fuzz::expectStableRoundTrip(*values);
    }
    return 0;
}
