#pragma once

// Everything one verification run found, in one value: the app writes it as JSON when its checks
// end, the script adds its own findings, and the report is rendered from it. Decoding keeps the
// defaults for whatever it cannot read, so a report is still written from a partial file.

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Simulation/RefreshProjection.h"
#include "Meterlane/Verification/LatencyStatistics.h"
#include "Meterlane/Verification/MacFacts.h"
#include "Meterlane/Verification/RefreshTraceRecorder.h"
#include "Meterlane/Verification/TreeSurvey.h"

namespace gaugely {

// `observed`: the run recorded an answer that is neither right nor wrong (what a preflight says).
enum class FindingStatus { confirmed, failed, observed, notRun };

template <>
struct EnumTraits<FindingStatus> {
    static constexpr std::array<std::pair<FindingStatus, std::string_view>, 4> cases{{
        {FindingStatus::confirmed, "confirmed"},
        {FindingStatus::failed, "failed"},
        {FindingStatus::observed, "observed"},
        {FindingStatus::notRun, "notRun"},
    }};
};

struct FindingResult {
    FindingStatus status = FindingStatus::notRun;
    std::string detail;

    bool operator==(const FindingResult&) const = default;
};

using Findings = std::map<std::string, FindingResult, std::less<>>;

struct RefreshObservation {
    std::string outcome;
    bool committed = false;
    std::size_t roundTrips = 0;
    // Time spent inside accessibility calls.
    double accessibilitySeconds = 0;
    double requestToEndSeconds = 0;
    std::optional<long> menuDwellMilliseconds;
    std::optional<TreePlace> menuPlace;
    std::optional<KeptRefreshTrace> trace;

    bool operator==(const RefreshObservation&) const = default;
};

struct ProjectionRow {
    // What latency the row assumes: "median", "95th percentile".
    std::string basis;
    RefreshProjection projection;
};

struct UpdateStageResult {
    std::string id;
    std::string title;
    std::vector<std::string> events;
    std::string outcome;

    bool operator==(const UpdateStageResult&) const = default;
};

struct VerificationResults {
    // Made up, for the dry run's rendering of the template.
    bool placeholder = false;
    std::string createdAt;
    std::optional<SystemFacts> system;
    std::optional<PermissionStates> permissions;
    std::optional<TreeSurvey> tree;
    // The recording, redacted, in the fixture text the tests replay.
    std::string treeFixture;
    std::vector<CallLatency> latency;
    std::optional<LatencySummary> roundTripLatency;
    std::vector<ProjectionRow> projections;
    std::optional<RefreshObservation> refresh;
    std::vector<UpdateStageResult> updates;
    Findings findings;
    // Why a step did not run, or what else the run noticed.
    std::vector<std::string> notes;

    [[nodiscard]] Json toJson() const;
    // None unless the text is a JSON object; any field it cannot read keeps its default.
    [[nodiscard]] static std::optional<VerificationResults> fromJson(const Json& json);

    // The script's findings and notes, added to (and overriding) the app's.
    void merge(const VerificationResults& other);
};

}  // namespace gaugely
