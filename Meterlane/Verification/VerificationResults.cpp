#include "Meterlane/Verification/VerificationResults.h"

namespace gaugely {

namespace {

// Readers: each leaves `out` as it was when the key is missing or of another type.
void read(const Json& object, std::string_view key, std::string& out) {
    if (auto value = jsonString(object, key)) {
        out = std::move(*value);
    }
}

void read(const Json& object, std::string_view key, bool& out) {
    if (const auto value = jsonBool(object, key)) {
        out = *value;
    }
}

void read(const Json& object, std::string_view key, double& out) {
    if (const auto value = jsonNumber(object, key)) {
        out = *value;
    }
}

void read(const Json& object, std::string_view key, std::size_t& out) {
    if (const auto value = jsonInteger(object, key); value && *value >= 0) {
        out = static_cast<std::size_t>(*value);
    }
}

void read(const Json& object, std::string_view key, long& out) {
    if (const auto value = jsonInteger(object, key)) {
        out = static_cast<long>(*value);
    }
}

template <class T>
void read(const Json& object, std::string_view key, std::optional<T>& out) {
    if (jsonMember(object, key)) {
        T value{};
        read(object, key, value);
        out = std::move(value);
    }
}

void read(const Json& object, std::string_view key, std::vector<std::string>& out) {
    const Json* list = jsonMember(object, key);
    if (!list || !list->is_array()) {
        return;
    }
    out.clear();
    for (const Json& entry : *list) {
        if (entry.is_string()) {
            out.push_back(entry.get<std::string>());
        }
    }
}

template <class E>
void readCase(const Json& object, std::string_view key, E& out) {
    if (const auto raw = jsonString(object, key)) {
        if (const auto value = fromRawValue<E>(*raw)) {
            out = *value;
        }
    }
}

// Each element of a list of objects, decoded by `decode`.
template <class T, class Decode>
void readList(const Json& object, std::string_view key, std::vector<T>& out, Decode decode) {
    const Json* list = jsonMember(object, key);
    if (!list || !list->is_array()) {
        return;
    }
    out.clear();
    for (const Json& entry : *list) {
        if (entry.is_object()) {
            out.push_back(decode(entry));
        }
    }
}

template <class T, class Decode>
void readObject(const Json& object, std::string_view key, std::optional<T>& out, Decode decode) {
    if (const Json* member = jsonMember(object, key); member && member->is_object()) {
        out = decode(*member);
    }
}

template <class T>
void put(Json& object, const char* key, const std::optional<T>& value) {
    if (value) {
        object[key] = *value;
    }
}

Json encode(const SystemFacts& facts) {
    Json json = {
        {"macOSVersion", facts.macOSVersion}, {"macOSBuild", facts.macOSBuild},
        {"architecture", facts.architecture}, {"translated", facts.translated},
        {"codexRunning", facts.codexRunning}, {"gaugelyVersion", facts.gaugelyVersion},
        {"gaugelyBuild", facts.gaugelyBuild}, {"bundleIdentifier", facts.bundleIdentifier},
        {"bundlePath", facts.bundlePath},     {"notificationSettings", facts.notificationSettings}};
    put(json, "codexVersion", facts.codexVersion);
    put(json, "codexBuild", facts.codexBuild);
    put(json, "sparkleVersion", facts.sparkleVersion);
    return json;
}

SystemFacts decodeSystem(const Json& json) {
    SystemFacts facts;
    read(json, "macOSVersion", facts.macOSVersion);
    read(json, "macOSBuild", facts.macOSBuild);
    read(json, "architecture", facts.architecture);
    read(json, "translated", facts.translated);
    read(json, "codexVersion", facts.codexVersion);
    read(json, "codexBuild", facts.codexBuild);
    read(json, "codexRunning", facts.codexRunning);
    read(json, "gaugelyVersion", facts.gaugelyVersion);
    read(json, "gaugelyBuild", facts.gaugelyBuild);
    read(json, "bundleIdentifier", facts.bundleIdentifier);
    read(json, "bundlePath", facts.bundlePath);
    read(json, "sparkleVersion", facts.sparkleVersion);
    read(json, "notificationSettings", facts.notificationSettings);
    return facts;
}

Json encode(const PermissionStates& states) {
    return {{"accessibility", states.accessibility},
            {"inputMonitoring", states.inputMonitoring},
            {"notifications", rawValue(states.notifications)},
            {"loginItem", rawValue(states.loginItem)}};
}

PermissionStates decodePermissions(const Json& json) {
    PermissionStates states;
    read(json, "accessibility", states.accessibility);
    read(json, "inputMonitoring", states.inputMonitoring);
    readCase(json, "notifications", states.notifications);
    readCase(json, "loginItem", states.loginItem);
    return states;
}

Json encode(const TreePlace& place) {
    return {{"roles", place.roles}, {"reachesApplication", place.reachesApplication}};
}

TreePlace decodePlace(const Json& json) {
    TreePlace place;
    read(json, "roles", place.roles);
    read(json, "reachesApplication", place.reachesApplication);
    return place;
}

Json encode(const TreeSurvey& survey) {
    Json roles = Json::array();
    for (const auto& [role, count] : survey.roles) {
        roles.push_back({{"role", role}, {"count", count}});
    }
    Json json = {{"elements", survey.elements},
                 {"capped", survey.capped},
                 {"budget", survey.budget},
                 {"webContentElements", survey.webContentElements},
                 {"axurlAnswered", survey.axurlAnswered},
                 {"axurlKept", survey.axurlKept},
                 {"roles", roles}};
    if (survey.profileControl) {
        json["profileControl"] = encode(*survey.profileControl);
    }
    put(json, "manualAccessibilityAnswer", survey.manualAccessibilityAnswer);
    return json;
}

TreeSurvey decodeTree(const Json& json) {
    TreeSurvey survey;
    read(json, "elements", survey.elements);
    read(json, "capped", survey.capped);
    read(json, "budget", survey.budget);
    read(json, "webContentElements", survey.webContentElements);
    read(json, "axurlAnswered", survey.axurlAnswered);
    read(json, "axurlKept", survey.axurlKept);
    readObject(json, "profileControl", survey.profileControl, decodePlace);
    if (const auto answer = jsonInteger(json, "manualAccessibilityAnswer")) {
        survey.manualAccessibilityAnswer = static_cast<int32_t>(*answer);
    }
    readList(json, "roles", survey.roles, [](const Json& entry) {
        std::pair<std::string, std::size_t> role;
        read(entry, "role", role.first);
        read(entry, "count", role.second);
        return role;
    });
    return survey;
}

Json encode(const LatencySummary& summary) {
    return {{"calls", summary.calls},
            {"median", summary.median},
            {"p95", summary.p95},
            {"max", summary.max},
            {"total", summary.total}};
}

LatencySummary decodeLatency(const Json& json) {
    LatencySummary summary;
    read(json, "calls", summary.calls);
    read(json, "median", summary.median);
    read(json, "p95", summary.p95);
    read(json, "max", summary.max);
    read(json, "total", summary.total);
    return summary;
}

Json encode(const RefreshCost& cost) {
    return {{"roundTrips", cost.roundTrips},
            {"blockedSeconds", cost.blockedSeconds},
            {"requestToEndSeconds", cost.requestToEndSeconds},
            {"menuDwellSeconds", cost.menuDwellSeconds},
            {"roundTripsWhileMenuOpen", cost.roundTripsWhileMenuOpen},
            {"committed", cost.committed}};
}

RefreshCost decodeCost(const Json& json) {
    RefreshCost cost;
    read(json, "roundTrips", cost.roundTrips);
    read(json, "blockedSeconds", cost.blockedSeconds);
    read(json, "requestToEndSeconds", cost.requestToEndSeconds);
    read(json, "menuDwellSeconds", cost.menuDwellSeconds);
    read(json, "roundTripsWhileMenuOpen", cost.roundTripsWhileMenuOpen);
    read(json, "committed", cost.committed);
    return cost;
}

Json encode(const KeptRefreshTrace& trace) {
    Json json = {{"identifier", trace.identifier}, {"kind", trace.kind}, {"lines", trace.lines}};
    put(json, "outcome", trace.outcome);
    put(json, "endedAtMilliseconds", trace.endedAtMilliseconds);
    put(json, "menuDwellMilliseconds", trace.menuDwellMilliseconds);
    return json;
}

KeptRefreshTrace decodeTrace(const Json& json) {
    KeptRefreshTrace trace;
    read(json, "identifier", trace.identifier);
    read(json, "kind", trace.kind);
    read(json, "lines", trace.lines);
    read(json, "outcome", trace.outcome);
    read(json, "endedAtMilliseconds", trace.endedAtMilliseconds);
    read(json, "menuDwellMilliseconds", trace.menuDwellMilliseconds);
    return trace;
}

Json encode(const RefreshObservation& refresh) {
    Json json = {{"outcome", refresh.outcome},
                 {"committed", refresh.committed},
                 {"roundTrips", refresh.roundTrips},
                 {"accessibilitySeconds", refresh.accessibilitySeconds},
                 {"requestToEndSeconds", refresh.requestToEndSeconds}};
    put(json, "menuDwellMilliseconds", refresh.menuDwellMilliseconds);
    if (refresh.menuPlace) {
        json["menuPlace"] = encode(*refresh.menuPlace);
    }
    if (refresh.trace) {
        json["trace"] = encode(*refresh.trace);
    }
    return json;
}

RefreshObservation decodeRefresh(const Json& json) {
    RefreshObservation refresh;
    read(json, "outcome", refresh.outcome);
    read(json, "committed", refresh.committed);
    read(json, "roundTrips", refresh.roundTrips);
    read(json, "accessibilitySeconds", refresh.accessibilitySeconds);
    read(json, "requestToEndSeconds", refresh.requestToEndSeconds);
    read(json, "menuDwellMilliseconds", refresh.menuDwellMilliseconds);
    readObject(json, "menuPlace", refresh.menuPlace, decodePlace);
    readObject(json, "trace", refresh.trace, decodeTrace);
    return refresh;
}

Json encode(const Findings& findings) {
    Json json = Json::object();
    for (const auto& [id, result] : findings) {
        json[id] = {{"status", rawValue(result.status)}, {"detail", result.detail}};
    }
    return json;
}

Findings decodeFindings(const Json& json) {
    Findings findings;
    for (const auto& [id, entry] : json.items()) {
        if (!entry.is_object()) {
            continue;
        }
        FindingResult result;
        readCase(entry, "status", result.status);
        read(entry, "detail", result.detail);
        findings[id] = std::move(result);
    }
    return findings;
}

}  // namespace

Json VerificationResults::toJson() const {
    Json json = {{"placeholder", placeholder}, {"createdAt", createdAt}};
    if (system) {
        json["system"] = encode(*system);
    }
    if (permissions) {
        json["permissions"] = encode(*permissions);
    }
    if (tree) {
        json["tree"] = encode(*tree);
    }
    json["treeFixture"] = treeFixture;
    Json calls = Json::array();
    for (const CallLatency& call : latency) {
        Json entry = encode(call.summary);
        entry["call"] = call.call;
        calls.push_back(std::move(entry));
    }
    json["latency"] = std::move(calls);
    if (roundTripLatency) {
        json["roundTripLatency"] = encode(*roundTripLatency);
    }
    Json rows = Json::array();
    for (const ProjectionRow& row : projections) {
        rows.push_back({{"basis", row.basis},
                        {"secondsPerRoundTrip", row.projection.secondsPerRoundTrip},
                        {"webContentElements", row.projection.webContentElements},
                        {"first", encode(row.projection.first)},
                        {"later", encode(row.projection.later)}});
    }
    json["projections"] = std::move(rows);
    if (refresh) {
        json["refresh"] = encode(*refresh);
    }
    Json stages = Json::array();
    for (const UpdateStageResult& stage : updates) {
        stages.push_back({{"id", stage.id},
                          {"title", stage.title},
                          {"events", stage.events},
                          {"outcome", stage.outcome}});
    }
    json["updates"] = std::move(stages);
    json["findings"] = encode(findings);
    json["notes"] = notes;
    return json;
}

std::optional<VerificationResults> VerificationResults::fromJson(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    VerificationResults results;
    read(json, "placeholder", results.placeholder);
    read(json, "createdAt", results.createdAt);
    readObject(json, "system", results.system, decodeSystem);
    readObject(json, "permissions", results.permissions, decodePermissions);
    readObject(json, "tree", results.tree, decodeTree);
    read(json, "treeFixture", results.treeFixture);
    readList(json, "latency", results.latency, [](const Json& entry) {
        CallLatency call{{}, decodeLatency(entry)};
        read(entry, "call", call.call);
        return call;
    });
    readObject(json, "roundTripLatency", results.roundTripLatency, decodeLatency);
    readList(json, "projections", results.projections, [](const Json& entry) {
        ProjectionRow row;
        read(entry, "basis", row.basis);
        read(entry, "secondsPerRoundTrip", row.projection.secondsPerRoundTrip);
        read(entry, "webContentElements", row.projection.webContentElements);
        if (const Json* first = jsonMember(entry, "first"); first && first->is_object()) {
            row.projection.first = decodeCost(*first);
        }
        if (const Json* later = jsonMember(entry, "later"); later && later->is_object()) {
            row.projection.later = decodeCost(*later);
        }
        return row;
    });
    readObject(json, "refresh", results.refresh, decodeRefresh);
    readList(json, "updates", results.updates, [](const Json& entry) {
        UpdateStageResult stage;
        read(entry, "id", stage.id);
        read(entry, "title", stage.title);
        read(entry, "events", stage.events);
        read(entry, "outcome", stage.outcome);
        return stage;
    });
    if (const Json* findings = jsonMember(json, "findings"); findings && findings->is_object()) {
        results.findings = decodeFindings(*findings);
    }
    read(json, "notes", results.notes);
    return results;
}

void VerificationResults::merge(const VerificationResults& other) {
    for (const auto& [id, result] : other.findings) {
        findings[id] = result;
    }
    notes.insert(notes.end(), other.notes.begin(), other.notes.end());
}

}  // namespace gaugely
