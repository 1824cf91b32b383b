#include "LowUsageNotificationSupport/MenuBarDisplay.h"

#include <algorithm>

namespace gaugely {

const std::vector<MenuBarDisplay>& availableChoices(QuotaSchema schema) {
    static const std::vector<MenuBarDisplay> singleWindow{
        MenuBarDisplay::standard, MenuBarDisplay::compact, MenuBarDisplay::minimal};
    static const std::vector<MenuBarDisplay> every{
        MenuBarDisplay::standard, MenuBarDisplay::compact, MenuBarDisplay::minimal,
        MenuBarDisplay::fiveHourOnly, MenuBarDisplay::weeklyOnly};
    switch (schema) {
        case QuotaSchema::monthlyOnly:
        case QuotaSchema::proGeneralWeeklyPercentageOnly:
            return singleWindow;
        case QuotaSchema::dualWindow:
        case QuotaSchema::weeklyOnly:
            return every;
    }
    return singleWindow;
}

MenuBarDisplay compatibleChoice(MenuBarDisplay display, QuotaSchema schema) {
    const auto& choices = availableChoices(schema);
    return std::find(choices.begin(), choices.end(), display) != choices.end()
               ? display
               : MenuBarDisplay::standard;
}

}  // namespace gaugely
