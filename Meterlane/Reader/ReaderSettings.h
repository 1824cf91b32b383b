#pragma once

#include <functional>
#include <optional>
#include <string>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "LowUsageNotificationSupport/LowUsageAlertSettings.h"
#include "LowUsageNotificationSupport/MenuBarDisplay.h"
#include "LowUsageNotificationSupport/ModelObservers.h"
#include "LowUsageNotificationSupport/RefreshFrequency.h"
#include "LowUsageNotificationSupport/ResetNotificationSettings.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Reader/CodexLogSource.h"

namespace gaugely {

// The user's choices for the reader: the plan, automatic refresh and its frequency, the menu-bar
// format, the alerts, and reading Codex's logs. It restores them from the user defaults and
// writes each back the moment it changes; a value that cannot be read keeps its default and is
// never overwritten by the read. What a change sets in motion (a new schedule, a rebaseline, a
// new log source) is the reader's: each setter says whether anything changed. Main queue only.
class ReaderSettings {
  public:
    ReaderSettings(Preferences& preferences, ModelObservers& observers);
    ReaderSettings(const ReaderSettings&) = delete;
    ReaderSettings& operator=(const ReaderSettings&) = delete;

    // Reads every setting; the earlier forms of a stored value are rewritten in the current one.
    void restore();
    // A user who had a reading before plans were chosen keeps its plan, once.
    void migrateLegacyPlanSelection(std::optional<CodexPlan> legacySnapshotPlan);

    const CodexPlanSelectionState& planSelection() const { return planSelection_; }
    CodexPlan plan() const { return planSelection_.codexPlan(); }
    bool automaticRefreshEnabled() const { return automaticRefreshEnabled_; }
    RefreshFrequency refreshFrequency() const { return refreshFrequency_; }
    MenuBarDisplay menuBarDisplay() const { return menuBarDisplay_; }
    const LowUsageAlertSettings& lowUsageAlerts() const { return lowUsageAlerts_; }
    const ResetNotificationSettings& resetNotifications() const { return resetNotifications_; }
    bool codexLogsEnabled() const { return codexLogsEnabled_; }
    const std::string& codexLogsFolder() const { return codexLogsFolder_; }

    // True when the value changed: it is then published and stored.
    [[nodiscard]] bool selectPlan(CodexPlan plan);
    [[nodiscard]] bool setAutomaticRefreshEnabled(bool enabled);
    [[nodiscard]] bool setRefreshFrequency(RefreshFrequency frequency);
    // A format the plan does not offer is refused.
    [[nodiscard]] bool setMenuBarDisplay(MenuBarDisplay display);
    [[nodiscard]] bool setCodexLogsEnabled(bool enabled);
    // An empty folder is the default one.
    [[nodiscard]] bool setCodexLogsFolder(std::string folder);
    // These store the whole record even when nothing changed, as they always have.
    void changeLowUsageAlert(QuotaWindow window,
                             const std::function<void(LowUsageWindowAlertSettings&)>& change);
    void setResetNotificationsEnabled(bool enabled);

  private:
    void storeLowUsageAlerts();

    Preferences& preferences_;
    ModelObservers& observers_;

    CodexPlanSelectionState planSelection_;
    bool automaticRefreshEnabled_ = true;
    RefreshFrequency refreshFrequency_ = RefreshFrequency::oneMinute;
    MenuBarDisplay menuBarDisplay_ = MenuBarDisplay::standard;
    LowUsageAlertSettings lowUsageAlerts_;
    ResetNotificationSettings resetNotifications_;
    bool codexLogsEnabled_ = false;
    std::string codexLogsFolder_{defaultCodexFolder};
};

}  // namespace gaugely
