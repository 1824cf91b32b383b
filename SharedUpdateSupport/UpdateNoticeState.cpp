#include "SharedUpdateSupport/UpdateNoticeState.h"

#include <cmath>

#include "SharedUpdateSupport/BuildNumber.h"
#include "SharedUpdateSupport/UpdateRecordFields.h"

namespace gaugely {

void UpdateNoticeState::discover(const UpdateOffer& newOffer, std::string_view currentBuild) {
    const auto offered = readBuildNumber(newOffer.build);
    const auto running = readBuildNumber(currentBuild);
    if (offered && running && *running < *offered) {
        offer = newOffer;
    }
}

void UpdateNoticeState::handleOffer() {
    if (!offer) {
        return;
    }
    const uint64_t offered = readBuildNumber(offer->build).value_or(0);
    if (!handledBuild) {
        if (offered != 0) {
            handledBuild = offer->build;
        }
        return;
    }
    const auto handled = readBuildNumber(*handledBuild);
    if (handled ? *handled < offered : offered != 0) {
        handledBuild = offer->build;
    }
}

bool UpdateNoticeState::backgroundCheckDue(Date at) const {
    return !lastCheckAttempt ||
           std::fabs(at.timeIntervalSince(*lastCheckAttempt)) >= backgroundCheckInterval;
}

bool UpdateNoticeState::hasUnhandledUpdate() const {
    if (!offer) {
        return false;
    }
    const auto offered = readBuildNumber(offer->build);
    if (!offered) {
        return false;
    }
    if (!handledBuild) {
        return *offered > 0;
    }
    return readBuildNumber(*handledBuild).value_or(0) < *offered;
}

Json UpdateNoticeState::toJson() const {
    Json json = Json::object();
    if (offer) {
        json["offer"] = offer->toJson();
    }
    if (handledBuild) {
        json["handledBuild"] = *handledBuild;
    }
    if (lastCheckAttempt) {
        json["lastCheckAttempt"] = lastCheckAttempt->timeIntervalSinceReferenceDate;
    }
    return json;
}

std::optional<UpdateNoticeState> UpdateNoticeState::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    UpdateNoticeState state;
    if (!isAbsentOrNull(json, "offer")) {
        state.offer = UpdateOffer::fromJson(*jsonMember(json, "offer"));
        if (!state.offer) {
            return std::nullopt;
        }
    }
    if (!isAbsentOrNull(json, "handledBuild")) {
        state.handledBuild = jsonString(json, "handledBuild");
        if (!state.handledBuild) {
            return std::nullopt;
        }
    }
    if (!isAbsentOrNull(json, "lastCheckAttempt")) {
        state.lastCheckAttempt = updateRecordDate(json, "lastCheckAttempt");
        if (!state.lastCheckAttempt) {
            return std::nullopt;
        }
    }
    return state;
}

}  // namespace gaugely
