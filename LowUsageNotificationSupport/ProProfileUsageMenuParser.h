#pragma once

#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Json.h"

namespace gaugely {

// The Pro plan's reading: the general weekly percentage only; Codex shows no reset time for it.
struct ProProfileUsageValues {
    std::string percentage;  // "40%"

    Json toJson() const;
    static std::optional<ProProfileUsageValues> fromJson(const Json& json);

    bool operator==(const ProProfileUsageValues&) const = default;
};

// Reads the Pro plan's percentage straight from the profile menu's item titles, falling back to
// the older layout with a "Usage" label.
struct ProProfileUsageMenuParser {
    // `legacyUsageText` (a callable giving the older layout's lines) is called only when no title
    // carries the value, because reading those lines costs Accessibility round trips. Two or more
    // matching titles give none even when they agree: we only show a value that is unambiguous.
    template <class LegacyUsageText>
    static std::optional<ProProfileUsageValues> parse(
        const std::vector<std::string>& profileMenuItemTitles, LegacyUsageText&& legacyUsageText) {
        const TitleReading reading = readTitles(profileMenuItemTitles);
        switch (reading.kind) {
            case TitleReading::ambiguous:
                return std::nullopt;
            case TitleReading::single:
                return ProProfileUsageValues{reading.percentage};
            case TitleReading::nothing:
                break;
        }
        const std::vector<std::string> legacyLines = legacyUsageText();
        return parse(legacyLines);
    }

    // The older layout: a "Usage" label followed, within three lines, by "NN% left".
    static std::optional<ProProfileUsageValues> parse(const std::vector<std::string>& orderedText);

  private:
    struct TitleReading {
        enum Kind { nothing, single, ambiguous } kind = nothing;
        std::string percentage;
    };
    static TitleReading readTitles(const std::vector<std::string>& profileMenuItemTitles);
};

}  // namespace gaugely
