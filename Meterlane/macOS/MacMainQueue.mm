#include "Meterlane/macOS/MacMainQueue.h"

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

namespace gaugely {

namespace {

int64_t nanoseconds(double seconds) {
    // Negative and NaN delays mean "as soon as possible".
    return seconds > 0 ? static_cast<int64_t>(seconds * static_cast<double>(NSEC_PER_SEC)) : 0;
}

// Dispatch blocks cannot be withdrawn once queued, so a cancelled item still fires and does
// nothing; cancelling drops the work at once so what it captured is released early. The handle
// that cancels is dropped on the main queue, where the item runs.
class MainQueueWorkItem final : public Cancellable {
  public:
    explicit MainQueueWorkItem(std::function<void()> work) : work_(std::move(work)) {}

    void cancel() override { work_ = nullptr; }

    void run() {
        // Taken out first: the work may cancel its own handle.
        auto work = std::move(work_);
        work_ = nullptr;
        if (work) {
            work();
        }
    }

  private:
    std::function<void()> work_;
};

class MainQueueTimer final : public Cancellable {
  public:
    explicit MainQueueTimer(dispatch_source_t timer) : timer_(timer) {}
    ~MainQueueTimer() override { stop(); }

    void cancel() override { stop(); }

  private:
    void stop() {
        if (timer_) {
            dispatch_source_cancel(timer_);
            timer_ = nil;
        }
    }

    dispatch_source_t timer_;
};

}  // namespace

TaskHandle MacMainQueue::asyncAfter(double seconds, std::function<void()> work) {
    auto item = std::make_shared<MainQueueWorkItem>(std::move(work));
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds(seconds)),
                   dispatch_get_main_queue(), ^{
                     item->run();
                   });
    return TaskHandle(item);
}

void MacMainQueue::post(std::function<void()> work) {
    auto item = std::make_shared<MainQueueWorkItem>(std::move(work));
    dispatch_async(dispatch_get_main_queue(), ^{
      item->run();
    });
}

TaskHandle MacMainQueue::performOnRunLoop(std::function<void()> work) {
    auto item = std::make_shared<MainQueueWorkItem>(std::move(work));
    // The default mode: not while a menu is being tracked, and after the current pass's layout.
    CFRunLoopRef loop = CFRunLoopGetMain();
    CFRunLoopPerformBlock(loop, kCFRunLoopDefaultMode, ^{
      item->run();
    });
    CFRunLoopWakeUp(loop);
    return TaskHandle(item);
}

TaskHandle MacMainQueue::scheduleRepeating(double firstFire, double interval, double leeway,
                                           std::function<void()> work) {
    dispatch_source_t timer =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, dispatch_get_main_queue());
    if (!timer) {
        return TaskHandle(std::make_shared<MainQueueTimer>(nil));
    }
    dispatch_source_set_timer(timer, dispatch_time(DISPATCH_TIME_NOW, nanoseconds(firstFire)),
                              static_cast<uint64_t>(nanoseconds(interval)),
                              static_cast<uint64_t>(nanoseconds(leeway)));
    // The handler holds the work, not the handle, so dropping the handle stops the timer.
    auto shared = std::make_shared<std::function<void()>>(std::move(work));
    dispatch_source_set_event_handler(timer, ^{
      if (*shared) {
          (*shared)();
      }
    });
    dispatch_resume(timer);
    return TaskHandle(std::make_shared<MainQueueTimer>(timer));
}

}  // namespace gaugely
