#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

// Work one object schedules and then forgets about, such as a simulated application's reactions:
// each task leaves the group when it runs, and whatever still waits is cancelled with the group,
// so the work may use its owner freely. Main queue only.
class TaskGroup {
  public:
    explicit TaskGroup(MainQueue& queue) : queue_(queue) {}
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    void after(double seconds, std::function<void()> work) {
        const uint64_t id = nextID_++;
        tasks_.emplace(id, queue_.asyncAfter(seconds, [this, id, work = std::move(work)]() mutable {
            // Out of the closure first: leaving the group drops the handle.
            const std::function<void()> run = std::move(work);
            tasks_.erase(id);
            run();
        }));
    }

    void cancelAll() { tasks_.clear(); }
    bool empty() const { return tasks_.empty(); }

  private:
    MainQueue& queue_;
    std::map<uint64_t, TaskHandle> tasks_;
    uint64_t nextID_ = 0;
};

}  // namespace gaugely
