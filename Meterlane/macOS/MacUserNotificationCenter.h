#pragma once

#include <memory>

#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// The UserNotificationCenter port over the system's current notification center. Completions
// arrive on the system's queues; the core hops to the main queue itself. Needs an application
// bundle: the system refuses a bare command-line process.
class MacUserNotificationCenter final : public UserNotificationCenter {
  public:
    MacUserNotificationCenter();
    ~MacUserNotificationCenter() override;
    MacUserNotificationCenter(const MacUserNotificationCenter&) = delete;
    MacUserNotificationCenter& operator=(const MacUserNotificationCenter&) = delete;

    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;
    // Becomes the system center's delegate, which answers "how to show this" while the app is
    // active; the center holds its delegate weakly, so this object keeps it.
    void presentWhileActive(uint32_t presentationOptions) override;

  private:
    struct Objects;
    std::unique_ptr<Objects> objects_;
};

}  // namespace gaugely
