#include "Meterlane/Reader/UsageReader.h"

#include <algorithm>
#include <cmath>

namespace gaugely {

UsageReader::UsageReader(ReaderEnvironment environment)
    : env_(std::move(environment)),
      search_(env_.accessibility, env_.workspace),
      notificationDispatcher_(UsageNotificationDispatcher::create(
          env_.notificationCenter, env_.mainQueue,
          env_.makeUUID ? UUIDSource(env_.makeUUID) : UUIDSource(&randomUUIDString))),
      ledger_(env_.preferences, env_.log, observers_, settings_, *notificationDispatcher_,
              [this](const UsageReading& reading, UsageSource source, Date at) {
                  readingCommitted(reading, source, at);
              }),
      alive_(std::make_shared<UsageReader*>(this)) {
    settings_.restore();
    refreshPermission(false);
    codexFound_ = search_.findCodexApplication().has_value();
    ledger_.restore();
    settings_.migrateLegacyPlanSelection(ledger_.legacySnapshotPlan());
    ledger_.present(codexPlan());
    scheduler_.restorePersistedAutomaticRefreshDate();
    scheduler_.startAutomaticRefresh();
    scheduler_.observeWorkspaceWake();
    scheduler_.observeApplicationActivation();
}

UsageReader::~UsageReader() {
    *alive_ = nullptr;
    codexLogSource_.reset();
    // The runs go first: what they hold reaches into the reader.
    activeRun_.reset();
    endedRuns_.clear();
}

bool UsageReader::refreshPermission(bool requestPrompt) {
    auto changes = changeSet();
    const bool trusted = env_.accessibility.isProcessTrusted(requestPrompt);
    accessibilityGuidanceState_.updateTrust(trusted);
    publish(accessibilityGranted_, trusted);
    publish(accessibilityGuidanceIsEligible_, accessibilityGuidanceState_.isGuidanceEligible());
    return trusted;
}

bool UsageReader::refreshInputMonitoringPermission(bool requestPrompt) {
    const bool permitted = requestPrompt ? env_.input.requestListenEventAccess()
                                         : env_.input.preflightListenEventAccess();
    publish(inputMonitoringUnavailable_, !permitted);
    return permitted;
}

void UsageReader::dismissAccessibilityGuidanceForCurrentSession() {
    accessibilityGuidanceState_.dismissForCurrentSession();
    publish(accessibilityGuidanceIsEligible_, accessibilityGuidanceState_.isGuidanceEligible());
}

AXElement UsageReader::applicationElement(const RunningApplication& codex) {
    return search_.applicationElement(codex);
}

QuotaSchema UsageReader::currentSchema() const {
    return PlanQuotaConfiguration::configuration(codexPlan()).schema;
}

}  // namespace gaugely
