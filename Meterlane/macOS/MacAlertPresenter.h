#pragma once

#include "Meterlane/Platform/AlertPresenter.h"

namespace gaugely {

// The alert port over NSAlert: buttons in order, a 260 × 26 pop-up as the accessory view when the
// request has choices. Main thread only; runs a modal session, so it must be started from the run
// loop's own work (`MainQueue::performOnRunLoop`), never from a main-queue item, or the queue
// stops until the alert closes.
class MacAlertPresenter final : public AlertPresenter {
  public:
    AlertResponse runModal(const AlertRequest& request) override;
};

}  // namespace gaugely
