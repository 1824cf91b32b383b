#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "LowUsageNotificationSupport/ModelObservers.h"
#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// The main queue as a refresh run sees it: each piece of work it schedules runs in one change
// set of the reader's observers, so what one step publishes (a reading, its date, the status, the
// outcome) is told once, whole. It schedules nothing of its own and holds no work. Main queue
// only.
class ChangeSetQueue final : public MainQueue {
  public:
    ChangeSetQueue(MainQueue& queue, ModelObservers& observers)
        : queue_(queue), observers_(std::make_shared<ModelObservers*>(&observers)) {}
    ~ChangeSetQueue() override { *observers_ = nullptr; }
    ChangeSetQueue(const ChangeSetQueue&) = delete;
    ChangeSetQueue& operator=(const ChangeSetQueue&) = delete;

    [[nodiscard]] TaskHandle asyncAfter(double seconds, std::function<void()> work) override {
        return queue_.asyncAfter(seconds, inChangeSet(std::move(work)));
    }
    void post(std::function<void()> work) override { queue_.post(inChangeSet(std::move(work))); }
    [[nodiscard]] TaskHandle performOnRunLoop(std::function<void()> work) override {
        return queue_.performOnRunLoop(inChangeSet(std::move(work)));
    }
    [[nodiscard]] TaskHandle scheduleRepeating(double firstFire, double interval, double leeway,
                                               std::function<void()> work) override {
        return queue_.scheduleRepeating(firstFire, interval, leeway, inChangeSet(std::move(work)));
    }

  private:
    std::function<void()> inChangeSet(std::function<void()> work) {
        // Posted work may outlive the observers: it then runs as it is.
        return [observers = observers_, work = std::move(work)] {
            if (*observers == nullptr) {
                work();
                return;
            }
            auto changes = (*observers)->changeSet();
            work();
        };
    }

    MainQueue& queue_;
    std::shared_ptr<ModelObservers*> observers_;
};

}  // namespace gaugely
