#include "Meterlane/Reader/ProfileMenuMemory.h"

#include "Meterlane/Platform/StoredValue.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

Json StoredProfileMenuLocation::toJson() const {
    Json steps = Json::array();
    for (const ProfileMenuPathStep& step : containers) {
        Json entry = Json::object();
        entry["index"] = step.index;
        entry["role"] = step.role;
        steps.push_back(std::move(entry));
    }
    Json json = Json::object();
    json["codexVersion"] = codexVersion;
    json["containers"] = std::move(steps);
    return json;
}

std::optional<StoredProfileMenuLocation> StoredProfileMenuLocation::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto version = jsonString(json, "codexVersion");
    const Json* steps = jsonMember(json, "containers");
    if (!version || version->empty() || steps == nullptr || !steps->is_array() ||
        steps->size() > maximumDepth) {
        return std::nullopt;
    }
    StoredProfileMenuLocation result;
    result.codexVersion = *version;
    for (const Json& entry : *steps) {
        const auto index = entry.is_object() ? jsonInteger(entry, "index") : std::nullopt;
        const auto role = entry.is_object() ? jsonString(entry, "role") : std::nullopt;
        if (!index || *index < 0 || !role || role->empty()) {
            return std::nullopt;
        }
        result.containers.push_back({static_cast<std::size_t>(*index), *role});
    }
    return result;
}

std::optional<std::string> applicationVersionText(const BundleInformation& bundle) {
    const std::string version = bundle.shortVersion();
    const std::string build = bundle.buildVersion();
    if (version.empty() && build.empty()) {
        return std::nullopt;
    }
    if (version.empty() || build.empty()) {
        return version.empty() ? build : version;
    }
    return version + " (" + build + ")";
}

ProfileMenuMemory::ProfileMenuMemory(Preferences& defaults, Workspace& workspace)
    : defaults_(defaults), workspace_(workspace) {
    stored_ = stored::record<StoredProfileMenuLocation>(defaults_, defaultsKey::profileMenuLocation)
                  .value;
}

const std::optional<std::string>& ProfileMenuMemory::versionOf(const RunningApplication& codex) {
    if (versionProcess_ == codex.processIdentifier) {
        return version_;
    }
    versionProcess_ = codex.processIdentifier;
    const auto bundle = workspace_.applicationBundle(codex.processIdentifier);
    version_ = bundle ? applicationVersionText(*bundle) : std::nullopt;
    // Unknown is not a change: the stored way stays for a process that says its version.
    if (stored_ && version_ && stored_->codexVersion != *version_) {
        stored_.reset();
        defaults_.remove(defaultsKey::profileMenuLocation);
    }
    return version_;
}

ProfileMenuMemory::Where ProfileMenuMemory::locate(const RunningApplication& codex) {
    const auto& version = versionOf(codex);
    if (handles_.known && handlesProcess_ == codex.processIdentifier) {
        return {&handles_, nullptr};
    }
    if (stored_ && version) {
        return {nullptr, &*stored_};
    }
    return {};
}

void ProfileMenuMemory::learn(const RunningApplication& codex, std::vector<AXElement> handles,
                              std::optional<std::vector<ProfileMenuPathStep>> path) {
    handles_ = ProfileMenuLocation{std::move(handles), true};
    handlesProcess_ = codex.processIdentifier;
    const auto& version = versionOf(codex);
    if (!version || !path || path->size() > StoredProfileMenuLocation::maximumDepth) {
        return;
    }
    StoredProfileMenuLocation learned{*version, std::move(*path)};
    if (stored_ == learned) {
        return;
    }
    defaults_.setData(defaultsKey::profileMenuLocation, encodeJson(learned));
    stored_ = std::move(learned);
}

}  // namespace gaugely
