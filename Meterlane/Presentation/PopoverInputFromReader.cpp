#include "Meterlane/Presentation/PopoverInputFromReader.h"

#include "Meterlane/Presentation/StatusPresentation.h"

namespace gaugely {

PopoverInput popoverInput(const UsageReader& reader) {
    PopoverInput input;
    input.plan = reader.codexPlan();
    input.hasExplicitPlanSelection = reader.hasExplicitPlanSelection();
    input.accessibilityGranted = reader.accessibilityGranted();
    input.presentationState = reader.usageSnapshotPresentationState();
    input.currentDisplaySnapshot = reader.currentDisplaySnapshot();
    input.currentDisplayLastUpdated = reader.currentDisplayLastUpdated();
    input.source = reader.snapshotSource();
    for (const auto& [window, resetAt] : reader.windowsShownAsReset()) {
        input.windowsShownAsReset.insert(window);
    }
    for (const QuotaWindow window : allCases<QuotaWindow>()) {
        input.usagePace[window] = reader.usagePace(window);
        if (const auto resetsAt = reader.windowResetsAt(window)) {
            input.resetsAt[window] = *resetsAt;
        }
    }
    input.statusMessage = userFacingStatusMessage(reader);
    input.refreshFrequency = reader.refreshFrequency();
    input.automaticRefreshEnabled = reader.automaticRefreshEnabled();
    input.automaticRefreshIsPending = reader.automaticRefreshIsPending();
    input.nextAutomaticRefreshDate = reader.nextAutomaticRefreshDate();
    return input;
}

}  // namespace gaugely
