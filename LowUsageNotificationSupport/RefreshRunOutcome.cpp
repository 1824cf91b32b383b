#include "LowUsageNotificationSupport/RefreshRunOutcome.h"

namespace gaugely {

std::string RefreshRunOutcome::logText(RefreshCleanupResult cleanup) const {
    switch (kind) {
        case Kind::deferred:
            return "deferred — " + reason;
        case Kind::failed:
            return "failed — " + reason;
        case Kind::committed:
            return "success — snapshot committed; cleanup " + std::string(rawValue(cleanup));
        case Kind::cleanupUncertain:
            return "cleanup uncertain — valid snapshot committed";
    }
    return {};
}

}  // namespace gaugely
