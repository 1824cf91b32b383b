#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

// A notification center for tests and the simulator. It records what it is asked, answers
// permission requests from a script, and behaves as the system does afterwards: a granted request
// makes the status authorized, a refused one denied.
class FakeUserNotificationCenter final : public UserNotificationCenter {
  public:
    // When completions run. `synchronous`: inside the call. `mainQueue`: as a main-queue item,
    // like a system answer that arrives later. `held`: only when `releaseHeldCompletions` is
    // called, so a test can interleave other work before an answer arrives.
    enum class CompletionDelivery { synchronous, mainQueue, held };

    struct AuthorizationAnswer {
        bool granted = true;
        std::optional<std::string> error;
    };

    FakeUserNotificationCenter() = default;
    explicit FakeUserNotificationCenter(MainQueue& mainQueue)
        : mainQueue_(&mainQueue), delivery_(CompletionDelivery::mainQueue) {}

    void setCompletionDelivery(CompletionDelivery delivery) { delivery_ = delivery; }
    void setAuthorizationStatus(NotificationAuthorizationStatus status) { status_ = status; }
    NotificationAuthorizationStatus authorizationStatus() const { return status_; }
    // Answers given in order; once the script is used up every request is granted.
    void scriptAuthorizationAnswers(std::vector<AuthorizationAnswer> answers);
    // Reported by every later `add`; the request is still recorded.
    void setAddError(std::optional<std::string> error) { addError_ = std::move(error); }

    // Runs the held completions in the order they were made; returns how many ran.
    std::size_t releaseHeldCompletions();
    std::size_t heldCompletionCount() const { return held_.size(); }

    const std::vector<NotificationRequest>& requests() const { return requests_; }
    std::size_t settingsQueryCount() const { return settingsQueries_; }
    // The options of every permission request, in order.
    const std::vector<uint32_t>& authorizationRequests() const { return authorizationRequests_; }

    void getNotificationSettings(
        std::function<void(NotificationAuthorizationStatus)> completion) override;
    void requestAuthorization(
        uint32_t options,
        std::function<void(bool granted, std::optional<std::string> error)> completion) override;
    void add(const NotificationRequest& request,
             std::function<void(std::optional<std::string> error)> completion) override;
    void presentWhileActive(uint32_t presentationOptions) override {
        presentationWhileActive_ = presentationOptions;
    }
    // What the app asked to be shown while it is active; none until it asked.
    std::optional<uint32_t> presentationWhileActive() const { return presentationWhileActive_; }

  private:
    void complete(std::function<void()> completion);

    MainQueue* mainQueue_ = nullptr;
    CompletionDelivery delivery_ = CompletionDelivery::synchronous;
    NotificationAuthorizationStatus status_ = NotificationAuthorizationStatus::notDetermined;
    std::deque<AuthorizationAnswer> answers_;
    std::optional<std::string> addError_;
    std::deque<std::function<void()>> held_;
    std::vector<NotificationRequest> requests_;
    std::size_t settingsQueries_ = 0;
    std::vector<uint32_t> authorizationRequests_;
    std::optional<uint32_t> presentationWhileActive_;
};

}  // namespace gaugely
