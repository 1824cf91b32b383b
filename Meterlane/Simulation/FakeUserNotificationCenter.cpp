#include "Meterlane/Simulation/FakeUserNotificationCenter.h"

namespace gaugely {

void FakeUserNotificationCenter::scriptAuthorizationAnswers(
    std::vector<AuthorizationAnswer> answers) {
    answers_.assign(answers.begin(), answers.end());
}

void FakeUserNotificationCenter::complete(std::function<void()> completion) {
    switch (delivery_) {
        case CompletionDelivery::synchronous:
            completion();
            return;
        case CompletionDelivery::mainQueue:
            if (mainQueue_ != nullptr) {
                mainQueue_->post(std::move(completion));
                return;
            }
            completion();
            return;
        case CompletionDelivery::held:
            held_.push_back(std::move(completion));
            return;
    }
}

std::size_t FakeUserNotificationCenter::releaseHeldCompletions() {
    std::size_t count = 0;
    // A completion may start new calls that are held in turn; those wait for the next release.
    std::deque<std::function<void()>> batch;
    batch.swap(held_);
    for (auto& completion : batch) {
        completion();
        ++count;
    }
    return count;
}

void FakeUserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
    ++settingsQueries_;
    // The status is read when the answer is given, as the system does.
    complete([this, completion = std::move(completion)] { completion(status_); });
}

void FakeUserNotificationCenter::requestAuthorization(
    uint32_t options,
    std::function<void(bool granted, std::optional<std::string> error)> completion) {
    authorizationRequests_.push_back(options);
    complete([this, completion = std::move(completion)] {
        // The system asks only while the user has not answered; afterwards it repeats the answer.
        AuthorizationAnswer answer{status_ == NotificationAuthorizationStatus::authorized ||
                                       status_ == NotificationAuthorizationStatus::provisional,
                                   std::nullopt};
        if (status_ == NotificationAuthorizationStatus::notDetermined) {
            if (!answers_.empty()) {
                answer = answers_.front();
                answers_.pop_front();
            } else {
                answer = AuthorizationAnswer{true, std::nullopt};
            }
            status_ = answer.granted ? NotificationAuthorizationStatus::authorized
                                     : NotificationAuthorizationStatus::denied;
        }
        completion(answer.granted, answer.error);
    });
}

void FakeUserNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string> error)> completion) {
    requests_.push_back(request);
    complete([error = addError_, completion = std::move(completion)] { completion(error); });
}

}  // namespace gaugely
