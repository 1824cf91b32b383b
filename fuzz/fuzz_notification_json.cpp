// Notification settings and state records, and the preferences file they may live in, come from
// storage the user (or another version) may have changed: any bytes must decode without crashing,
// whatever decodes must survive a write and a re-read unchanged, and a decoded state must take
// new readings without misbehaving.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/LowUsageThresholdState.h"
#include "LowUsageNotificationSupport/QuotaResetState.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "Meterlane/Posix/PreferencesDocument.h"

namespace {

using namespace gaugely;

template <class T>
std::optional<T> checkRoundTrip(std::string_view text) {
    const auto decoded = decodeJson<T>(text);
    if (!decoded) {
        return std::nullopt;
    }
    const auto again = decodeJson<T>(encodeJson(*decoded));
    if (!again || !(*again == *decoded)) {
        std::abort();
    }
    return decoded;
}

void checkPreferencesDocument(std::string_view text) {
    const auto decoded = decodePreferencesDocument(text);
    if (!decoded) {
        return;
    }
    const auto again = decodePreferencesDocument(encodePreferencesDocument(*decoded));
    if (!again || !(*again == *decoded)) {
        std::abort();
    }
}

std::vector<std::pair<QuotaWindow, int>> readingsFrom(std::string_view text) {
    std::vector<std::pair<QuotaWindow, int>> readings;
    for (std::size_t i = 0; i < text.size() && readings.size() < 3; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        readings.emplace_back(allCases<QuotaWindow>()[byte % 3], byte % 101);
    }
    return readings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto readings = readingsFrom(text);

    const auto settings =
        checkRoundTrip<LowUsageAlertSettings>(text).value_or(LowUsageAlertSettings{});
    if (auto state = checkRoundTrip<LowUsageThresholdState>(text)) {
        state->recordCommittedPercentages("plus", readings, settings, Date{800000000});
        state->rebaseline("plus", readings, settings, std::nullopt, false);
        state->invalidate("plus");
    }
    const auto resetSettings = checkRoundTrip<ResetNotificationSettings>(text);
    if (auto state = checkRoundTrip<QuotaResetState>(text)) {
        state->recordCommittedPercentages("freeGo", readings,
                                          resetSettings.value_or(ResetNotificationSettings{}));
        state->invalidate("freeGo");
    }
    checkPreferencesDocument(text);
    const auto bytes = base64Decoded(text);
    if (bytes && base64Encoded(*bytes) != text) {
        std::abort();
    }
    return 0;
}
