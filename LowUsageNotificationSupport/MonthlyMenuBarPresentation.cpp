#include "LowUsageNotificationSupport/MonthlyMenuBarPresentation.h"

#include "LowUsageNotificationSupport/Text.h"

namespace gaugely {

std::string summary(std::string_view percentage, MonthlyMenuBarPresentation presentation) {
    switch (presentation) {
        case MonthlyMenuBarPresentation::standard:
            return "M " + std::string(percentage);
        case MonthlyMenuBarPresentation::compact:
            return std::string(percentage);
        case MonthlyMenuBarPresentation::minimal:
            return text::replacingAll(percentage, "%", "");
    }
    return std::string(percentage);
}

}  // namespace gaugely
