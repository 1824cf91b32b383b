// Appcasts are written by hand and served from the network: any bytes must be read or refused in
// bounded memory, and every item read must go through the production rule without misbehaving.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "SharedUpdateSupport/AppcastReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace gaugely;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto result =
        readAppcast(text, "https://updates.example.com/updates/gaugely/appcast.xml");
    if (const auto* items = std::get_if<std::vector<AppcastItem>>(&result)) {
        for (const AppcastItem& item : *items) {
            (void)productionItemRefusal(item.candidate, "updates.example.com");
        }
    }
    return 0;
}
