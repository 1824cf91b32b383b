#include "LowUsageNotificationSupport/PlanSynchronizationState.h"

namespace gaugely {

Json PlanSynchronizationState::toJson() const {
    Json json = Json::object();
    json["requiresFreshSynchronization"] = requiresFreshSynchronization;
    return json;
}

std::optional<PlanSynchronizationState> PlanSynchronizationState::fromJson(const Json& json) {
    const std::optional<bool> required = jsonBool(json, "requiresFreshSynchronization");
    if (!required) {
        return std::nullopt;
    }
    return PlanSynchronizationState{*required};
}

}  // namespace gaugely
